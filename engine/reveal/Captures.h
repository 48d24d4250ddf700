// What a pattern finds in a text: the value of an attribute or the content of an element.
#pragma once

#include "engine/support/TextPattern.h"

#include <limits>
#include <string>

namespace nullprint {

// What the first match encloses; nothing without a match, or when it encloses nothing.
std::optional<std::string> firstCapture(std::string_view text, const TextPattern& pattern);

// What each match encloses, in order, with duplicates, without those that enclose nothing; the
// first `most` of them. They borrow from the text.
std::vector<std::string_view>
allCaptures(std::string_view text,
            const TextPattern& pattern,
            std::size_t most = std::numeric_limits<std::size_t>::max());

} // namespace nullprint
