#include "engine/reveal/PDFInspector.h"

#include "tests/support/Folder.h"
#include "tests/support/PDFBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using Lines = std::vector<std::string>;

Lines revealedIn(const std::string& document)
{
    const Folder folder;
    const RevealReport report = revealFile(folder.put("letter.pdf", document));
    EXPECT_EQ(report.kind, "PDF");
    EXPECT_FALSE(report.note);
    Lines lines;
    for (const RevealItem& item : report.items)
        lines.push_back(item.icon + " " + item.label + ": " + item.detail);
    return lines;
}

Lines revealedOf(const std::string& information)
{
    return revealedIn(PDFBuilder().information(9, information).plain());
}

TEST(PDFInspector, tellsEverythingInOrder)
{
    PDFBuilder document;
    document
        .information(9,
                     "/Keywords(one, two)/Producer(P 1)/Creator(C 2)/Subject(S)/Title(T)"
                     "/Author(Jane Roe)/CreationDate(D:2024)/Company(Acme)")
        .catalogue("/Metadata 7 0 R")
        .page(3, "/Annots[5 0 R]")
        .object(5, "<</Type/Annot/Subtype/Text/T(Ann)>>")
        .stream(7, "/Type/Metadata/Subtype/XML", "<x:xmpmeta/>");
    const std::string block =
        "🗂 XMP metadata: a hidden metadata block (often author + a tracking ID) "
        "is present";
    EXPECT_EQ(revealedIn(document.plain()),
              (Lines{"👤 Author: Jane Roe",
                     "📄 Title: T",
                     "🏷 Subject: S",
                     "🛠 Created with: C 2",
                     "🛠 Produced by: P 1",
                     "🏷 Keywords: one, two",
                     "💬 Comment author(s): Ann",
                     block}));
}

TEST(PDFInspector, tellsOnlyTexts)
{
    EXPECT_EQ(revealedOf("/Author(Jane)/Title()"), Lines{"👤 Author: Jane"});
    EXPECT_EQ(revealedOf("/Author/Jane/Title 5/Subject[(S)]/Creator<</A(b)>>"), Lines{});
}

TEST(PDFInspector, takesKeywordsAsAList)
{
    EXPECT_EQ(revealedOf("/Keywords()"), Lines{"🏷 Keywords: "});
    EXPECT_EQ(revealedOf("/Keywords[(a)(b)]"), Lines{"🏷 Keywords: a, b"});
    EXPECT_EQ(revealedOf("/Keywords[]"), Lines{});
    EXPECT_EQ(revealedOf("/Keywords/None"), Lines{});
}

TEST(PDFInspector, sortsTheAuthorsOfComments)
{
    PDFBuilder document;
    document.pages("[3 0 R 4 0 R]")
        .page(3, "/Annots[<</Subtype/Text/T(bob)>><</Subtype/Text/T(Bob)>><</T<C3A9>>>]")
        .page(4, "/Annots[<</Subtype/Text/T(Ann)>><</Subtype/Text/T(Bob)>><</T()>><</T 5>>]");
    EXPECT_EQ(revealedIn(document.plain()), Lines{"💬 Comment author(s): Ann, Bob, bob, Ã©"});
}

TEST(PDFInspector, takesFormFieldsForNoComments)
{
    PDFBuilder document;
    document.page(3, "/Annots[<</Subtype/Widget/FT/Tx/T(Surname)/V(Roe)>>]");
    EXPECT_EQ(revealedIn(document.plain()), Lines{});
}

TEST(PDFInspector, tellsTextsThatSpeakOfMetadata)
{
    EXPECT_EQ(revealedOf("/Author<2F4D65746164617461>"), Lines{"👤 Author: /Metadata"});
}

TEST(PDFInspector, looksForMetadataInTheBytes)
{
    const std::string item =
        "🗂 XMP metadata: a hidden metadata block (often author + a tracking ID) is present";
    EXPECT_EQ(revealedIn(PDFBuilder().plain() + "% /Metadata"), Lines{item});
    const PDFBuilder unseen = PDFBuilder().catalogue("/Metadata 5 0 R").object(5, "null");
    EXPECT_EQ(revealedIn(unseen.plain()), Lines{item});
    EXPECT_EQ(revealedIn(unseen.packed()), Lines{});
}

TEST(PDFInspector, saysWhatCannotBeOpened)
{
    const Folder folder;
    folder.put("text.pdf", "no document, but /Metadata");
    folder.put("locked.pdf", fileBytes(std::string(NULLPRINT_TEST_DATA) + "/pdf/locked.pdf"));
    for (const char* name : {"text.pdf", "locked.pdf", "missing.pdf"}) {
        const RevealReport report = revealFile(folder.url(name));
        EXPECT_EQ(report.note, "Couldn’t open this PDF (it may be damaged or password-protected).");
        EXPECT_TRUE(report.items.empty());
    }
}

} // namespace
} // namespace nullprint::tests
