// The rules a second time, as plainly as they can be said, for an engine that has nothing in common
// with the one that cleans; and random texts on which both must agree, byte for byte.
#include "engine/scrub/XMLPart.h"

#include "engine/support/Text.h"
#include "tests/support/Joined.h"
#include "tests/support/RuleTexts.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <unicode/regex.h>
#include <unicode/uchar.h>

namespace nullprint::tests {
namespace {

struct Replacement {
    const char* pattern;
    const char* with;
};

const std::array everywhere{
    Replacement{R"((<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:author=")[^"]*("))", "$1$2"},
    Replacement{R"((<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:date=")[^"]*("))", "$1$2"},
    Replacement{R"((<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:initials=")[^"]*("))", "$1$2"},
    Replacement{R"((<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:userId=")[^"]*("))", "$1$2"},
    Replacement{"(<dc:creator>)[^<]*(</dc:creator>)", "$1$2"},
    Replacement{"(<cp:lastModifiedBy>)[^<]*(</cp:lastModifiedBy>)", "$1$2"},
    Replacement{R"(<dcterms:created\b[^>]*>[^<]*</dcterms:created>)", ""},
    Replacement{R"(<dcterms:modified\b[^>]*>[^<]*</dcterms:modified>)", ""},
    Replacement{R"(<cp:revision\b[^>]*>[^<]*</cp:revision>)", ""},
    Replacement{R"(<cp:lastPrinted\b[^>]*>[^<]*</cp:lastPrinted>)", ""},
    Replacement{"(<Company>)[^<]*(</Company>)", "$1$2"},
    Replacement{"(<Manager>)[^<]*(</Manager>)", "$1$2"},
    Replacement{R"(<TotalTime\b[^>]*>[^<]*</TotalTime>)", ""},
    Replacement{R"(<w15:docId\b[^>]*/>)", ""},
    Replacement{R"(<w:rsids>[\s\S]*?</w:rsids>)", ""},
    Replacement{R"(\s[A-Za-z0-9]+:rsid[A-Za-z]*="[^"]*")", ""},
};
const std::array customProperties{Replacement{"(<vt:lpwstr>)[^<]*(</vt:lpwstr>)", "$1$2"}};
const std::array relationships{
    Replacement{R"-((Target=")(file:[^"]*|\\\\[^"]*|[A-Za-z]:\\[^"]*)("))-", "$1removed$3"},
};

struct Matcher {
    std::unique_ptr<icu::RegexMatcher> pattern;
    icu::UnicodeString with;
    int changes = 0;
};
using Matchers = std::vector<Matcher>;

Matchers compiled(std::span<const Replacement> replacements)
{
    Matchers matchers;
    for (const auto& [pattern, with] : replacements) {
        UErrorCode error = U_ZERO_ERROR;
        const auto source = icu::UnicodeString::fromUTF8(pattern);
        matchers.push_back({std::make_unique<icu::RegexMatcher>(source, 0, error),
                            icu::UnicodeString::fromUTF8(with)});
        EXPECT_TRUE(U_SUCCESS(error)) << pattern;
    }
    return matchers;
}

icu::UnicodeString replaced(icu::UnicodeString text, Matchers& matchers)
{
    for (auto& [pattern, with, changes] : matchers) {
        UErrorCode error = U_ZERO_ERROR;
        pattern->reset(text);
        icu::UnicodeString after = pattern->replaceAll(with, error);
        EXPECT_TRUE(U_SUCCESS(error));
        changes += after != text;
        text = std::move(after);
    }
    return text;
}

// The rules, and how often each has changed something.
struct NaiveRules {
    Matchers everywhere = compiled(nullprint::tests::everywhere);
    Matchers customProperties = compiled(nullprint::tests::customProperties);
    Matchers relationships = compiled(nullprint::tests::relationships);

    std::string applied(std::string_view name, const std::string& text)
    {
        icu::UnicodeString after = replaced(icu::UnicodeString::fromUTF8(text), everywhere);
        if (name == "custom.xml")
            after = replaced(after, customProperties);
        if (name == "a.rels")
            after = replaced(after, relationships);
        std::string utf8;
        return after.toUTF8String(utf8);
    }

    void expectChangesByAll() const
    {
        for (const Matchers* matchers : {&everywhere, &customProperties, &relationships}) {
            for (const Matcher& matcher : *matchers)
                EXPECT_GE(matcher.changes, 10);
        }
    }
};

