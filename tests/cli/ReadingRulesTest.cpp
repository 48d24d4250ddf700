// What `--reveal` and `--inspect` look for in the parts of a document a second time, as plainly as
// it can be said, for an engine that has nothing in common with theirs; and random texts on which
// both must agree.
#include "cli/PackageAudit.h"
#include "engine/reveal/RevealReport.h"
#include "tests/support/Folder.h"
#include "tests/support/RuleTexts.h"
#include "tests/support/ZIPBuilder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <unicode/regex.h>

namespace nullprint::tests {
namespace {

using Texts = std::vector<std::string>;

std::string utf8Of(const icu::UnicodeString& text)
{
    std::string utf8;
    text.toUTF8String(utf8);
    return utf8;
}

// Group 1 of every match, or of the first alone, without those that are empty.
class NaivePattern {
public:
    explicit NaivePattern(const char* pattern)
    {
        UErrorCode error = U_ZERO_ERROR;
        matcher =
            std::make_unique<icu::RegexMatcher>(icu::UnicodeString::fromUTF8(pattern), 0, error);
        EXPECT_TRUE(U_SUCCESS(error)) << pattern;
    }

    Texts all(const std::string& text) { return captures(text, false); }
    Texts first(const std::string& text) { return captures(text, true); }

    int found = 0;

private:
    Texts captures(const std::string& text, bool isFirstOnly)
    {
        Texts found;
        const auto subject = icu::UnicodeString::fromUTF8(text);
        matcher->reset(subject);
        while (matcher->find()) {
            UErrorCode error = U_ZERO_ERROR;
            const auto group = matcher->group(1, error);
            if (!group.isEmpty())
                found.push_back(utf8Of(group));
            if (isFirstOnly)
                break;
        }
        this->found += static_cast<int>(found.size());
        return found;
    }

    std::unique_ptr<icu::RegexMatcher> matcher;
};

struct NaiveRow {
    const char* label;
    NaivePattern pattern;
};

std::string joinedBy(const std::string& separator, const Texts& texts)
{
    std::string all;
    for (std::size_t index = 0; index < texts.size(); ++index)
        all += (index == 0 ? "" : separator) + texts[index];
    return all;
}

class NaiveAudit {
public:
    Texts findings(const std::string& part, const std::string& text)
    {
        Texts lines;
        for (auto& [label, pattern] : rows) {
            for (const std::string& capture : pattern.first(text))
                lines.push_back(part + ": " + label + "=" + capture);
        }
        return lines;
    }

