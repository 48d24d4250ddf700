// Any bytes through the parser of PNG.
#include "engine/image/PNG.h"
#include "fuzz/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPicture(nullprint::image::pngFormat, {data, size});
    return 0;
}
