// Any bytes through the parser of BMP.
#include "engine/image/BMP.h"
#include "fuzz/Properties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPicture(nullprint::image::bmpFormat, {data, size});
    return 0;
}