    void expectAllFound() const
    {
        for (const NaiveRow& row : rows)
            EXPECT_GE(row.pattern.found, 5) << row.label;
    }

private:
    NaiveRow rows[12] = {
        {"creator", NaivePattern("<dc:creator>([^<]+)</dc:creator>")},
        {"lastModifiedBy", NaivePattern("<cp:lastModifiedBy>([^<]+)</cp:lastModifiedBy>")},
        {"company", NaivePattern("<Company>([^<]+)</Company>")},
        {"manager", NaivePattern("<Manager>([^<]+)</Manager>")},
        {"author", NaivePattern(R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:author="([^"]+)")-")},
        {"date", NaivePattern(R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:date="([^"]+)")-")},
        {"initials", NaivePattern(R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:initials="([^"]+)")-")},
        {"userId", NaivePattern(R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:userId="([^"]+)")-")},
        {"docId", NaivePattern(R"-(<w15:docId\b[^>]*w15:val="([^"]+)")-")},
        {"rsid", NaivePattern(R"-(<w:rsid w:val="([^"]+)")-")},
        {"customProp", NaivePattern("<vt:lpwstr>([^<]+)</vt:lpwstr>")},
        {"extTarget", NaivePattern(R"-(Target="(file:[^"]+|[A-Za-z]:\\[^"]+)")-")},
    };
};

// The details of a report on a document whose every part is this text.
class NaiveInspector {
public:
    Texts details(const std::string& text)
    {
        Texts lines;
        const auto add = [&lines](const Texts& found, const std::string& unit = "") {
            for (const std::string& value : found)
                lines.push_back(value + unit + (unit.empty() || value == "1" ? "" : "s"));
        };
        add(creator.first(text));
        add(lastEditor.first(text));
        add(revision.first(text), " revision");
        const Texts from = created.first(text);
        const Texts to = modified.first(text);
        if (!from.empty() || !to.empty())
            lines.push_back((from.empty() ? "?" : from[0]) + "  →  " + (to.empty() ? "?" : to[0]));
        add(minutes.first(text), " minute");
        add(company.first(text));
        add(manager.first(text));
        addEditors(text, lines);
        Texts custom = customText.all(text);
        custom.resize(std::min<std::size_t>(custom.size(), 6));
        if (!custom.empty())
            lines.push_back(joinedBy(", ", custom));
        if (text.find("w15:docId") != std::string::npos)
            lines.emplace_back("a unique GUID that can link copies of this file");
        return lines;
    }

    void expectAllFound() const
    {
        for (const NaivePattern* pattern : {&creator,
                                            &lastEditor,
                                            &revision,
                                            &created,
                                            &modified,
                                            &minutes,
                                            &company,
                                            &manager,
                                            &author,
                                            &userId,
                                            &customText})
            EXPECT_GE(pattern->found, 5);
    }

private:
    void addEditors(const std::string& text, Texts& lines)
    {
        std::set<std::u32string> names;
        for (NaivePattern* pattern : {&author, &userId}) {
            for (const std::string& name : pattern->all(text)) {
                const auto points = icu::UnicodeString::fromUTF8(name);
                std::u32string wide;
                for (int at = 0; at < points.length(); at = points.moveIndex32(at, 1))
                    wide.push_back(static_cast<char32_t>(points.char32At(at)));
                names.insert(wide);
            }
        }
        Texts sorted;
        for (const std::u32string& name : names) {
            icu::UnicodeString points;
            for (const char32_t point : name)
                points.append(static_cast<UChar32>(point));
            sorted.push_back(utf8Of(points));
        }
        if (!sorted.empty())
            lines.push_back(joinedBy(", ", sorted));
    }

    NaivePattern creator{"<dc:creator>([^<]*)</dc:creator>"};
    NaivePattern lastEditor{"<cp:lastModifiedBy>([^<]*)</cp:lastModifiedBy>"};
    NaivePattern revision{"<cp:revision>([^<]*)</cp:revision>"};
    NaivePattern created{"<dcterms:created[^>]*>([^<]*)</dcterms:created>"};
    NaivePattern modified{"<dcterms:modified[^>]*>([^<]*)</dcterms:modified>"};
    NaivePattern minutes{"<TotalTime>([^<]*)</TotalTime>"};
    NaivePattern company{"<Company>([^<]*)</Company>"};
    NaivePattern manager{"<Manager>([^<]*)</Manager>"};
    NaivePattern author{R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:author="([^"]*)")-"};
    NaivePattern userId{R"-(<[A-Za-z0-9:][^<>]*?[A-Za-z0-9]+:userId="([^"]*)")-"};
    NaivePattern customText{"<vt:lpwstr>([^<]*)</vt:lpwstr>"};
};

// Random pieces seldom come to whole elements.
constexpr std::string_view wholes[] = {
    "<cp:lastModifiedBy>Bob</cp:lastModifiedBy>",
    "<cp:revision>1</cp:revision>",
    "<cp:revision>12</cp:revision>",
    "<TotalTime>1</TotalTime>",
    "<TotalTime>45</TotalTime>",
    "<Company>ACME</Company>",
    "<Manager>Eve</Manager>",
    "<dcterms:created x=\"y\">2024</dcterms:created>",
    "<dcterms:modified>2025</dcterms:modified>",
    "<w:ins w:initials=\"AL\" w:date=\"2024\">",
    "<w15:presenceInfo w15:userId=\"\U0001F600\" w:author=\"\uFF21\">",
    "<vt:lpwstr>A &amp; B</vt:lpwstr>",
};

std::string textWithWholes(std::mt19937& random)
{
    std::uniform_int_distribution<std::size_t> index(0, std::size(wholes) - 1);
    std::string text = randomRuleText(random);
    for (auto left = std::uniform_int_distribution(0, 2)(random); left > 0; --left)
        text += std::string(wholes[index(random)]) + randomRuleText(random);
    return text;
}

TEST(ReadingRules, findWhatThePlainOnesFindInAnyPart)
{
    const Folder folder;
    NaiveAudit naive;
    std::mt19937 random(20240608);
    for (int round = 0; round < 50; ++round) {
        ZIPBuilder archive;
        Texts expected;
        for (int number = 0; number < 100; ++number) {
            const std::string name = std::to_string(number) + (number % 2 == 0 ? ".xml" : ".rels");
            const std::string text = textWithWholes(random);
            archive.add(storedEntry(name, text));
            std::ranges::copy(naive.findings(name, text), std::back_inserter(expected));
        }
        ASSERT_EQ(auditOfficePackage(folder.put("a.docx", archive.build())), expected);
    }
    naive.expectAllFound();
}

TEST(ReadingRules, revealWhatThePlainOnesReveal)
{
    const Folder folder;
    NaiveInspector naive;
    std::mt19937 random(20240609);
    for (int round = 0; round < 2000; ++round) {
        const std::string text = textWithWholes(random);
        ZIPBuilder archive;
        for (const char* name :
             {"docProps/core.xml", "docProps/app.xml", "docProps/custom.xml", "word/settings.xml"})
            archive.add(storedEntry(name, text));
        const RevealReport report = revealFile(folder.put("a.docx", archive.build()));
        Texts shown;
        for (const RevealItem& item : report.items)
            shown.push_back(item.detail);
        ASSERT_EQ(shown, naive.details(text)) << text;
    }
    naive.expectAllFound();
}

} // namespace
} // namespace nullprint::tests
