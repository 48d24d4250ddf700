// Any bytes through the parser of WebP.
#include "engine/image/WebP.h"
#include "fuzz/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPicture(nullprint::image::webpFormat, {data, size});
    return 0;
}
