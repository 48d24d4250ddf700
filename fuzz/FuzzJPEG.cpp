// Any bytes through the parser of JPEG.
#include "engine/image/JPEG.h"
#include "fuzz/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPicture(nullprint::image::jpegFormat, {data, size});
    return 0;
}
