#include "engine/reveal/OfficeInspector.h"

#include "engine/reveal/Captures.h"
#include "engine/support/Limits.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Folder.h"
#include "tests/support/Joined.h"
#include "tests/support/ZIPBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using image::Group;

struct Part {
    const char* name;
    std::string content;
};
using Parts = std::vector<Part>;
using Lines = std::vector<std::string>;

Bytes packed(const Parts& parts)
{
    ZIPBuilder archive;
    for (const auto& [name, content] : parts)
        archive.add(deflatedEntry(name, content));
    return archive.build();
}

Lines linesOf(const RevealReport& report)
{
    Lines lines;
    for (const RevealItem& item : report.items)
        lines.push_back(item.icon + " " + item.label + ": " + item.detail);
    if (report.note)
        lines.push_back("note: " + *report.note);
    return lines;
}

Lines revealed(ByteSpan archive, const char* name = "Report.docx")
{
    const Folder folder;
    const RevealReport report = revealFile(folder.put(name, archive));
    EXPECT_EQ(folder.names(), std::vector<std::string>{name});
    return linesOf(report);
}

Lines revealed(const Parts& parts)
{
    return revealed(packed(parts));
}

std::string kindOf(const char* name)
{
    const Folder folder;
    return revealFile(folder.put(name, packed({{"a.xml", "<a/>"}}))).kind;
}

std::string photo(bool hasPosition)
{
    EXIFBuilder exif;
    exif.text(Group::tiff, image::tag::artist, "Jane Roe");
    if (hasPosition)
        exif.text(Group::gps, image::tag::gpsLatitudeRef, "N");
    const Bytes jpeg = jpegWithEXIF({exif.block()});
    return std::string(asText(jpeg));
}

const Lines unopened{"note: Couldn’t open this document."};

TEST(OfficeInspector, tellsEverythingInOrder)
{
    const Parts parts{
        {"word/media/image1.jpg", photo(true)},
        {"word/settings.xml", R"(<w:settings><w15:docId w15:val="{1}"/></w:settings>)"},
        {"docProps/custom.xml", "<vt:lpwstr>Client A</vt:lpwstr>"},
        {"word/comments.xml", R"(<w:comment w:id="0" w:author="Ann Lee" w:initials="AL"/>)"},
        {"docProps/app.xml",
         "<Manager>Eve</Manager><Company>ACME &amp; Co</Company><TotalTime>45</TotalTime>"},
        {"docProps/core.xml",
         "<dcterms:modified xsi:type=\"dcterms:W3CDTF\">2024-05-02T08:00:00Z</dcterms:modified>"
         "<dcterms:created xsi:type=\"dcterms:W3CDTF\">2024-03-01T09:30:00Z</dcterms:created>"
         "<cp:revision>12</cp:revision><cp:lastModifiedBy> Bob </cp:lastModifiedBy>"
         "<dc:creator>Jane Roe</dc:creator>"},
    };
    EXPECT_EQ(revealed(parts),
              (Lines{"👤 Author: Jane Roe",
                     "✏️ Last edited by:  Bob ",
                     "🔁 Times saved: 12 revisions",
                     "🕒 Created → last modified: 2024-03-01T09:30:00Z  →  2024-05-02T08:00:00Z",
                     "⏱ Total editing time: 45 minutes",
                     "🏢 Company: ACME &amp; Co",
                     "\U0001F9D1\u200D\U0001F4BC Manager: Eve",
                     "💬 Other editors (comments / tracked changes): Ann Lee",
                     "🗃 Custom properties: Client A",
                     "🆔 Document ID: a unique GUID that can link copies of this file",
                     "📍 Embedded photo location: 1 inserted image still carries GPS data"}));
}

