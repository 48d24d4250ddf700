// Any bytes in a file with an Office document's name, through the front doors: as an archive, and
// as what is in one.
#include "engine/scrub/FileTypes.h"
#include "fuzz/PackageProperties.h"
#include "fuzz/Require.h"
#include "fuzz/WholeFile.h"

using namespace nullprint;
using namespace nullprint::fuzz;

namespace {

void check(std::string_view extension, ByteSpan bytes)
{
    const auto cleaned = cleanFile(extension, bytes);
    if (!cleaned || !isSettled(cleaned->copy))
        return;
    require(cleaned->again == cleaned->copy, "cleaning a copy changes nothing");
    checkReport(cleaned->report, cleaned->copy);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const ByteSpan bytes(data, size);
    const std::string_view extension = officeExtensions[size % officeExtensions.size()];
    if (asText(bytes).starts_with("PK"))
        check(extension, bytes);
    else
        check(extension, packageOf(bytes));
    return 0;
}
