#include "engine/pdf/worker/MarkWatch.h"

#include "engine/pdf/Outcome.h"
#include "engine/support/FindBytes.h"

#include <algorithm>

namespace nullprint::pdf {
namespace {

bool holdsMark(ByteSpan bytes)
{
    const auto mayBegin = [](Byte first, Byte second) {
        return static_cast<Byte>(first == '/') &
               (static_cast<Byte>(second == 'M') | static_cast<Byte>(second == 'X'));
    };
    while (!bytes.empty()) {
        bytes = bytes.subspan(findBytePair(bytes, mayBegin));
        const std::string_view text = asText(bytes);
        const auto begins = [text](std::string_view mark) { return text.starts_with(mark); };
        if (std::ranges::any_of(metadataMarks, begins))
            return true;
        bytes = bytes.subspan(std::min<std::size_t>(bytes.size(), 1));
    }
    return false;
}

} // namespace

void MarkWatch::look(ByteSpan bytes)
{
    if (hasSeen)
        return;
    constexpr std::size_t overlap = 16; // More than a mark, which may stand across two pieces.
    append(border, bytes.first(std::min(overlap, bytes.size())));
    hasSeen = holdsMark(border) || holdsMark(bytes);
    if (bytes.size() > overlap)
        border.assign(bytes.end() - overlap, bytes.end());
    else if (border.size() > overlap)
        border.erase(border.begin(), border.end() - overlap);
}

} // namespace nullprint::pdf
