// Any bytes in a file with a PDF's name, through the front doors.
#include "fuzz/DocumentProperties.h"
#include "fuzz/Require.h"
#include "fuzz/WholeFile.h"

using namespace nullprint::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto cleaned = cleanFile("pdf", {data, size});
    if (!cleaned)
        return 0;
    checkCopyOfFile({data, size}, cleaned->copy, cleaned->again);
    // What names metadata in a copy is a text, an instruction or a longer name.
    const std::size_t may = tellsOf(cleaned->report, "XMP metadata") ? 1 : 0;
    require(cleaned->report.items.size() == may, "a copy gives nothing away");
    return 0;
}