TEST(OfficeInspector, findsNothingInADocumentWithoutMetadata)
{
    EXPECT_EQ(revealed({{"word/document.xml", "<w:document/>"}}), Lines{});
    EXPECT_EQ(revealed({{"docProps/core.xml",
                         "<dc:creator></dc:creator><cp:revision></cp:revision>"
                         "<dcterms:created></dcterms:created>"},
                        {"docProps/app.xml", "<TotalTime></TotalTime><Company></Company>"}}),
              Lines{});
}

TEST(OfficeInspector, looksAtTheFirstOfEach)
{
    EXPECT_EQ(revealed({{"docProps/core.xml",
                         "<dc:creator></dc:creator><dc:creator>Ann</dc:creator>"
                         "<cp:revision>2</cp:revision><cp:revision>3</cp:revision>"}}),
              Lines{"🔁 Times saved: 2 revisions"});
    EXPECT_EQ(revealed({{"docProps/core.xml",
                         "<dc:creator>Ann<b/></dc:creator>"
                         "<dc:creator>Bo>b</dc:creator>"}}),
              Lines{"👤 Author: Bo>b"});
}

TEST(OfficeInspector, countsByTheTextOfANumber)
{
    const auto revisions = [](const std::string& number) {
        return revealed({{"docProps/core.xml", "<cp:revision>" + number + "</cp:revision>"}});
    };
    EXPECT_EQ(revisions("1"), Lines{"🔁 Times saved: 1 revision"});
    EXPECT_EQ(revisions("0"), Lines{"🔁 Times saved: 0 revisions"});
    EXPECT_EQ(revisions("01"), Lines{"🔁 Times saved: 01 revisions"});
    const auto minutes = [](const std::string& number) {
        return revealed({{"docProps/app.xml", "<TotalTime>" + number + "</TotalTime>"}});
    };
    EXPECT_EQ(minutes("1"), Lines{"⏱ Total editing time: 1 minute"});
    EXPECT_EQ(minutes("0"), Lines{});
    EXPECT_EQ(minutes("00"), Lines{"⏱ Total editing time: 00 minutes"});
}

TEST(OfficeInspector, showsOneDateWithoutTheOther)
{
    EXPECT_EQ(revealed({{"docProps/core.xml",
                         "<dcterms:modified>2024-05-02T08:00:00Z</dcterms:modified>"}}),
              Lines{"🕒 Created → last modified: ?  →  2024-05-02T08:00:00Z"});
    EXPECT_EQ(revealed({{"docProps/core.xml", "<dcterms:created x=\"y\">2024</dcterms:created>"}}),
              Lines{"🕒 Created → last modified: 2024  →  ?"});
}

TEST(OfficeInspector, namesEditorsOnceAndSorted)
{
    const Parts parts{
        {"word/comments.xml", R"(<w:comment w:author="Bob Ray"/><w:comment w:author="Bob Ray"/>)"},
        {"word/document.xml", R"(<w:ins w:author="Ann Lee"/><w:del w:author=""/><a author="No"/>)"},
        {"word/People.XML", R"(<w15:presenceInfo w15:userId="ann@x.org"/><a b:author="Émile"/>)"},
        {"word/.hidden.xml", "<a b:author=\"\U0001F600\"/><a b:author=\"\uFF21\"/>"},
        {"word/_rels/document.xml.rels", R"(<a b:author="Nobody"/>)"},
        {"word/notes.txt", R"(<a b:author="Nobody"/>)"},
        {"word/latin.xml", "<a b:author=\"Nobody\"/>\xE9"},
    };
    EXPECT_EQ(revealed(parts),
              Lines{"💬 Other editors (comments / tracked changes): Ann Lee, Bob Ray, ann@x.org, "
                    "Émile, \uFF21, \U0001F600"});
}