std::string scrubbedAs(const std::string& name, Bytes content)
{
    const Bytes before = content;
    const XMLScrubResult result = scrubXMLPart(name, content);
    EXPECT_EQ(result, content == before ? XMLScrubResult::unchanged : XMLScrubResult::changed);
    return std::string(asText(content));
}

constexpr std::array names{"a.xml", "custom.xml", "a.rels"};

void expectAgreement(NaiveRules& rules, const std::string& text)
{
    for (const char* name : names) {
        const std::string after = rules.applied(name, text);
        ASSERT_EQ(scrubbedAs(name, bytesOf(text)), after) << name << ": " << text;
        const ByteOrder order = text.size() % 2 == 0 ? ByteOrder::big : ByteOrder::little;
        const std::string mark = "\uFEFF";
        ASSERT_EQ(scrubbedAs(name, utf16FromUTF8(mark + text, order)),
                  asText(utf16FromUTF8(mark + after, order)))
            << name << ": " << text;
    }
}

TEST(XMLRules, agreeOnRandomTexts)
{
    NaiveRules rules;
    std::mt19937 random(20240607);
    for (int round = 0; round < 4000 && !HasFatalFailure(); ++round)
        expectAgreement(rules, randomRuleText(random));
    rules.expectChangesByAll();
}

// Texts in which each rule has something to do, with some letters changed.
TEST(XMLRules, agreeOnDamagedParts)
{
    const std::string whole =
        "<w:ins w:id=\"1\" w:author=\"A\" w:date=\"2\" w:initials=\"I\" w15:userId=\"u\">\n"
        "<dc:creator>C</dc:creator><cp:lastModifiedBy>L</cp:lastModifiedBy>"
        "<dcterms:created x=\"y\">1</dcterms:created><dcterms:modified>2</dcterms:modified>"
        "<cp:revision>3</cp:revision><cp:lastPrinted>4</cp:lastPrinted><Company>C</Company>"
        "<Manager>M</Manager><TotalTime>5</TotalTime><w15:docId w15:val=\"6\"/><w:rsids>"
        "<w:rsid w:val=\"7\"/></w:rsids><w:p w:rsidR=\"8\" w:rsidP=\"9\"><vt:lpwstr>V</vt:lpwstr>"
        "<R Target=\"file:x\"/><R Target=\"\\\\x\"/><R Target=\"C:\\x\"/>";
    constexpr std::string_view letters = "<>\"=: \\/aZ";
    NaiveRules rules;
    std::mt19937 random(7);
    for (int round = 0; round < 1000 && !HasFatalFailure(); ++round) {
        std::string text = whole;
        for (auto left = std::uniform_int_distribution(0, 6)(random); left > 0; --left) {
            const auto at = std::uniform_int_distribution<std::size_t>(0, text.size() - 1)(random);
            const char letter =
                letters[std::uniform_int_distribution<std::size_t>(0, letters.size() - 1)(random)];
            switch (std::uniform_int_distribution(0, 2)(random)) {
            case 0:
                text[at] = letter;
                break;
            case 1:
                text.insert(at, 1, letter);
                break;
            default:
                text.erase(at, 1);
            }
        }
        expectAgreement(rules, text);
    }
    rules.expectChangesByAll();
}

// Every code point that text is likely to hold and some of the others, where a rule asks what it
// is. Those newer than the tables of the engine that cleans are left out.
TEST(XMLRules, agreeOnCodePoints)
{
    constexpr int newest = 14;
    constexpr std::size_t batch = 1UL << 16;
    NaiveRules rules;
    std::string text;
    const auto compare = [&] {
        ASSERT_EQ(scrubbedAs("a.xml", bytesOf(text)), rules.applied("a.xml", text));
        text.clear();
    };
    const auto isDense = [](UChar32 point) {
        return point < 0x3400 || (point >= 0xA000 && point < 0xAC00) ||
               (point >= 0xF900 && point < 0x12400) || (point >= 0x1F100 && point < 0x1F200) ||
               (point >= 0xE0000 && point < 0xE0200);
    };
    for (UChar32 point = 1; point <= 0x10FFFF && !HasFatalFailure();
         point += isDense(point) ? 1 : 64) {
        UVersionInfo age{};
        u_charAge(point, age);
        if (u_charType(point) == U_SURROGATE || age[0] > newest)
            continue;
        std::string letter;
        icu::UnicodeString(point).toUTF8String(letter);
        text += "<cp:revision" + letter + ">" + letter + "</cp:revision>" + letter + "a:rsid=\"\"";
        if (text.size() > batch)
            compare();
    }
    compare();
}

} // namespace
} // namespace nullprint::tests
