// Any bytes through the parser of GIF.
#include "engine/image/GIF.h"
#include "fuzz/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPicture(nullprint::image::gifFormat, {data, size});
    return 0;
}
