// Any bytes through the part that works on PDFs.
#include "fuzz/DocumentProperties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkDocument({data, size});
    return 0;
}
