// The rules are patterns over the text of a part, whatever its XML means: ECMA-376 part 1 (markup)
// and part 2 (core properties, relationships) say where these names stand.
#include "engine/scrub/XMLPart.h"

#include "engine/support/Text.h"
#include "engine/support/TextPattern.h"

#include <algorithm>

namespace nullprint {
namespace {

enum class Goes {
    match,    // All of it.
    enclosed, // The value of an attribute, or the content of an element.
};

enum class Where { everywhere, customProperties, relationships };

struct Rule {
    PatternText text;
    Goes goes;
    std::string_view comes = "";
    Where where = Where::everywhere;
};

// Each rule works on what the one before left. The names of attributes need a prefix before them;
// of several attributes with one name in a tag only the first is emptied.
constexpr std::array rules{
    Rule{{R"(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:author="[^"]*")", R"(:author=")"}, Goes::enclosed},
    Rule{{R"(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:date="[^"]*")", R"(:date=")"}, Goes::enclosed},
    Rule{{R"(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:initials="[^"]*")", R"(:initials=")"},
         Goes::enclosed},
    Rule{{R"(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:userId="[^"]*")", R"(:userId=")"}, Goes::enclosed},
    Rule{{"<dc:creator>[^<]*</dc:creator>", "<dc:creator>"}, Goes::enclosed},
    Rule{{"<cp:lastModifiedBy>[^<]*</cp:lastModifiedBy>", "<cp:lastModifiedBy>"}, Goes::enclosed},
    Rule{{R"(<dcterms:created\b[^>]*>[^<]*</dcterms:created>)", "<dcterms:created"}, Goes::match},
    Rule{{R"(<dcterms:modified\b[^>]*>[^<]*</dcterms:modified>)", "<dcterms:modified"},
         Goes::match},
    Rule{{R"(<cp:revision\b[^>]*>[^<]*</cp:revision>)", "<cp:revision"}, Goes::match},
    Rule{{R"(<cp:lastPrinted\b[^>]*>[^<]*</cp:lastPrinted>)", "<cp:lastPrinted"}, Goes::match},
    Rule{{"<Company>[^<]*</Company>", "<Company>"}, Goes::enclosed},
    Rule{{"<Manager>[^<]*</Manager>", "<Manager>"}, Goes::enclosed},
    Rule{{R"(<TotalTime\b[^>]*>[^<]*</TotalTime>)", "<TotalTime"}, Goes::match},
    Rule{{R"(<w15:docId\b[^>]*/>)", "<w15:docId"}, Goes::match},
    Rule{{R"(<w:rsids>[\s\S]*?</w:rsids>)", "<w:rsids>"}, Goes::match},
    Rule{{R"(\s[A-Za-z0-9]+:rsid[A-Za-z]*="[^"]*")", ":rsid"}, Goes::match},
    Rule{{"<vt:lpwstr>[^<]*</vt:lpwstr>", "<vt:lpwstr>"},
         Goes::enclosed,
         "",
         Where::customProperties},
    Rule{{R"-(Target="(file:[^"]*|\\\\[^"]*|[A-Za-z]:\\[^"]*)")-", R"(Target=")"},
         Goes::enclosed,
         "removed",
         Where::relationships},
};

// Compiled when they are first needed, and kept.
const TextPattern& patternOf(const Rule& rule)
{
    static const std::vector<TextPattern> patterns = [] {
        std::vector<TextPattern> all;
        all.reserve(rules.size());
        for (const Rule& each : rules)
            all.emplace_back(each.text);
        return all;
    }();
    return patterns[static_cast<std::size_t>(&rule - rules.data())];
}

// What a rule takes out of the text, going forward from `from`.
class Holes {
public:
    Holes(const Rule& rule, std::size_t from)
        : rule(rule)
        , pattern(patternOf(rule))
        , from(from)
    {
    }

    std::optional<ByteRange> next(std::string_view text)
    {
        const auto match = pattern.find(text, from);
        if (!match)
            return std::nullopt;
        from = match->end();
        return rule.goes == Goes::match ? *match : enclosedText(text, *match);
    }

private:
    const Rule& rule;
    const TextPattern& pattern;
    std::size_t from;
};

// Puts more bytes before the text than a rule can make it longer, and says how many.
std::size_t makeRoom(const Rule& rule, Bytes& text)
{
    std::size_t room = 0;
    const std::string_view all = asText(text);
    const std::string_view literal = rule.text.literal;
    for (auto at = all.find(literal); at != all.npos; at = all.find(literal, at + literal.size()))
        room += rule.comes.size();
    Bytes wider;
    wider.reserve(room + text.size());
    wider.resize(room);
    append(wider, ByteSpan(text));
    text = std::move(wider);
    return room;
}

// Moves bytes towards the front of their text, and says where they end there.
std::size_t moveBack(Bytes& text, ByteRange range, std::size_t to)
{
    const std::span<Byte> all(text);
    const auto moved = all.subspan(range.offset, range.length);
    std::ranges::copy(moved, all.subspan(to).begin());
    return to + moved.size();
}

// What is read is never before what has been written, so the text is changed in its place.
bool apply(const Rule& rule, Bytes& text)
{
    std::size_t read = rule.comes.empty() ? 0 : makeRoom(rule, text);
    std::size_t written = 0;
    bool isChanged = false;
    Holes holes(rule, read);
    while (const auto hole = holes.next(asText(text))) {
        if (hole->length == 0)
            continue; // An empty value stays one.
        written = moveBack(text, {read, hole->offset - read}, written);
        std::ranges::copy(asBytes(rule.comes), std::span(text).subspan(written).begin());
        written += rule.comes.size();
        read = hole->end();
        isChanged = true;
    }
    if (read != written)
        text.resize(moveBack(text, {read, text.size() - read}, written));
    return isChanged;
}

Where placeOf(std::string_view partName)
{
    const std::string name = lowerCased(partName.substr(partName.rfind('/') + 1));
    if (name == "custom.xml")
        return Where::customProperties;
    return name.ends_with(".rels") ? Where::relationships : Where::everywhere;
}

// Nothing that is removed comes back: only the last rule makes a text longer, by at most 5 bytes
// where a rule before removed 10 or nothing. So a text is changed when any rule changed it.
bool applyRules(Where place, Bytes& text)
{
    bool isChanged = false;
    for (const Rule& rule : rules) {
        if (rule.where == Where::everywhere || rule.where == place)
            isChanged |= apply(rule, text);
    }
    return isChanged;
}

std::optional<ByteOrder> markedUTF16(ByteSpan content)
{
    const std::string_view text = asText(content);
    if (text.starts_with("\xFE\xFF"))
        return ByteOrder::big;
    if (text.starts_with("\xFF\xFE"))
        return ByteOrder::little;
    return std::nullopt;
}

// No XML holds U+0000 (XML 1.0, 2.2), but UTF-16 without its mark and UTF-32 look like that.
bool isReadable(std::string_view text)
{
    return isUTF8(text) && text.find('\0') == std::string_view::npos;
}

XMLScrubResult scrubUTF16(Where place, Bytes& content, ByteOrder order)
{
    auto text = utf8FromUTF16(content, order);
    if (!text || !isReadable(asText(*text)))
        return XMLScrubResult::unreadable;
    content = std::move(*text);
    const bool isChanged = applyRules(place, content);
    content = utf16FromUTF8(asText(content), order);
    return isChanged ? XMLScrubResult::changed : XMLScrubResult::unchanged;
}

} // namespace

XMLScrubResult scrubXMLPart(std::string_view partName, Bytes& content)
{
    const Where place = placeOf(partName);
    if (const auto order = markedUTF16(content))
        return scrubUTF16(place, content, *order);
    if (!isReadable(asText(content)))
        return XMLScrubResult::unreadable;
    return applyRules(place, content) ? XMLScrubResult::changed : XMLScrubResult::unchanged;
}

} // namespace nullprint
