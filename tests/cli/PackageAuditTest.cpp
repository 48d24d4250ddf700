#include "cli/PackageAudit.h"

#include "engine/image/Properties.h"
#include "engine/support/Deflate.h"
#include "engine/support/Limits.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Folder.h"
#include "tests/support/ZIPBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using image::Group;
using Findings = std::vector<std::string>;

Findings audited(const ZIPBuilder& archive)
{
    const Folder folder;
    Findings findings = auditOfficePackage(folder.put("a.docx", archive.build()));
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a.docx"});
    return findings;
}

Findings audited(const std::string& name, std::string_view content)
{
    return audited(ZIPBuilder().add(deflatedEntry(name, content)));
}

TEST(PackageAudit, listsOneFindingAPartAndPattern)
{
    const std::string_view all =
        R"(<R Target="media/a.png"/><R Target="C:\x"/><R Target="file:///C:/y"/>)"
        "<vt:lpwstr></vt:lpwstr><vt:lpwstr>Client</vt:lpwstr><vt:lpwstr>Other</vt:lpwstr>"
        R"(<w:rsids><w:rsid w:val="00A1"/><w:rsid w:val="00A2"/></w:rsids>)"
        R"(<w15:docId w15:val="{1}"/>)"
        R"(<w:ins w:author="" w:date="2024"><w:ins w:author="Ann" w15:userId="u" w:initials="A"/>)"
        "<w:ins w:author=\"Bob\" w:date=\"2025\">"
        "<Manager>Eve</Manager><Company>ACME</Company>"
        "<cp:lastModifiedBy>Bob</cp:lastModifiedBy><dc:creator>Jane</dc:creator>";
    const Findings labels{"creator=Jane",
                          "lastModifiedBy=Bob",
                          "company=ACME",
                          "manager=Eve",
                          "author=Ann",
                          "date=2024",
                          "initials=A",
                          "userId=u",
                          "docId={1}",
                          "rsid=00A1",
                          "customProp=Client",
                          R"(extTarget=C:\x)"};
    Findings expected;
    for (const char* name : {"word/document.xml", "_rels/.rels", "A.XML"}) {
        for (const std::string& label : labels)
            expected.push_back(std::string(name) + ": " + label);
    }
    EXPECT_EQ(audited(ZIPBuilder()
                          .add(deflatedEntry("word/document.xml", all))
                          .add(deflatedEntry("word/vbaProject.bin", all))
                          .add(storedEntry("_rels/.rels", all))
                          .add(storedEntry("A.XML", all))),
              expected);
}

TEST(PackageAudit, listsNothingOfWhatIsEmptyOrElsewhere)
{
    for (const char* text : {"<dc:creator></dc:creator><Company></Company>",
                             R"(<w:ins w:author="" w:date=""/>)",
                             R"(<w15:docIds w15:val="1"/><w15:docIdw15:val="1"/>)",
                             "<w15:docId\u00E9 w15:val=\"1\"/>",
                             R"(<R Target="https://x.org"/><R Target="\\server\x"/>)",
                             "<dc:creator>gr\xFCn</dc:creator>",
                             ""})
        EXPECT_EQ(audited("word/document.xml", text), Findings{}) << text;
    EXPECT_EQ(audited("a.xml", R"(<w15:docId x=">" w15:val="1"/>)"), Findings{});
    EXPECT_EQ(audited("a.xml", R"(<w15:docId w15:val="1" w15:val="2"/>)"),
              Findings{"a.xml: docId=2"});
}

