#include "engine/scrub/XMLPart.h"

#include "engine/support/Text.h"
#include "tests/support/Joined.h"

#include <gtest/gtest.h>
#include <string>

namespace nullprint::tests {
namespace {

using namespace std::string_literals;

std::string scrubbed(std::string_view name, std::string_view text)
{
    Bytes content = bytesOf(text);
    const XMLScrubResult result = scrubXMLPart(name, content);
    const std::string after(asText(content));
    EXPECT_EQ(result, after == text ? XMLScrubResult::unchanged : XMLScrubResult::changed) << text;
    return after;
}

std::string scrubbed(std::string_view text)
{
    return scrubbed("word/document.xml", text);
}

void expectUnreadable(const std::string& text)
{
    Bytes content = bytesOf(text);
    EXPECT_EQ(scrubXMLPart("word/document.xml", content), XMLScrubResult::unreadable);
    EXPECT_EQ(asText(content), text);
}

// The bytes of UTF-16 with its mark.
std::string inUTF16(std::string_view text, ByteOrder order)
{
    const Bytes bytes = utf16FromUTF8("\uFEFF"s + std::string(text), order);
    return std::string(asText(bytes));
}

TEST(XMLPart, emptiesWhoChangedWhatAndWhen)
{
    EXPECT_EQ(scrubbed(R"(<w:ins w:id="3" w:author="Ann Lee" w:date="2024-03-01T09:30:00Z">)"),
              R"(<w:ins w:id="3" w:author="" w:date="">)");
    EXPECT_EQ(scrubbed(R"(<w:comment w:author="Ann" w:initials="AL">)"),
              R"(<w:comment w:author="" w:initials="">)");
    EXPECT_EQ(scrubbed(R"(<w15:presenceInfo w15:providerId="AD" w15:userId="S::ann@x.org"/>)"),
              R"(<w15:presenceInfo w15:providerId="AD" w15:userId=""/>)");
}

TEST(XMLPart, leavesAttributesWithoutAPrefix)
{
    for (const char* text : {R"(<author="Ann">)",
                             R"(<cm author="Ann" date="2024" initials="A" userId="1">)",
                             R"(<a :author="Ann">)",
                             R"(<w:author="Ann">)",
                             R"(<w:ins w:author='Ann'>)",
                             R"(<w:ins w:author = "Ann">)",
                             R"(<w:ins w:Author="Ann">)",
                             R"(w:author="Ann")",
                             R"(<é w:author="Ann">)"})
        EXPECT_EQ(scrubbed(text), text);
    EXPECT_EQ(scrubbed(R"(<ww:author="Ann">)"), R"(<ww:author="">)");
}

TEST(XMLPart, emptiesOnlyTheFirstOfSeveral)
{
    EXPECT_EQ(scrubbed(R"(<a x:author="1" y:author="2"><b x:author="3"/>)"),
              R"(<a x:author="" y:author="2"><b x:author=""/>)");
}

TEST(XMLPart, losesSightOfATagAtAnInnerBracket)
{
    EXPECT_EQ(scrubbed(R"(<a t="x>y" w:author="Ann">)"), R"(<a t="x>y" w:author="Ann">)");
    EXPECT_EQ(scrubbed("<a\n w:author=\"A<b>\nnn\">"), "<a\n w:author=\"\">");
    EXPECT_EQ(scrubbed(R"(<a w:author="never closed)"), R"(<a w:author="never closed)");
}

TEST(XMLPart, emptiesCreatorAndEditorAndRemovesTheRest)
{
    EXPECT_EQ(scrubbed("docProps/core.xml",
                       "<dc:creator>Ann Lee</dc:creator><cp:lastModifiedBy>Bob\n"
                       "Ray</cp:lastModifiedBy><cp:revision>7</cp:revision>"
                       "<dcterms:created xsi:type=\"dcterms:W3CDTF\">2024</dcterms:created>"
                       "<dcterms:modified xsi:type=\"dcterms:W3CDTF\">2025</dcterms:modified>"
                       "<cp:lastPrinted>2023</cp:lastPrinted><dc:title>Plan</dc:title>"),
              "<dc:creator></dc:creator><cp:lastModifiedBy></cp:lastModifiedBy>"
              "<dc:title>Plan</dc:title>");
    EXPECT_EQ(scrubbed("docProps/app.xml",
                       "<TotalTime>45</TotalTime><Company>ACME</Company><Manager>Eve</Manager>"
                       "<Pages>3</Pages>"),
              "<Company></Company><Manager></Manager><Pages>3</Pages>");
}

TEST(XMLPart, takesNothingOfAnElementWithMoreInIt)
{
    for (const char* text : {"<dc:creator>Ann<b/></dc:creator>",
                             "<dc:creator><![CDATA[Ann]]></dc:creator>",
                             R"(<dc:creator x="">Ann</dc:creator>)",
                             "<dc:creator >Ann</dc:creator>",
                             "<DC:creator>Ann</DC:creator>",
                             "<Company x=\"1\">ACME</Company>",
                             "<cp:revision/>",
                             "<TotalTimes>4</TotalTimes>",
                             "<TotalTime>4<!-- --></TotalTime>"})
        EXPECT_EQ(scrubbed(text), text);
}

TEST(XMLPart, removesRevisionIdentifiers)
{
    EXPECT_EQ(scrubbed(R"(<w:p w:rsidR="00A1" w:rsidRDefault="00A2">)"), "<w:p>");
    EXPECT_EQ(scrubbed(R"(<w:p  w:rsidR="1" w:id="2"	w:rsidDel="">)"), R"(<w:p  w:id="2">)");
    EXPECT_EQ(scrubbed("<w:rsids>\n<w:rsidRoot w:val=\"1\"/>\r\n<w:rsid w:val=\"2\"/></w:rsids>"
                       "<a/></w:rsids>"),
              "<a/></w:rsids>");
    EXPECT_EQ(scrubbed(R"(<w15:docId w15:val="{0}"/><w15:docIds/><w15:docId/>)"), "<w15:docIds/>");
    for (const char* text : {R"(<w:p rsidR="1">)",
                             R"(<w:p w:rsid1="1">)",
                             R"(<w:p w:rsidR='1'>)",
                             R"(<w:pw:rsidR="1">)",
                             R"(<w15:docId w15:val="{0}"></w15:docId>)",
                             "<w:rsids><w:rsid/>"})
        EXPECT_EQ(scrubbed(text), text);
}

TEST(XMLPart, takesOneWhiteSpaceOfAnyKind)
{
    for (const char* space : {"\t",
                              "\n",
                              "\v",
                              "\f",
                              "\r",
                              " ",
                              "\u0085",
                              "\u00A0",
                              "\u1680",
                              "\u2000",
                              "\u200A",
                              "\u2028",
                              "\u2029",
                              "\u202F",
                              "\u205F",
                              "\u3000"})
        EXPECT_EQ(scrubbed("<a "s + space + "w:rsidR=\"1\"/>"), "<a />") << space;
    for (const char* none : {"\u001C", "\u180E", "\u200B", "\u2060", "\uFEFF"})
        EXPECT_EQ(scrubbed("<a"s + none + "w:rsidR=\"1\"/>"), "<a"s + none + "w:rsidR=\"1\"/>");
}

TEST(XMLPart, knowsWhereANameEnds)
{
    for (const char* end :
         {"", " ", "-", ".", ":", "/", "\u2014", "\u00A0", "\u20AC", "\U0001F600"})
        EXPECT_EQ(scrubbed("<TotalTime"s + end + ">1</TotalTime>"), "") << end;
    for (const char* more : {"s",
                             "7",
                             "_",
                             "\u00E9",
                             "\u0301",
                             "\u00AD",
                             "\u200D",
                             "\u4E2D",
                             "\u2160",
                             "\u24B6",
                             "\uFF9E",
                             "\U0001D7D8",
                             "\U000E0041"})
        EXPECT_EQ(scrubbed("<TotalTime"s + more + ">1</TotalTime>"),
                  "<TotalTime"s + more + ">1</TotalTime>");
    EXPECT_EQ(scrubbed("<TotalTime\u00E9<TotalTime \u00E9>1</TotalTime>"), "<TotalTime\u00E9");
}

TEST(XMLPart, emptiesCustomPropertiesByName)
{
    const std::string text = "<property name=\"Client\"><vt:lpwstr>ACME</vt:lpwstr></property>";
    const std::string empty = "<property name=\"Client\"><vt:lpwstr></vt:lpwstr></property>";
    EXPECT_EQ(scrubbed("docProps/custom.xml", text), empty);
    EXPECT_EQ(scrubbed("Custom.XML", text), empty);
    EXPECT_EQ(scrubbed("docProps/app.xml", text), text);
    EXPECT_EQ(scrubbed("docProps/custom.xml.rels", text), text);
    EXPECT_EQ(scrubbed("custom.xml/part.xml", text), text);
    EXPECT_EQ(scrubbed("docProps/mycustom.xml", text), text);
}

TEST(XMLPart, removesLocalTargetsFromRelationships)
{
    const std::string kept = R"(<R Target="https://x.org/file:" /><R Target="media/image1.png"/>)"
                             R"(<R Target="/C:/a"/><R Target="\one"/><R Target="C:/a"/>)"
                             R"(<R Target='file:///a'/>)";
    const std::string links = R"(<R Id="r1" Target="file:///C:/x.docx"/><R Target="file:"/>)"
                              R"(<R Target="\\server\share\x.xlsx"/><R Target="\\"/>)"
                              R"(<R Target="c:\x y.docx" TargetMode="External"/><R Target="Z:\"/>)";
    const std::string removed =
        R"(<R Id="r1" Target="removed"/><R Target="removed"/>)"
        R"(<R Target="removed"/><R Target="removed"/>)"
        R"(<R Target="removed" TargetMode="External"/><R Target="removed"/>)";
    for (const char* name : {"word/_rels/document.xml.rels", "_rels/.rels", "A.RELS"})
        EXPECT_EQ(scrubbed(name, kept + links + kept), kept + removed + kept);
    for (const char* name : {"word/document.xml", "rels", "a.rels/b.xml"})
        EXPECT_EQ(scrubbed(name, links), links);
    EXPECT_EQ(scrubbed("_rels/.rels", kept), kept);
}

TEST(XMLPart, growsWhereManyTargetsAreShort)
{
    std::string before = "<!-- " + std::string(100, '-');
    std::string after = before;
    for (int index = 0; index < 1000; ++index) {
        before += R"( Target="\\" w:rsidR="0" Target="long/er" Target="file:a/b/c/d/e")";
        after += R"( Target="removed" Target="long/er" Target="removed")";
    }
    EXPECT_EQ(scrubbed(".rels", before), after);
}

TEST(XMLPart, appliesEachRuleToWhatTheOneBeforeLeft)
{
    // The revision goes before the company is looked for, the time after.
    EXPECT_EQ(scrubbed("<Comp<cp:revision>1</cp:revision>any>ACME</Company>"),
              "<Company></Company>");
    EXPECT_EQ(scrubbed("<Comp<TotalTime>1</TotalTime>any>ACME</Company>"),
              "<Company>ACME</Company>");
    EXPECT_EQ(scrubbed(R"(<a b: c:rsid="1"rsid="2">)"), R"(<a b:rsid="2">)");
}

TEST(XMLPart, keepsUTF8AndItsMark)
{
    const std::string text = "\uFEFF<?xml version=\"1.0\"?><dc:creator>Zoë 中 😀</dc:creator>é";
    EXPECT_EQ(scrubbed(text), "\uFEFF<?xml version=\"1.0\"?><dc:creator></dc:creator>é");
    EXPECT_EQ(scrubbed("\uFEFF"), "\uFEFF");
    EXPECT_EQ(scrubbed(""), "");
}

TEST(XMLPart, keepsUTF16AndItsMark)
{
    for (const ByteOrder order : {ByteOrder::big, ByteOrder::little}) {
        const std::string before =
            inUTF16("<dc:creator>Zoë 😀</dc:creator>中😀\u3000a:rsid=\"\"", order);
        EXPECT_EQ(scrubbed(before), inUTF16("<dc:creator></dc:creator>中😀", order));
        const std::string clean = inUTF16("<a>\U0010FFFF\u00E9\uFFFF\uFEFF</a>", order);
        EXPECT_EQ(scrubbed(clean), clean);
        EXPECT_EQ(scrubbed(".rels", inUTF16(R"(Target="\\")", order)),
                  inUTF16(R"(Target="removed")", order));
        EXPECT_EQ(scrubbed(inUTF16("", order)), inUTF16("", order));
    }
    EXPECT_EQ(inUTF16("é", ByteOrder::big), "\xFE\xFF\x00\xE9"s);
    EXPECT_EQ(inUTF16("😀", ByteOrder::little), "\xFF\xFE\x3D\xD8\x00\xDE"s);
}

TEST(XMLPart, guessesNoEncoding)
{
    const std::string creator = "<dc:creator>Ann</dc:creator>";
    for (const char* bad : {"\xE9",
                            "\xC0\xAF",
                            "\xE0\x80\xAF",
                            "\xED\xA0\x80",
                            "\xED\xB0\x80",
                            "\xF4\x90\x80\x80",
                            "\xF8\x88\x80\x80\x80",
                            "\x80",
                            "\xC3",
                            "\xE2\x82",
                            "\xF0\x9F\x98",
                            "\xFE",
                            "\xFF"}) {
        expectUnreadable(creator + bad);
        expectUnreadable(creator + bad + "a");
        expectUnreadable(creator + creator + creator + bad + creator);
    }
    for (const ByteOrder order : {ByteOrder::big, ByteOrder::little}) {
        const std::string marked = inUTF16(creator, order);
        expectUnreadable(marked.substr(2)); // Without the mark.
        expectUnreadable(marked + "a");     // Half a unit.
        expectUnreadable(marked + "\xD8\xD8");
        expectUnreadable(marked + "\xDC\xDC");
        expectUnreadable(marked + "\xD8\xD8" + marked);
        expectUnreadable(marked + "\xDC\xDC\xD8\xD8" + marked);
    }
    expectUnreadable("\xFF\xFE\0\0<\0\0\0a\0\0\0"s); // UTF-32
    expectUnreadable("\0\0\xFE\xFF\0\0\0<"s);
    expectUnreadable("<a>\0</a>"s);
}

// Each of these makes an engine that backtracks, or searches anew from every place, take hours.
TEST(XMLPart, takesLinearTime)
{
    constexpr std::size_t size = 1UL << 20;
    const auto repeated = [](std::string_view unit) {
        std::string text;
        while (text.size() < size)
            text += unit;
        return text;
    };
    for (const char* unit : {"<dcterms:created ",
                             "<TotalTime\u00E9",
                             "<w:rsids>",
                             "<a :author=\"",
                             " a:rsid",
                             "<w15:docId a",
                             "<cp:revision>",
                             "Target=\"C:",
                             "<vt:lpwstr>",
                             "\u3000aaaaaaaaaaaaaaa",
                             "aaaaaaaaaaaa:date="}) {
        const std::string text = "<a " + repeated(unit);
        EXPECT_EQ(scrubbed("custom.xml", text), text);
        EXPECT_EQ(scrubbed(".rels", text), text);
    }
    const std::string many = repeated(R"(w:x="12345678" )");
    EXPECT_EQ(scrubbed("<a " + many + R"(w:author="Ann">)"), "<a " + many + R"(w:author="">)");
    EXPECT_EQ(scrubbed("<w:rsids>" + many + "</w:rsids>"), "");
    EXPECT_EQ(scrubbed("<a a:rsid=\"" + repeated("x>< ") + "\"/>"), "<a/>");
}

} // namespace
} // namespace nullprint::tests
