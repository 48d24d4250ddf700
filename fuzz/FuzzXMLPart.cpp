// Any bytes through the rules for XML parts.
#include "engine/scrub/XMLPart.h"
#include "engine/support/Text.h"
#include "fuzz/Require.h"

using namespace nullprint;
using fuzz::require;

namespace {

// The result tells whether bytes changed, what was readable stays so, and a mark stays.
XMLScrubResult checkPart(std::string_view name, ByteSpan before, Bytes& after)
{
    after.assign(before.begin(), before.end());
    const XMLScrubResult result = scrubXMLPart(name, after);
    const bool isSame = asText(after) == asText(before);
    require(isSame == (result != XMLScrubResult::changed), "the result says what was done");
    if (result == XMLScrubResult::unreadable)
        return result;
    Bytes again = after;
    require(scrubXMLPart(name, again) != XMLScrubResult::unreadable, "a part keeps its encoding");
    require(name.ends_with("rels") || after.size() <= before.size(), "a part does not grow");
    if (!before.empty() && before[0] >= 0xEF)
        require(after.size() >= 2 && before[0] == after[0] && before[1] == after[1],
                "a byte-order mark stays");
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    for (const std::string_view name :
         {"word/document.xml", "docProps/custom.xml", "_rels/.rels"}) {
        Bytes after;
        const ByteSpan before(data, size);
        const XMLScrubResult result = checkPart(name, before, after);
        // The same text has the same outcome in another encoding.
        if (result == XMLScrubResult::unreadable || !isUTF8(asText(before)))
            continue;
        const std::string mark = "\uFEFF";
        Bytes wide;
        const Bytes wideBefore =
            utf16FromUTF8(mark + std::string(asText(before)), ByteOrder::little);
        require(checkPart(name, wideBefore, wide) == result,
                "an encoding makes no difference to the result");
        require(wide == utf16FromUTF8(mark + std::string(asText(after)), ByteOrder::little),
                "an encoding makes no difference to the text");
    }
    return 0;
}
