#include "engine/image/XMP.h"

#include "engine/support/FindBytes.h"

#include <algorithm>

namespace nullprint::image {
namespace {

bool containsIn(ByteSpan bytes, std::string_view text)
{
    const auto first = static_cast<Byte>(text[0]);
    const auto second = static_cast<Byte>(text[1]);
    while (bytes.size() >= text.size()) {
        const std::size_t hit = findBytePair(bytes, [first, second](Byte left, Byte right) {
            return static_cast<Byte>(left == first) & static_cast<Byte>(right == second);
        });
        bytes = bytes.subspan(hit);
        if (asText(bytes).starts_with(text))
            return true;
        bytes = bytes.subspan(std::min<std::size_t>(bytes.size(), 1));
    }
    return false;
}

} // namespace

bool containsAny(ByteSource& source, std::span<const std::string_view> texts)
{
    constexpr std::uint64_t overlap = 63; // A text may stand across the border of two windows.
    std::uint64_t offset = 0;
    while (true) {
        const auto length = std::min<std::uint64_t>(source.size() - offset, limits::windowBytes);
        const auto window = source.view(offset, static_cast<std::size_t>(length));
        if (!window.ok())
            return false;
        for (const std::string_view text : texts) {
            if (containsIn(window.value(), text))
                return true;
        }
        if (length == source.size() - offset)
            return false;
        offset += length - overlap;
    }
}

} // namespace nullprint::image
