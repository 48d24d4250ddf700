// Any bytes through the parser of HEIF.
#include "engine/image/HEIF.h"
#include "fuzz/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPicture(nullprint::image::heifFormat, {data, size});
    return 0;
}
