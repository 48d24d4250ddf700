#include "engine/reveal/Captures.h"

#include "engine/support/Limits.h"

#include <algorithm>

namespace nullprint {
namespace {

// Ends where a letter ends.
std::string_view shortened(std::string_view text)
{
    constexpr auto isInsideLetter = [](char byte) { return (byte & 0xC0) == 0x80; };
    std::size_t length = std::min<std::size_t>(text.size(), limits::textBytes);
    while (length > 0 && length < text.size() && isInsideLetter(text[length]))
        --length;
    return text.substr(0, length);
}

std::string_view enclosed(std::string_view text, ByteRange match)
{
    const ByteRange range = enclosedText(text, match);
    return shortened(text.substr(range.offset, range.length));
}

} // namespace

std::optional<std::string_view> CaptureWalk::next()
{
    while (const auto match = pattern->find(text, from)) {
        from = match->end();
        const std::string_view capture = enclosed(text, *match);
        if (!capture.empty())
            return capture;
    }
    return std::nullopt;
}

std::optional<std::string> firstCapture(std::string_view text, const TextPattern& pattern)
{
    const auto match = pattern.find(text);
    if (!match)
        return std::nullopt;
    const std::string_view capture = enclosed(text, *match);
    return capture.empty() ? std::nullopt : std::optional(std::string(capture));
}

std::vector<std::string_view>
allCaptures(std::string_view text, const TextPattern& pattern, std::size_t most)
{
    CaptureWalk walk(text, pattern);
    std::vector<std::string_view> captures;
    while (captures.size() < most) {
        const auto capture = walk.next();
        if (!capture)
            break;
        captures.push_back(*capture);
    }
    return captures;
}

} // namespace nullprint