TEST(PackageAudit, listsPositionAndArtistOfPictures)
{
    EXIFBuilder both;
    both.text(Group::gps, image::tag::gpsLatitudeRef, "N")
        .text(Group::tiff, image::tag::artist, "Jane Roe");
    EXIFBuilder artist;
    artist.text(Group::tiff, image::tag::artist, "Bob").text(Group::tiff, image::tag::make, "ACME");
    EXIFBuilder empty;
    empty.text(Group::tiff, image::tag::artist, "");
    EXPECT_EQ(audited(ZIPBuilder()
                          .add(storedEntry("m/2.jpg", asText(jpegWithEXIF({both.block()}))))
                          .add(deflatedEntry("m/1.JPEG", asText(jpegWithEXIF({artist.block()}))))
                          .add(storedEntry("m/3.jpg", asText(jpegWithEXIF({empty.block()}))))
                          .add(storedEntry("m/4.jpg", "no picture"))
                          .add(storedEntry("m/5.dat", asText(jpegWithEXIF({both.block()}))))),
              (Findings{"m/2.jpg: embedded image GPS",
                        "m/2.jpg: embedded image Artist=Jane Roe",
                        "m/1.JPEG: embedded image Artist=Bob"}));
}

TEST(PackageAudit, listsWhatThereIsRoomForOfADocumentThatIsTooLarge)
{
    constexpr std::size_t most = limits::unpackedBytes / limits::partBytes;
    ZIPBuilder archive;
    for (std::size_t number = 0; number <= most; ++number) {
        ZIPEntry enormous =
            deflatedEntry(std::to_string(number) + ".xml", "<dc:creator>Ann</dc:creator>");
        enormous.packed = deflate(enormous.content, SIZE_MAX);
        enormous.packed->resize(limits::partBytes / 1000); // So it could be that large.
        enormous.size = limits::partBytes;
        archive.add(enormous);
    }
    EXPECT_EQ(audited(archive).size(), most);
}

TEST(PackageAudit, listsWhatIsInTheBeginningOfALargePart)
{
    std::string large = "<dc:creator>Ann</dc:creator>";
    large.resize(limits::partBytes - 1, ' ');
    large += "\u00E4<Company>ACME</Company>";
    EXPECT_EQ(audited("a.xml", large), Findings{"a.xml: creator=Ann"});
}

TEST(PackageAudit, listsWhatIsInAPartWithAWrongChecksum)
{
    ZIPEntry damaged = deflatedEntry("a.xml", "<dc:creator>Ann</dc:creator>");
    damaged.checksum = 1;
    EXPECT_EQ(audited(ZIPBuilder().add(damaged)), Findings{"a.xml: creator=Ann"});
}

TEST(PackageAudit, listsAsMuchAsThereIsRoomFor)
{
    ZIPBuilder archive;
    const std::string name(limits::textBytes, 'x');
    for (int number = 0; number < 40; ++number)
        archive.add(
            storedEntry(std::to_string(number) + ".xml", "<dc:creator>" + name + "x</dc:creator>"));
    archive.add(storedEntry("last.xml", "<dc:creator>Ann</dc:creator>"));
    const Findings findings = audited(archive);
    ASSERT_EQ(findings.size(), limits::listedBytes / limits::textBytes);
    EXPECT_TRUE(findings.front() == "0.xml: creator=" + name);
    EXPECT_EQ(findings.back(), "last.xml: creator=Ann");
}

TEST(PackageAudit, passesOverWhatCannotBeRead)
{
    const Folder folder;
    EXPECT_EQ(auditOfficePackage(folder.url("missing.docx")), Findings{});
    EXPECT_EQ(auditOfficePackage(folder.put("a.docx", "just text")), Findings{});
    EXPECT_EQ(audited(ZIPBuilder()), Findings{});

    ZIPEntry damaged = deflatedEntry("a.xml", "");
    damaged.packed = Bytes{0xFF, 0xFF};
    ZIPEntry encrypted = storedEntry("b.xml", "<dc:creator>Ann</dc:creator>");
    encrypted.flags = 1;
    EXPECT_EQ(audited(ZIPBuilder().add(damaged).add(encrypted).add(
                  storedEntry("c.xml", "<dc:creator>Bob</dc:creator>"))),
              Findings{"c.xml: creator=Bob"});
}

} // namespace
} // namespace nullprint::tests
