#include "engine/reveal/ImageInspector.h"

#include "engine/reveal/ReportText.h"
#include "engine/scrub/ScrubReport.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Folder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using image::FieldType;
using image::Group;
namespace tag = image::tag;

std::vector<std::string> linesOf(const RevealReport& report)
{
    std::vector<std::string> lines;
    for (const RevealItem& item : report.items)
        lines.push_back(item.icon + " " + item.label + ": " + item.detail);
    return lines;
}

std::vector<std::string> revealed(const EXIFBuilder& exif)
{
    const Folder folder;
    return linesOf(revealFile(folder.put("photo.jpg", jpegWithEXIF({exif.block()}))));
}

using Lines = std::vector<std::string>;

const Rationals sydneySouth{{33, 1}, {52, 1}, {768, 100}};
const Rationals sydneyEast{{151, 1}, {12, 1}, {3348, 100}};

TEST(ImageInspector, tellsEverythingInOrder)
{
    EXIFBuilder exif;
    exif.position(sydneySouth, "S", sydneyEast, "E")
        .text(Group::exif, tag::lensModel, "35mm F1.4")
        .text(Group::exif, tag::bodySerialNumber, "SN-0042")
        .text(Group::tiff, tag::software, "Darkroom 7")
        .text(Group::tiff, tag::copyright, "© 2023 Jane Roe")
        .text(Group::tiff, tag::artist, "Jane Roe")
        .text(Group::exif, tag::dateTimeOriginal, "2023:07:14 18:02:11")
        .text(Group::tiff, tag::dateTime, "2024:01:01 00:00:00")
        .text(Group::tiff, tag::model, "X100")
        .text(Group::tiff, tag::make, "ACME");
    EXPECT_EQ(revealed(exif),
              (Lines{"📍 Location: GPS -33.86880, 151.20930 — where the photo was taken",
                     "📷 Camera / device: ACME X100",
                     "🕒 Date taken: 2023:07:14 18:02:11",
                     "👤 Author: Jane Roe",
                     "©️ Copyright: © 2023 Jane Roe",
                     "🛠 Edited with: Darkroom 7",
                     "🔢 Camera serial: SN-0042",
                     "🔭 Lens: 35mm F1.4"}));
}

TEST(ImageInspector, readsBothByteOrders)
{
    EXIFBuilder exif(ByteOrder::little);
    exif.position(sydneySouth, "S", sydneyEast, "W").text(Group::tiff, tag::make, "ACME");
    EXPECT_EQ(revealed(exif),
              (Lines{"📍 Location: GPS -33.86880, -151.20930 — where the photo was taken",
                     "📷 Camera / device: ACME"}));
}

TEST(ImageInspector, takesAPositionWithoutReferencesForNorthAndEast)
{
    EXPECT_EQ(revealed(EXIFBuilder().position(sydneySouth, "", sydneyEast, "")),
              Lines{"📍 Location: GPS 33.86880, 151.20930 — where the photo was taken"});
}

TEST(ImageInspector, negatesForTheLettersSAndWAlone)
{
    EXPECT_EQ(revealed(EXIFBuilder().position(sydneySouth, "s", sydneyEast, "west")),
              Lines{"📍 Location: GPS 33.86880, 151.20930 — where the photo was taken"});
}

TEST(ImageInspector, tellsNoPositionWithoutBothCoordinates)
{
    EXPECT_EQ(revealed(EXIFBuilder().rationals(Group::gps, tag::gpsLatitude, sydneySouth)),
              Lines{});
    EXPECT_EQ(revealed(EXIFBuilder().position({{1, 0}, {2, 1}, {3, 1}}, "N", sydneyEast, "E")),
              Lines{});
}

TEST(ImageInspector, needsAMakeForTheCamera)
{
    EXPECT_EQ(revealed(EXIFBuilder().text(Group::tiff, tag::model, "X100")), Lines{});
    EXPECT_EQ(
        revealed(
            EXIFBuilder().text(Group::tiff, tag::make, "").text(Group::tiff, tag::model, "X100")),
        Lines{"📷 Camera / device:  X100"});
}

TEST(ImageInspector, doesNotTakeNumbersForText)
{
    EXPECT_EQ(
        revealed(
            EXIFBuilder().number(Group::tiff, tag::make, 7).number(Group::tiff, tag::artist, 8)),
        Lines{});
}

TEST(ImageInspector, fallsBackToTheFilesDate)
{
    EXPECT_EQ(revealed(EXIFBuilder().text(Group::tiff, tag::dateTime, "2024:01:01 00:00:00")),
              Lines{"🕒 Date taken: 2024:01:01 00:00:00"});
    EXPECT_EQ(revealed(EXIFBuilder()
                           .text(Group::exif, tag::dateTimeOriginal, "")
                           .text(Group::tiff, tag::dateTime, "2024:01:01 00:00:00")),
              Lines{"🕒 Date taken: "});
}

TEST(ImageInspector, hidesEmptyTexts)
{
    EXPECT_EQ(revealed(EXIFBuilder()
                           .text(Group::tiff, tag::artist, "")
                           .text(Group::tiff, tag::copyright, "")
                           .text(Group::tiff, tag::software, "")
                           .text(Group::exif, tag::bodySerialNumber, "")
                           .text(Group::exif, tag::lensModel, "")),
              Lines{});
}

TEST(ImageInspector, takesTextThatIsNotUTF8ForLatin1)
{
    EXPECT_EQ(revealed(EXIFBuilder().text(Group::tiff, tag::artist, "J\xFCrgen")),
              Lines{"👤 Author: Jürgen"});
    EXPECT_EQ(revealed(EXIFBuilder().text(Group::tiff, tag::artist, "Jürgen")),
              Lines{"👤 Author: Jürgen"});
}

