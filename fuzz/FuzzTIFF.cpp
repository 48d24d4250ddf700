// Any bytes through the parser of TIFF.
#include "engine/image/TIFF.h"
#include "fuzz/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPicture(nullprint::image::tiffFormat, {data, size});
    return 0;
}
