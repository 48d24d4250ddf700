#include "engine/scrub/PDFCleaner.h"

#include "tests/support/Folder.h"
#include "tests/support/PDFBuilder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace nullprint::tests {
namespace {

std::string messageOf(const FileURL& url)
{
    const Status status = scrubFile(url).status;
    if (const auto* failed = std::get_if<Failed>(&status))
        return failed->message;
    return std::get<Cleaned>(status).output.lastPathComponent();
}

std::string contentOf(const FileURL& url)
{
    return std::string(asText(fileBytes(url.path())));
}

TEST(PDFCleaner, writesACopyAndLeavesTheOriginal)
{
    const Folder folder;
    const std::string document = PDFBuilder().information(9, "/Author(planted)").plain();
    const FileURL original = folder.put("Letter.pdf", document);
    ::chmod(original.path().c_str(), 0640);
    EXPECT_EQ(messageOf(original), "Letter (scrubbed).pdf");
    EXPECT_EQ(contentOf(original), document);
    const FileURL copy = folder.url("Letter (scrubbed).pdf");
    EXPECT_EQ(contentOf(copy).find("planted"), std::string::npos);
    EXPECT_TRUE(contentOf(copy).starts_with("%PDF-1.4"));
    struct stat status {};
    ASSERT_EQ(::stat(copy.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0640U);
    EXPECT_EQ(messageOf(original), "Letter (scrubbed 2).pdf");
}

TEST(PDFCleaner, saysWhyADocumentIsNotCleaned)
{
    const Folder folder;
    folder.put("scan.PDF", "no document");
    EXPECT_EQ(messageOf(folder.url("scan.PDF")),
              "Couldn’t open the PDF (it may be damaged or password-protected).");
    EXPECT_EQ(messageOf(folder.url("missing.pdf")),
              "Couldn’t open the PDF (it may be damaged or password-protected).");
    folder.put("locked.pdf", fileBytes(std::string(NULLPRINT_TEST_DATA) + "/pdf/locked.pdf"));
    EXPECT_EQ(messageOf(folder.url("locked.pdf")),
              "The PDF is password-protected. Unlock it first, then scrub.");
    PDFBuilder picture;
    picture.catalogue("/X 5 0 R").stream(5, "/Filter/DCTDecode", "?? Exif");
    folder.put("picture.pdf", picture.plain());
    EXPECT_EQ(messageOf(folder.url("picture.pdf")), "Couldn’t write the cleaned PDF.");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"locked.pdf", "picture.pdf", "scan.PDF"}));
}

// A document inside a document is none of ours, but its metadata is found by its bytes.
TEST(PDFCleaner, blanksMetadataThatIsLeftInTheBytes)
{
    const std::string attached = "1 0 obj <</Metadata 12 0 R /Metadata 12 1 R>> endobj\n"
                                 "2 0 obj <</Type/Metadata/Subtype/XML/Length 12>>\nstream\n"
                                 "<x:xmpmeta/>\nendstream endobj";
    std::string blanked = attached;
    blanked.replace(blanked.find("/Metadata 12 0 R"), 16, std::string(16, ' '));
    blanked.replace(blanked.find("<x:xmpmeta/>"), 12, std::string(12, ' '));
    PDFBuilder document;
    document.catalogue("/X 5 0 R").stream(5, "/Type/EmbeddedFile", attached);
    const Folder folder;
    messageOf(folder.put("a.pdf", document.plain()));
    EXPECT_NE(contentOf(folder.url("a (scrubbed).pdf")).find(blanked), std::string::npos);
}

TEST(PDFCleaner, blanksStretchesThatAreLongerThanAWindow)
{
    const std::string start = "<</Type/Metadata/Subtype/XML>>stream\n";
    const std::string data = std::string(2 * limits::windowBytes, 'x') + "planted";
    const std::string end = "\nendstream";
    PDFBuilder document;
    document.catalogue("/X 5 0 R").stream(5, "/Type/EmbeddedFile", start + data + end);
    const Folder folder;
    messageOf(folder.put("a.pdf", document.plain()));
    const std::string blanked = start + std::string(data.size(), ' ') + end;
    EXPECT_NE(contentOf(folder.url("a (scrubbed).pdf")).find(blanked), std::string::npos);
}

TEST(BlankMatches, blanksWholeMatches)
{
    EXPECT_EQ(blankMatches("a /M 12 0 R b /M 3 0 R", R"(/M \d+ 0 R)", 0), "a           b         ");
}

TEST(BlankMatches, blanksOneGroup)
{
    EXPECT_EQ(blankMatches("<a>1<a>22<a>", "<a>([0-9]+)", 1), "<a> <a>  <a>");
    EXPECT_EQ(blankMatches("xy", "x(z)?y", 1), "xy");
    EXPECT_EQ(blankMatches("xy", "x()y", 1), "xy");
}

TEST(BlankMatches, leavesAStreamWithNoLineEndBeforeItsEnd)
{
    const std::string pattern = R"((?:/Type\s*/Metadata|/Subtype\s*/XML)[^>]*>>\s*stream\r?\n)"
                                R"(([\s\S]*?)\r?\nendstream)";
    const std::string left = "<</Subtype /XML>>stream\r\n<x/>endstream";
    EXPECT_EQ(blankMatches(left, pattern, 1), left);
    EXPECT_EQ(blankMatches("<</Subtype /XML>>stream\r\n<x/>\r\nendstream", pattern, 1),
              "<</Subtype /XML>>stream\r\n    \r\nendstream");
}

TEST(BlankMatches, letsTheDotMatchLineEnds)
{
    EXPECT_EQ(blankMatches("a\r\nb\nc", "a(.*)c", 1), "a    c");
}

TEST(BlankMatches, takesBytesForCharacters)
{
    EXPECT_EQ(blankMatches("a\xFF\x80z", "a(..)z", 1), "a  z");
    EXPECT_EQ(blankMatches("a\xC3\xA9z", "a(.)z", 1), "a\xC3\xA9z");
}

TEST(BlankMatches, changesNothingWithoutAPattern)
{
    EXPECT_EQ(blankMatches("((", "((", 0), "((");
    EXPECT_EQ(blankMatches("aa", "a", 1), "aa");
}

TEST(BlankMatches, goesOnBehindEmptyMatches)
{
    EXPECT_EQ(blankMatches("aba", "a*", 0), " b ");
}

} // namespace
} // namespace nullprint::tests
