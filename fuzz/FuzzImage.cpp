// Any bytes through the picture library, as whatever they claim to be.
#include "fuzz/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPicture({data, size});
    return 0;
}
