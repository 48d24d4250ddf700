// What a pattern finds in a text: the value of an attribute or the content of an element. Of a
// value that is longer than a text may be, it is the beginning.
#pragma once

#include "engine/support/TextPattern.h"

#include <limits>
#include <string>

namespace nullprint {

// What each match encloses, in order, with duplicates, without those that enclose nothing. Text and
// pattern are borrowed, and the captures are pieces of the text.
class CaptureWalk {
public:
    CaptureWalk(std::string_view text, const TextPattern& pattern)
        : text(text)
        , pattern(&pattern)
    {
    }

    std::optional<std::string_view> next();

private:
    std::string_view text;
    const TextPattern* pattern;
    std::size_t from = 0;
};

// What the first match encloses; nothing without a match, or when it encloses nothing.
std::optional<std::string> firstCapture(std::string_view text, const TextPattern& pattern);

// All captures of a walk, or the first `most`. They borrow from the text.
std::vector<std::string_view>
allCaptures(std::string_view text,
            const TextPattern& pattern,
            std::size_t most = std::numeric_limits<std::size_t>::max());

} // namespace nullprint