TEST(OfficeInspector, listsHowAListOfTooManyEditorsBegins)
{
    constexpr std::size_t room =
        limits::listedBytes / (limits::textBytes + limits::listedTextBytes);
    ZIPBuilder archive;
    // Those that come last are left out, also when they are short and found when there is room.
    for (std::size_t number = room + 5; number-- > 0;) {
        std::string name = std::to_string(10 + number);
        name.resize(limits::textBytes, 'x');
        archive.add(storedEntry("part" + std::to_string(number) + ".xml",
                                "<a b:author=\"z\"/><a b:author=\"" + name + "\"/>"));
    }
    const Folder folder;
    const RevealReport report = revealFile(folder.put("a.docx", archive.build()));
    ASSERT_EQ(report.items.size(), 1U);
    const std::string& detail = report.items[0].detail;
    ASSERT_EQ(detail.size(), room * limits::textBytes + (room - 1) * 2);
    for (std::size_t index = 0; index < room; ++index)
        EXPECT_EQ(detail.substr(index * (limits::textBytes + 2), 3),
                  std::to_string(10 + index) + "x");
}

TEST(OfficeInspector, showsTheBeginningOfATextThatIsTooLong)
{
    const auto creator = [](const std::string& name) {
        const std::string element = "<dc:creator>" + name + "</dc:creator>";
        const Lines lines = revealed({{"docProps/core.xml", element}});
        return lines.empty() ? std::string() : lines[0].substr(std::string("👤 Author: ").size());
    };
    const std::string longest(limits::textBytes, 'x');
    EXPECT_TRUE(creator(longest) == longest);
    EXPECT_TRUE(creator(longest + "x") == longest);
    // A letter is shown whole or not at all.
    std::string letters = "x";
    while (letters.size() <= limits::textBytes)
        letters += "é";
    EXPECT_TRUE(creator(letters) == letters.substr(0, limits::textBytes - 1));
}

TEST(OfficeInspector, showsSixCustomProperties)
{
    std::string custom = "<vt:lpwstr></vt:lpwstr>";
    for (const char* value : {"a", "b", "b", "d", "e", "f", "g", "h"})
        custom += "<vt:lpwstr>" + std::string(value) + "</vt:lpwstr><vt:i4>9</vt:i4>";
    EXPECT_EQ(revealed({{"docProps/custom.xml", custom}}),
              Lines{"🗃 Custom properties: a, b, b, d, e, f"});
    EXPECT_EQ(revealed({{"custom.xml", custom}}), Lines{});
}

TEST(OfficeInspector, findsPartsWhateverTheCaseOfTheirNames)
{
    const auto creator = [](const std::string& name) {
        return "<dc:creator>" + name + "</dc:creator>";
    };
    EXPECT_EQ(revealed({{"DocProps/Core.XML", creator("Ann")}}), Lines{"👤 Author: Ann"});
    EXPECT_EQ(
        revealed({{"docprops/core.xml", creator("Bob")}, {"docProps/core.xml", creator("Ann")}}),
        Lines{"👤 Author: Ann"});
}

TEST(OfficeInspector, countsPicturesWithAPosition)
{
    EXPECT_EQ(revealed({{"word/media/image1.jpg", photo(true)},
                        {"word/media/image2.jpg", photo(false)},
                        {"word/media/image3.png", "no picture"}}),
              Lines{"📍 Embedded photo location: 1 inserted image still carries GPS data"});
    EXPECT_EQ(revealed({{"word/media/image1.JPEG", photo(true)},
                        {"ppt/media/image2.png", photo(true)},
                        {"word/media/image3.bin", photo(true)},
                        {"a/b/c/d.heic", photo(true)}}),
              Lines{"📍 Embedded photo location: 3 inserted images still carry GPS data"});
}

TEST(OfficeInspector, tellsTheKindFromTheExtension)
{
    EXPECT_EQ(kindOf("a.docx"), "Word document");
    EXPECT_EQ(kindOf("a.DOCM"), "Word document");
    EXPECT_EQ(kindOf("a.xlsm"), "Excel spreadsheet");
    for (const char* name : {"a.pptx", "a.potx", "a.dotx", "a.dotm", "a.xltx", "a.xltm"})
        EXPECT_EQ(kindOf(name), "PowerPoint presentation");
}

