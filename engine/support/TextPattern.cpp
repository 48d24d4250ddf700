#include "engine/support/TextPattern.h"

#include <cassert>
#include <cstring>
#include <mutex>
#include <re2/re2.h>
#include <string>

namespace nullprint {
namespace {

// White_Space of Unicode, which is what ICU takes `\s` for.
constexpr std::string_view whiteSpace =
    R"([\t-\r \x{85}\x{A0}\x{1680}\x{2000}-\x{200A}\x{2028}\x{2029}\x{202F}\x{205F}\x{3000}])";

// What ICU sees no boundary before, behind a letter: its `\w` (Alphabetic, Mark, Decimal_Number,
// Connector_Punctuation, the two joiners), and what it takes for a part of the letter before
// (Grapheme_Extend, Format). The ranges are circled and squared letters, which are Alphabetic.
constexpr std::string_view restOfTagBehindWord =
    R"(\b(?:[^>\pL\pM\p{Nl}\p{Nd}\p{Pc}\p{Cf}\x{24B6}-\x{24E9}\x{1F130}-\x{1F149})"
    R"(\x{1F150}-\x{1F169}\x{1F170}-\x{1F189}][^>]*)?)";

constexpr std::string_view space = R"(\s)";
constexpr std::string_view boundary = R"(\b)";
constexpr std::string_view restOfTag = R"(\b[^>]*)";

RE2::Options options()
{
    RE2::Options options;
    options.set_log_errors(false); // Standard error is not ours.
    return options;
}

std::unique_ptr<const RE2> compile(std::string_view pattern, std::string_view rest)
{
    std::string spelled(pattern);
    if (pattern.starts_with(space))
        spelled.replace(0, space.size(), whiteSpace);
    const std::size_t boundaryAt = pattern.find(boundary);
    if (boundaryAt != std::string_view::npos)
        spelled.replace(boundaryAt, restOfTag.size(), rest);
    auto expression = std::make_unique<const RE2>(spelled, options());
    assert(expression->ok());
    return expression;
}

std::optional<ByteRange> search(const RE2& expression, std::string_view text, std::size_t from)
{
    re2::StringPiece match;
    const re2::StringPiece whole(text.data(), text.size());
    if (!expression.Match(whole, from, text.size(), RE2::UNANCHORED, &match, 1))
        return std::nullopt;
    return ByteRange{static_cast<std::uint64_t>(match.data() - text.data()), match.size()};
}

// Faster than std::string_view::find, which stops at every first letter.
std::size_t findLiteral(std::string_view text, std::string_view literal, std::size_t from)
{
    const std::string_view rest = text.substr(from);
    if (rest.empty())
        return std::string_view::npos; // There may be no memory behind it.
    const void* found = ::memmem(rest.data(), rest.size(), literal.data(), literal.size());
    if (found == nullptr)
        return std::string_view::npos;
    return static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

} // namespace

struct TextPattern::Compiled {
    // RE2's own `\b` takes any letter beyond ASCII for the end of a word: quick to compile, and
    // right nearly always. Where a match has such a letter there, the exact pattern decides.
    std::once_flag quickOnce;
    std::unique_ptr<const RE2> quick;
    std::once_flag exactOnce;
    std::unique_ptr<const RE2> exact;
};

TextPattern::TextPattern(PatternText text)
    : written(text)
    , compiled(std::make_unique<Compiled>())
{
}

TextPattern::TextPattern(TextPattern&&) noexcept = default;
TextPattern::~TextPattern() = default;

std::optional<ByteRange> TextPattern::find(std::string_view text, std::size_t from) const
{
    const std::size_t literal = findLiteral(text, written.literal, from);
    if (literal == std::string_view::npos)
        return std::nullopt;
    const std::string_view before = text.substr(from, literal + 1 - from);
    const std::size_t tag = before.rfind('<');
    const std::size_t start = tag == std::string_view::npos ? from : from + tag;

    std::call_once(compiled->quickOnce,
                   [this] { compiled->quick = compile(written.pattern, restOfTag); });
    const auto match = search(*compiled->quick, text, start);
    if (!match || written.pattern.find(boundary) == std::string_view::npos)
        return match;
    const char next = text[match->offset + written.literal.size()];
    if (static_cast<Byte>(next) < 0x80)
        return match;
    std::call_once(compiled->exactOnce,
                   [this] { compiled->exact = compile(written.pattern, restOfTagBehindWord); });
    return search(*compiled->exact, text, start);
}

ByteRange enclosedText(std::string_view text, ByteRange match)
{
    const std::string_view all = text.substr(match.offset, match.length);
    const bool isQuoted = all.back() == '"';
    const std::size_t close = isQuoted ? all.size() - 1 : all.rfind('<');
    const std::size_t open = isQuoted ? all.rfind('"', close - 1) : all.find('>');
    assert(open < close && close < all.size());
    return {match.offset + open + 1, close - open - 1};
}

} // namespace nullprint
