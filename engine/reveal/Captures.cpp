#include "engine/reveal/Captures.h"

namespace nullprint {
namespace {

std::string_view enclosed(std::string_view text, ByteRange match)
{
    const ByteRange range = enclosedText(text, match);
    return text.substr(range.offset, range.length);
}

} // namespace

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
    std::vector<std::string_view> captures;
    auto match = pattern.find(text);
    while (match && captures.size() < most) {
        const std::string_view capture = enclosed(text, *match);
        if (!capture.empty())
            captures.push_back(capture);
        match = pattern.find(text, match->end());
    }
    return captures;
}

} // namespace nullprint
