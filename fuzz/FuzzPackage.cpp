// Any bytes through the cleaner of Office documents: as an archive, and as what is in one.
#include "fuzz/PackageProperties.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    nullprint::fuzz::checkPackage({data, size});
    nullprint::fuzz::checkPackage(nullprint::fuzz::packageOf({data, size}));
    return 0;
}
