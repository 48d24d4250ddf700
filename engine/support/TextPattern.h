// Regular expressions in the dialect of ICU, matched in linear time whatever the text.
#pragma once

#include "engine/support/Bytes.h"

#include <memory>
#include <optional>
#include <vector>

namespace nullprint {

// What a pattern is written as. The leftmost match counts, and of alternatives the first. `\s` and
// `\b` have ICU's meaning; the one opens the pattern or is half of `[\s\S]`, the other stands
// between a literal that opens the pattern and `[^>]*`.
struct PatternText {
    std::string_view pattern;
    // A text that every match holds. No match begins before the last `<` that comes before it.
    std::string_view literal;
};

class TextPattern {
public:
    // A text without the literal costs a search for it; nothing is compiled before it is found.
    explicit TextPattern(PatternText text);
    TextPattern(TextPattern&&) noexcept;
    TextPattern& operator=(TextPattern&&) = delete;
    ~TextPattern();

    // The first match that begins at `from` or later. `text` is UTF-8. For any number of threads.
    std::optional<ByteRange> find(std::string_view text, std::size_t from = 0) const;

private:
    struct Compiled;
    PatternText written;
    std::unique_ptr<Compiled> compiled;
};

// What a match encloses: between its last two quotes when it ends in one, otherwise between its
// first `>` and its last `<`. `match` has both.
ByteRange enclosedText(std::string_view text, ByteRange match);

} // namespace nullprint