TEST(OfficeInspector, saysWhenADocumentCannotBeOpened)
{
    const Folder folder;
    EXPECT_EQ(linesOf(revealFile(folder.url("missing.docx"))), unopened);
    const RevealReport report = revealFile(folder.put("a.xlsx", "just text"));
    EXPECT_EQ(report.kind, "Office document");
    EXPECT_EQ(linesOf(report), unopened);

    const std::string core = "<dc:creator>Ann</dc:creator>";
    const Bytes whole = packed({{"docProps/core.xml", core}});
    EXPECT_EQ(revealed(whole), Lines{"👤 Author: Ann"});
    EXPECT_EQ(revealed(ByteSpan(whole).first(whole.size() - 30)), unopened);

    for (const char* name : {"docProps/core.xml", "word/any.xml", "_rels/.rels", "word/font.bin"}) {
        ZIPEntry damaged = deflatedEntry(name, core);
        damaged.checksum = 1;
        EXPECT_EQ(revealed(ZIPBuilder().add(damaged).build()), unopened) << name;
        ZIPEntry encrypted = storedEntry(name, core);
        encrypted.flags = 1;
        EXPECT_EQ(revealed(ZIPBuilder().add(encrypted).build()), unopened) << name;
    }
}

TEST(OfficeInspector, saysSoWhenOnlyAPictureIsDamaged)
{
    const auto whole = [](const std::string& picture) {
        return revealed(ZIPBuilder().add(storedEntry("word/media/image1.jpg", picture)).build());
    };
    const auto damaged = [](const std::string& picture) {
        ZIPEntry entry = storedEntry("word/media/image1.jpg", picture);
        entry.checksum = 1;
        return revealed(ZIPBuilder().add(entry).build());
    };
    std::string picture = photo(false);
    EXPECT_EQ(whole(picture), Lines{});
    EXPECT_EQ(damaged(picture), unopened);
    picture.resize(limits::verifiedPictureBytes, 'x');
    EXPECT_EQ(damaged(picture), unopened);
    // Of one that can be read, no more is looked at.
    EXPECT_EQ(damaged(picture + "x"), Lines{});
    const std::string none(limits::verifiedPictureBytes + 1, 'x');
    EXPECT_EQ(whole(none), Lines{});
    EXPECT_EQ(damaged(none), unopened);
}

TEST(OfficeInspector, saysSoWhenAPictureCannotBeUnpacked)
{
    const std::string name = "word/media/image1.jpg";
    std::string picture = photo(true);
    picture.resize(limits::verifiedPictureBytes + 1, 'x');
    Bytes archive = ZIPBuilder().add(deflatedEntry(name, picture)).build();
    EXPECT_EQ(revealed(archive).size(), 1U);
    constexpr std::size_t headerBytes = 30;
    std::ranges::fill(std::span(archive).subspan(headerBytes + name.size() + 8, 8), Byte{0xFF});
    EXPECT_EQ(revealed(archive), unopened);
}

TEST(Captures, leaveOutWhatIsEmpty)
{
    const TextPattern value({"<v>([^<]*)</v>", "<v>"});
    EXPECT_EQ(firstCapture("<v>a</v><v>b</v>", value), "a");
    EXPECT_EQ(firstCapture("<v></v><v>b</v>", value), std::nullopt);
    EXPECT_EQ(firstCapture("<v>a<v>b", value), std::nullopt);
    EXPECT_EQ(firstCapture("", value), std::nullopt);
    using Texts = std::vector<std::string_view>;
    EXPECT_EQ(allCaptures("<v>a</v><v></v><v>a</v><v>c</v>", value), (Texts{"a", "a", "c"}));
    EXPECT_EQ(allCaptures("<v>a</v><v></v><v>a</v><v>c</v>", value, 2), (Texts{"a", "a"}));
    EXPECT_EQ(allCaptures("", value), Texts{});
}

} // namespace
} // namespace nullprint::tests
