// Any bytes in a file with a picture's name, through the front doors.
#include "engine/scrub/FileTypes.h"
#include "fuzz/Require.h"
#include "fuzz/Samples.h"
#include "fuzz/WholeFile.h"

#include <algorithm>

using namespace nullprint;
using namespace nullprint::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const ByteSpan bytes(data, size);
    // The content decides, whatever picture the name claims.
    const auto cleaned = cleanFile(imageExtensions[size % imageExtensions.size()], bytes);
    if (!cleaned)
        return 0;
    checkSamples(bytes, cleaned->copy);
    require(cleaned->again == cleaned->copy, "cleaning a copy changes nothing");
    const bool tellsOfPacket = tellsOf(cleaned->report, "XMP metadata");
    require(cleaned->report.items.size() == (tellsOfPacket ? 1 : 0), "a copy gives nothing away");
    require(!tellsOfPacket || !holdsPacket(cleaned->copy), "a copy has no XMP packet");
    return 0;
}