TEST(ImageInspector, endsTextAtItsFirstNUL)
{
    EXPECT_EQ(revealed(EXIFBuilder().text(Group::tiff, tag::artist, std::string_view("A\0B", 3))),
              Lines{"👤 Author: A"});
}

TEST(ImageInspector, readsASecondBlockForWhatTheFirstDoesNotSay)
{
    const Bytes first = EXIFBuilder().text(Group::tiff, tag::artist, "First").block();
    const Bytes second = EXIFBuilder()
                             .text(Group::tiff, tag::artist, "Second")
                             .text(Group::tiff, tag::software, "Darkroom")
                             .block();
    const Folder folder;
    EXPECT_EQ(linesOf(revealFile(folder.put("a.jpg", jpegWithEXIF({first, second})))),
              (Lines{"👤 Author: First", "🛠 Edited with: Darkroom"}));
}

TEST(ImageInspector, findsXMPByItsTextInAnyFile)
{
    const Folder folder;
    const Lines found{"🗂 XMP metadata: an embedded metadata block is present"};
    EXPECT_EQ(linesOf(revealFile(folder.put("a.jpg", "some xmpmeta here"))), found);
    EXPECT_EQ(linesOf(revealFile(folder.put("b.png", "http://ns.adobe.com/xap/1.0/"))), found);
    EXPECT_EQ(linesOf(revealFile(folder.put("c.png", "ns.adobe.com/xa"))), Lines{});
    EXPECT_EQ(linesOf(revealFile(folder.put("d.gif", "xmpmet xmpMETA"))), Lines{});
}

TEST(ImageInspector, findsXMPAcrossTheBordersOfItsWindows)
{
    const Folder folder;
    for (const std::size_t before : {262137U, 262140U, 262144U, 524287U - 60U}) {
        const std::string content = std::string(before, 'x') + "xmpmeta" + std::string(99, 'm');
        EXPECT_EQ(revealFile(folder.put("a.jpg", content)).items.size(), 1U) << before;
    }
}

TEST(ImageInspector, tellsWhatADamagedPictureGivesAway)
{
    const Folder folder;
    const Bytes block = EXIFBuilder().text(Group::tiff, tag::make, "ACME").block();
    Bytes photo = jpegWithEXIF({block});
    const std::size_t headEnd = 2 + 4 + block.size(); // SOI and the segment of the Exif block.
    photo.resize(headEnd);
    const auto cut = folder.put("cut.jpg", photo);
    EXPECT_EQ(linesOf(revealFile(cut)), Lines{"📷 Camera / device: ACME"});
    EXPECT_FALSE(std::holds_alternative<Cleaned>(scrubFile(cut).status));
}

TEST(ImageInspector, isAPhotoWithoutItemsWhenItCannotBeRead)
{
    const RevealReport report = revealFile(FileURL::fromPath("/nowhere/IMG_0001.HEIC"));
    EXPECT_EQ(report.kind, "Photo");
    EXPECT_TRUE(report.items.empty());
    EXPECT_FALSE(report.note);
}

TEST(Reveal, notesWhatItCannotInspect)
{
    const auto check = [](const std::string& name, const char* kind, const char* note) {
        const RevealReport report = revealFile(FileURL::fromPath("/x/" + name));
        EXPECT_EQ(report.kind, kind) << name;
        EXPECT_EQ(report.note.value_or("none"), note) << name;
        EXPECT_TRUE(report.items.empty()) << name;
        EXPECT_EQ(report.url, FileURL::fromPath("/x/" + name));
    };
    check("old.doc",
          "Office document",
          "Legacy “.doc” isn’t supported — re-save it as “.docx” first.");
    check("Budget.XLS",
          "Office document",
          "Legacy “.xls” isn’t supported — re-save it as “.xlsx” first.");
    check("notes.txt",
          "File",
          "“.txt” isn’t a supported type (images, PDF, Word/Excel/PowerPoint).");
    check("README", "File", "“.” isn’t a supported type (images, PDF, Word/Excel/PowerPoint).");
    check("archive.tar.gz",
          "File",
          "“.gz” isn’t a supported type (images, PDF, Word/Excel/PowerPoint).");
    check("scan.PDF", "PDF", "Couldn’t open this PDF (it may be damaged or password-protected).");
    check("a.docx", "Office document", "Couldn’t open this document.");
}

TEST(ReportText, hasFourLinesWithoutReports)
{
    EXPECT_EQ(renderReportText({}),
              "Nullprint — hidden data report\n"
              "========================================\n"
              "\n"
              "Generated locally by Nullprint. No data left your Mac.");
}

TEST(ReportText, showsItemsANoteOrNothingFound)
{
    const std::vector<RevealReport> reports{
        {FileURL::fromPath("/a/contract.pdf"), "PDF", {{"👤", "Author", "Jane\nRoe"}}, {}},
        {FileURL::fromPath("/b/contract.pdf"), "PDF", {}, {}},
        {FileURL::fromPath("/c/notes.txt"), "File", {{"👤", "Author", "unseen"}}, "A note."},
    };
    EXPECT_EQ(renderReportText(reports),
              "Nullprint — hidden data report\n"
              "========================================\n"
              "\n"
              "PDF: contract.pdf\n"
              "----------------------------------------\n"
              "  👤 Author: Jane\nRoe\n"
              "\n"
              "PDF: contract.pdf\n"
              "----------------------------------------\n"
              "  ✓ No hidden metadata found — nothing to remove.\n"
              "\n"
              "File: notes.txt\n"
              "----------------------------------------\n"
              "  A note.\n"
              "\n"
              "Generated locally by Nullprint. No data left your Mac.");
}

} // namespace
} // namespace nullprint::tests
