#include "engine/pdf/worker/Work.h"

#include "tests/support/EXIFBuilder.h"
#include "tests/support/PDFBuilder.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using pdf::Attribute;
using pdf::DocumentFacts;
using pdf::Outcome;

struct Copy {
    Outcome outcome;
    std::string text;
};

Copy cleanedPDF(std::string_view document)
{
    MemorySource source(asBytes(document));
    MemorySink sink;
    const Outcome outcome = pdf::Work(source).writeClean(sink);
    return {outcome, std::string(asText(sink.content))};
}

DocumentFacts factsOf(std::string_view document)
{
    MemorySource source(asBytes(document));
    DocumentFacts facts;
    EXPECT_EQ(pdf::Work(source).describe(facts), Outcome::done);
    return facts;
}

// The copy of a document that can be cleaned. What every copy is like is checked.
std::string mustCleanPDF(std::string_view document)
{
    const Copy copy = cleanedPDF(document);
    EXPECT_EQ(copy.outcome, Outcome::done);
    const DocumentFacts facts = factsOf(copy.text);
    EXPECT_TRUE(facts.attributes.empty());
    EXPECT_TRUE(facts.annotationTitles.empty());
    EXPECT_EQ(copy.text.find("/Metadata"), std::string::npos);
    EXPECT_EQ(copy.text.find("planted"), std::string::npos);
    EXPECT_EQ(cleanedPDF(copy.text).text, copy.text);
    return copy.text;
}

bool has(const std::string& text, std::string_view part)
{
    return text.find(part) != std::string::npos;
}

std::size_t count(const std::string& text, std::string_view part)
{
    std::size_t times = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++times;
    return times;
}

constexpr std::string_view xmp = "<?xpacket begin='' id='planted'?><x:xmpmeta>planted</x:xmpmeta>";

PDFBuilder plantedEverywhere()
{
    PDFBuilder document;
    document.information(9, "/Author(planted)/Title(planted)/Company(planted)/Producer(planted)")
        .catalogue("/Metadata 10 0 R/PieceInfo<</Editor<</Private(planted)>>>>")
        .page(3,
              "/Metadata 10 0 R/LastModified(D:2001planted)/PieceInfo<</E 11 0 R>>/Contents 5 0 R"
              "/Resources<</XObject<</Form 6 0 R>>/Font<</F 7 0 R>>>>")
        .stream(5, "", "BT (page text) Tj ET")
        .stream(6, "/Type/XObject/Subtype/Form/BBox[0 0 9 9]/Metadata 12 0 R", "0 0 9 9 re f")
        .object(7, "<</Type/Font/Subtype/Type1/BaseFont/Helvetica/Deep[[<</Metadata 12 0 R>>]]>>")
        .stream(10, "/Type/Metadata/Subtype/XML", std::string(xmp))
        .object(11, "<</LastModified(planted)/Private(planted)>>")
        .stream(12, "/Type/Metadata/Subtype/XML", std::string(xmp));
    return document;
}

TEST(PDF, dropsMetadataWhereverItHangs)
{
    for (const std::string& document :
         {plantedEverywhere().plain(), plantedEverywhere().packed()}) {
        const std::string copy = mustCleanPDF(document);
        EXPECT_TRUE(has(copy, "BT (page text) Tj ET"));
        EXPECT_TRUE(has(copy, "0 0 9 9 re f"));
        EXPECT_TRUE(has(copy, "/Deep [ [ << >> ] ]"));
        EXPECT_FALSE(has(copy, "/Info"));
    }
}

TEST(PDF, dropsMetadataOfACatalogueInTheTrailer)
{
    PDFBuilder document;
    document
        .trailer("/Root<</Type/Catalog/Pages 2 0 R/PieceInfo<</E<</Private(planted)>>>>"
                 "/LastModified(planted)/X[<</Metadata 10 0 R>>]/A#23B/A#23C>>")
        .stream(10, "", std::string(xmp));
    for (const std::string& file : {document.plain(), document.packed()}) {
        const std::string copy = mustCleanPDF(file);
        EXPECT_TRUE(has(copy, "/A#23B /A#23C /Pages")) << copy;
        EXPECT_TRUE(has(copy, "/X [ << >> ]"));
    }
}

TEST(PDF, dropsMetadataStreamsUnderOtherNames)
{
    PDFBuilder document;
    document.catalogue("/Other 10 0 R/List[10 0 R 11 0 R]")
        .stream(10, "/Type/Metadata/Subtype/XML", std::string(xmp))
        .stream(11, "/Subtype/XML", std::string(xmp));
    EXPECT_FALSE(has(mustCleanPDF(document.plain()), "/Other"));
}

TEST(PDF, keepsWhatIsCalledMetadataAndIsNone)
{
    PDFBuilder document;
    document
        .catalogue("/Dests<</Metadata[3 0 R/Fit]/PieceInfo<</D[3 0 R/XYZ]>>/LastModified 5 0 R>>"
                   "/StructTreeRoot<</RoleMap 6 0 R/ClassMap<</PieceInfo<</O/Layout>>>>>>")
        .page(3, "/Resources<</Font<</Metadata 7 0 R>>/XObject<</PieceInfo 8 0 R>>>>")
        .object(5, "[3 0 R/FitV 0]")
        .object(6, "<</LastModified/P/Metadata/H1>>")
        .object(7, "<</Type/Font/Subtype/Type1/BaseFont/Helvetica>>")
        .stream(8, "/Subtype/Form/BBox[0 0 9 9]", "0 0 9 9 re f");
    const Copy copy = cleanedPDF(document.packed());
    EXPECT_EQ(copy.outcome, Outcome::done);
    for (const char* kept : {"/Metadata [ 3 0 R /Fit ]",
                             "/PieceInfo << /D [ 3 0 R /XYZ ] >>",
                             "[ 3 0 R /FitV 0 ]",
                             "/LastModified /P",
                             "/Metadata /H1",
                             "/PieceInfo << /O /Layout >>",
                             "/Helvetica",
                             "0 0 9 9 re f"})
        EXPECT_TRUE(has(copy.text, kept)) << kept;
    EXPECT_EQ(count(copy.text, "/LastModified"), 2U);
    EXPECT_EQ(cleanedPDF(copy.text).text, copy.text);
}

TEST(PDF, dropsMetadataOfAnyKindWhereItIsNoName)
{
    PDFBuilder document;
    document.catalogue("/Dests 1 0 R/Metadata(planted)/PieceInfo 5 0 R/LastModified 6 0 R")
        .page(3, "/Metadata<</Author(planted)>>/Resources<</Font<</F<</LastModified 7 0 R>>>>>>")
        .object(5, "[(planted)]")
        .object(6, "/planted")
        .object(7, "(planted)");
    EXPECT_FALSE(has(mustCleanPDF(document.plain()), "/LastModified"));
}

TEST(PDF, dropsEarlierRevisionsAndWhatNothingRefersTo)
{
    PDFBuilder first;
    first.page(3, "/Contents 5 0 R")
        .stream(5, "", "(planted: first draft) Tj")
        .object(6, "(planted, unreferenced)")
        .information(9, "/Author(planted)");
    PDFBuilder second;
    second.page(3, "/Contents 5 0 R").stream(5, "", "(final) Tj");
    const std::string document = second.update(first.plain());
    ASSERT_TRUE(has(document, "first draft"));
    EXPECT_TRUE(has(mustCleanPDF(document), "(final) Tj"));
}

TEST(PDF, replacesTheIdentifierByNone)
{
    PDFBuilder document;
    document.trailer("/ID[<706C616E746564>(planted)]/DocChecksum/planted");
    const std::string copy = mustCleanPDF(document.plain());
    EXPECT_FALSE(has(copy, "706c616e746564"));
    EXPECT_TRUE(has(copy, "/ID [<00000000000000000000000000000000>"));
}

TEST(PDF, keepsAnnotationsWithoutTheirAuthors)
{
    PDFBuilder document;
    document.page(3, "/Annots[5 0 R 6 0 R<</Rect[0 0 1 1]/T(planted)/Contents(no type)>>]")
        .object(5,
                "<</Type/Annot/Subtype/Text/Rect[0 0 9 9]/T(planted)/M(D:2020planted)/Subj(planted)"
                "/CreationDate(D:2020planted)/NM(planted)/Contents(a remark)/Popup 7 0 R>>")
        .object(6, "<</Type/Annot/Subtype/Link/Rect[0 0 9 9]/A<</S/URI/URI(http://a.b)>>>>")
        .object(7, "<</Subtype/Popup/Rect[0 0 9 9]/T(planted)/NM(planted)/Parent 5 0 R>>");
    const std::string copy = mustCleanPDF(document.plain());
    EXPECT_TRUE(has(copy, "(a remark)"));
    EXPECT_TRUE(has(copy, "(no type)"));
    EXPECT_TRUE(has(copy, "/URI (http://a.b)"));
    for (const char* cleared : {"/T ()", "/M ()", "/CreationDate ()", "/Subj ()"})
        EXPECT_EQ(count(copy, cleared), 4U) << cleared;
}

TEST(PDF, dropsWhatEditorsKeepWithAnnotations)
{
    PDFBuilder document;
    document.page(3, "/Annots[5 0 R 6 0 R]")
        .object(5,
                "<</Subtype/Square/Rect[0 0 9 9]/AAPL:AKExtras<</A(planted)>>/ModDate(planted)"
                "/BS<</W 2>>/Rotate 90>>")
        .object(6, "<</FT/Tx/Rect[0 0 9 9]/V(its value)/NM(planted)>>");
    const std::string copy = mustCleanPDF(document.plain());
    for (const char* kept : {"/BS << /W 2 >>", "/Rotate 90", "/V (its value)"})
        EXPECT_TRUE(has(copy, kept)) << kept;
}

TEST(PDF, dropsPrivateDataOfCataloguePagesAndForms)
{
    PDFBuilder document;
    document
        .catalogue("/FICL:Enfocus(planted)/SpiderInfo<</C[(planted)]>>/Names<</IDS 7 0 R>>"
                   "/Threads[<</I<</Author(planted)>>/F 8 0 R>>]")
        .page(3,
              "/ADBE_Log(planted)/Resources<</XObject<</ABCD_F 5 0 R>>/ExtGState<</G<</AAPL:AA "
              "false>>>>>>")
        .stream(5,
                "/Subtype/Form/BBox[0 0 9 9]/PTEX.FileName(planted)/PTEX.InfoDict<<>>",
                "0 0 9 9 re f")
        .object(7, "<</Names[(planted)<<>>]>>")
        .object(8, "<</T 1>>");
    const std::string copy = mustCleanPDF(document.plain());
    for (const char* kept : {"/ABCD_F ", "/AAPL:AA false", "0 0 9 9 re f", "/Threads"})
        EXPECT_TRUE(has(copy, kept)) << kept;
    EXPECT_FALSE(has(copy, "PTEX"));
}

TEST(PDF, dropsAuthorsOfArticlesThatTheCatalogueDoesNotList)
{
    for (const char* type : {"", "/Type/Thread"}) {
        PDFBuilder document;
        document.page(3, "/B[6 0 R]")
            .object(5, "<</F 6 0 R/I<</Author(planted)>>" + std::string(type) + ">>")
            .object(6, "<</T 5 0 R/P 3 0 R/R[0 0 1 1]/N 6 0 R/V 6 0 R>>");
        EXPECT_TRUE(has(mustCleanPDF(document.plain()), "/R [ 0 0 1 1 ]"));
    }
    // Neither of these knows the other; the second is one by its type alone.
    PDFBuilder document;
    document.page(3, "/X[<</I(planted)/F<</N 1/V 2>>>><</Type/Bead/T<</I(planted)>>>>]");
    EXPECT_TRUE(has(mustCleanPDF(document.plain()), "/Type /Bead"));
}

TEST(PDF, cleansTemplatesAndTheTreeLikePages)
{
    PDFBuilder document;
    document.catalogue("/Names<</Templates<</Names[(a)5 0 R]>>>>")
        .object(2, "<</Type/Pages/Count 1/Kids[3 0 R]/ADBE_Log(planted)>>")
        .object(5, "<</Type/Template/MediaBox[0 0 9 9]/Thumb 6 0 R/ID(planted)/ABCD_X(planted)>>")
        .stream(6, "/Width 1/Height 1", "planted");
    EXPECT_TRUE(has(mustCleanPDF(document.plain()), "/Type /Template"));
}

TEST(PDF, dropsWhatNoPageShows)
{
    PDFBuilder document;
    document.catalogue("/OCProperties<</OCGs[5 0 R]>>")
        .page(3,
              "/VP[<</BBox[0 0 1 1]/Measure<</Subtype/GEO/GPTS[51.507]>>/PtData<</XPTS[51.507]>>>>"
              "<</Measure<</Subtype/RL/R(1 in)>>>><</Measure 7 0 R>>]/LGIDict[51.507]"
              "/Annots[6 0 R]/Resources<</XObject<</I 8 0 R>>>>")
        .object(5,
                "<</Type/OCG/Name(layer)/Usage<</User<</Name(planted)>>/View<</ViewState/ON>>"
                "/CreatorInfo<</Creator(planted)>>>>>>")
        .object(6, "<</Subtype/Widget/T(field)/AAPL:AKExtras<</A(planted)>>/Rect[0 0 9 9]>>")
        .object(7, "<</GPTS[51.507]>>")
        .stream(8, "/Subtype/Image/OPI<</2.0<</F(planted)>>>>", "pixels");
    const std::string copy = mustCleanPDF(document.plain());
    EXPECT_FALSE(has(copy, "51.507"));
    for (const char* kept : {"/R (1 in)", "/ViewState /ON", "(layer)", "(field)", "pixels"})
        EXPECT_TRUE(has(copy, kept)) << kept;
}

TEST(PDF, dropsTheMetadataOfXMLForms)
{
    PDFBuilder document;
    document.catalogue("/AcroForm<</Fields[]/XFA[(preamble)5 0 R(xmpmeta)6 0 R(datasets)7 0 R]>>")
        .stream(5, "", "<xdp>")
        .stream(6, "", "planted")
        .stream(7, "", "<data>value</data>");
    const std::string copy = mustCleanPDF(document.plain());
    EXPECT_TRUE(has(copy, "/XFA [ (preamble) 2 0 R (datasets) 3 0 R ]"));
    EXPECT_TRUE(has(copy, "<data>value</data>"));
}

TEST(PDF, dropsTheMetadataOfXMLFormsInOnePiece)
{
    for (const bool isPacked : {false, true}) {
        const std::string form = "<xdp><x:xmpmeta a='planted'>planted</x:xmpmeta><data/></xdp>";
        PDFBuilder document;
        document.catalogue("/AcroForm<</Fields[]/XFA 5 0 R>>")
            .stream(5, isPacked ? "/Filter/FlateDecode" : "", isPacked ? deflated(form) : form);
        EXPECT_TRUE(has(mustCleanPDF(document.plain()), "stream\n<xdp><data/></xdp>\nendstream"));
    }
}

TEST(PDF, leavesXMLFormsThatAreDamaged)
{
    PDFBuilder document;
    document.catalogue("/AcroForm<</Fields[]/XFA 5 0 R>>")
        .stream(5, "/Filter/FlateDecode", "not deflated at all");
    EXPECT_TRUE(has(mustCleanPDF(document.plain()), "stream\nnot deflated at all\nendstream"));
}

TEST(PDF, dropsThumbnailsAndNamesFromTheWeb)
{
    PDFBuilder document;
    document.catalogue("/StructTreeRoot<</K<</S/P/ID(kept)>>>>")
        .page(3, "/Thumb 5 0 R/ID(planted)/Resources<</XObject<</I 6 0 R>>>>")
        .stream(5, "/Width 1/Height 1", "planted")
        .stream(6, "/Subtype/Image/Width 1/Height 1/ID(planted)", "pixels");
    const std::string copy = mustCleanPDF(document.plain());
    EXPECT_TRUE(has(copy, "/ID (kept)"));
    EXPECT_FALSE(has(copy, "/Thumb"));
}

TEST(PDF, emptiesInformationThatSomethingElseRefersTo)
{
    PDFBuilder document;
    document.information(9, "/Author(planted)").catalogue("/X 9 0 R");
    mustCleanPDF(document.plain());
    document.trailer("/Info 1 0 R").catalogue("");
    EXPECT_TRUE(has(mustCleanPDF(document.plain()), "/Type /Page "));
}

// The library of Debian 12 leaves the escape out.
TEST(PDF, writesNamesAsTheyAre)
{
    PDFBuilder document;
    document.catalogue("/X[/A#23B/#2341 6 0 R]/Y/#23/#23K<</A#23 1>>/A#20B/A#2FB/P#zz 5 0 R")
        .stream(5, "/A#23 /B#2342", "")
        .object(6, "/C#23D");
    const std::string copy = mustCleanPDF(document.packed());
    for (const char* kept : {"[ /A#23B /#2341 ",
                             "/Y /#23 ",
                             "/#23K << /A#23 1 >>",
                             "/A#20B /A#2fB",
                             "/P#zz",
                             "/A#23 /B#2342",
                             "\n/C#23D\n"})
        EXPECT_TRUE(has(copy, kept)) << kept;
}

// Two readings would make an entry of the second one: “P” is 50.
TEST(PDF, makesNoNameOfAnotherOne)
{
    PDFBuilder document;
    document.catalogue("/##350ieceInfo<</A##3462##/##35/B 5 0 R>>/X[/###341 /##3 /#]")
        .object(5, "/##346");
    const std::string copy = mustCleanPDF(document.packed());
    for (const char* kept :
         {"/#2350ieceInfo << /A#23462## /#5 /B 2 0 R >>", "[ /##2341 /##3 /# ]", "\n/#2346\n"})
        EXPECT_TRUE(has(copy, kept)) << kept;
}

TEST(PDF, leavesFormFieldsAlone)
{
    PDFBuilder document;
    document.catalogue("/AcroForm<</Fields[5 0 R 6 0 R]>>")
        .page(3, "/Annots[5 0 R 7 0 R]")
        .object(5,
                "<</Type/Annot/Subtype/Widget/FT/Tx/T(merged)/V(its value)/M(D:2020)/NM(name)"
                "/Rect[0 0 9 9]>>")
        .object(6, "<</FT/Tx/T(parent)/V(other value)/Kids[7 0 R]>>")
        .object(7, "<</Type/Annot/Subtype/Widget/Parent 6 0 R/Rect[0 0 9 9]>>");
    const std::string copy = mustCleanPDF(document.plain());
    for (const char* kept :
         {"/T (merged)", "/V (its value)", "/M (D:2020)", "/NM (name)", "/T (parent)"})
        EXPECT_TRUE(has(copy, kept)) << kept;
    EXPECT_FALSE(has(copy, "/Subj"));
    EXPECT_FALSE(has(copy, "/T ()"));
}

TEST(PDF, cleansAnnotationsThatNoPageShows)
{
    PDFBuilder document;
    document.catalogue("/Kept[5 0 R]")
        .object(5, "<</Type/Annot/Subtype/Text/Rect[0 0 9 9]/T(planted)/Contents(still here)>>");
    EXPECT_TRUE(has(mustCleanPDF(document.plain()), "(still here)"));
    document.catalogue("/Names<</Templates<</Names[(a)6 0 R]>>>>")
        .object(6, "<</Type/Template/Annots[<</Subtype/Text/Rect[0 0 9 9]/T(planted)>>7 0 R]>>")
        .object(7, "<</Subtype/Widget/Rect[0 0 9 9]/FT/Tx/T(field)>>");
    EXPECT_TRUE(has(mustCleanPDF(document.plain()), "/T (field)"));
}

TEST(PDF, keepsWhatIsNoMetadata)
{
    PDFBuilder document;
    document
        .catalogue("/Names<</EmbeddedFiles<</Names[(a.txt)8 0 R]>>/JavaScript 5 0 R>>"
                   "/PageLabels<</Nums[0<</S/r>>]>>/MarkInfo<</Marked true>>/OCProperties 6 0 R"
                   "/Outlines 7 0 R/Lang(de)")
        .object(5, "<</Names[(js)<</S/JavaScript/JS(app.alert)>>]>>")
        .object(6, "<</OCGs[]/D<</Name(layers)>>>>")
        .object(7, "<</Type/Outlines/Count 0>>")
        .object(8, "<</Type/Filespec/F(a.txt)/EF<</F 9 0 R>>>>")
        .stream(9, "/Type/EmbeddedFile/Subtype/text#2Fxml", "attached");
    const std::string copy = mustCleanPDF(document.packed());
    for (const char* kept : {"/EmbeddedFiles",
                             "(app.alert)",
                             "/S /r",
                             "/Marked true",
                             "(layers)",
                             "/Outlines",
                             "(de)",
                             "/text#2fxml",
                             "\nattached\nendstream"})
        EXPECT_TRUE(has(copy, kept)) << kept;
}

TEST(PDF, copiesStreamsAsTheyAre)
{
    const std::string packedText = deflated(std::string(5000, 'x'));
    PDFBuilder document;
    document.page(3, "/Contents[5 0 R 6 0 R]")
        .stream(5, "/Filter/FlateDecode", packedText)
        .stream(6, "/Filter/FlateDecode", "not deflated at all");
    const std::string copy = mustCleanPDF(document.plain());
    EXPECT_TRUE(has(copy, "stream\n" + packedText + "\nendstream"));
    EXPECT_TRUE(has(copy, "stream\nnot deflated at all\nendstream"));
}

std::string pageWithPicture(const std::string& entries, const std::string& data)
{
    PDFBuilder document;
    document.page(3, "/Resources<</XObject<</I 5 0 R>>>>")
        .stream(5, "/Type/XObject/Subtype/Image/Width 8/Height 8" + entries, data);
    return document.plain();
}

std::string plantedPhoto()
{
    const EXIFBuilder exif =
        EXIFBuilder().text(image::Group::tiff, image::tag::artist, "planted artist");
    return std::string(asText(jpegWithEXIF({exif.block()})));
}

TEST(PDF, cleansJPEGsOnPages)
{
    const std::string photo = plantedPhoto();
    const std::string clean(asText(mustClean(asBytes(photo))));
    for (const char* filter : {"/Filter/DCTDecode", "/Filter[/DCTDecode]", "/Filter/DCT"}) {
        const std::string copy = mustCleanPDF(pageWithPicture(filter, photo));
        EXPECT_TRUE(has(copy, "stream\n" + clean + "\nendstream"));
        EXPECT_TRUE(has(copy, "/Length " + std::to_string(clean.size()) + " "));
    }
}

TEST(PDF, cleansJPEGsBehindOtherFilters)
{
    const std::string photo = plantedPhoto();
    const std::string clean(asText(mustClean(asBytes(photo))));
    const std::string copy = mustCleanPDF(pageWithPicture("/Filter[/FlateDecode/DCTDecode]"
                                                          "/DecodeParms[null<</ColorTransform 0>>]",
                                                          deflated(photo)));
    EXPECT_TRUE(has(copy, "stream\n" + clean + "\nendstream"));
    EXPECT_TRUE(has(copy, "/Filter /DCTDecode"));
    EXPECT_TRUE(has(copy, "/DecodeParms << /ColorTransform 0 >>"));
}

TEST(PDF, cleansJPEGsUnderTheShortNamesOfTheirFilters)
{
    const std::string photo = plantedPhoto();
    const std::string clean(asText(mustClean(asBytes(photo))));
    const std::string copy = mustCleanPDF(pageWithPicture("/Filter[/Fl/DCT]", deflated(photo)));
    EXPECT_TRUE(has(copy, "stream\n" + clean + "\nendstream"));
}

TEST(PDF, cleansJPEGsBehindWhiteSpace)
{
    const std::string photo = "\r\n " + plantedPhoto();
    const std::string clean(asText(mustClean(asBytes(plantedPhoto()))));
    for (const std::string& document :
         {pageWithPicture("/Filter/DCTDecode", photo),
          pageWithPicture("/Filter[/FlateDecode/DCTDecode]", deflated(photo))})
        EXPECT_TRUE(has(mustCleanPDF(document), "stream\n" + clean + "\nendstream"));
}

TEST(PDF, leavesPackedJPEGsWithoutMetadata)
{
    const std::string photo(asText(mustClean(asBytes(plantedPhoto()))));
    for (const std::string& packedPhoto : {deflated(photo), std::string("not deflated at all")}) {
        const std::string copy =
            mustCleanPDF(pageWithPicture("/Filter[/FlateDecode/DCTDecode]", packedPhoto));
        EXPECT_TRUE(has(copy, "stream\n" + packedPhoto + "\nendstream"));
    }
}

TEST(PDF, cleansPackedJPEGsThatAreCutShort)
{
    std::string packedPhoto = deflated(plantedPhoto());
    packedPhoto.resize(packedPhoto.size() - 12);
    mustCleanPDF(pageWithPicture("/Filter[/FlateDecode/DCTDecode]", packedPhoto));
}

TEST(PDF, refusesPackedJPEGsThatAreDamagedAndHaveMetadata)
{
    const std::string digits = "FFD8457869660000?"; // A picture's start, "Exif", and no digit.
    EXPECT_EQ(cleanedPDF(pageWithPicture("/Filter[/ASCIIHexDecode/DCTDecode]", digits)).outcome,
              Outcome::unwritable);
}

TEST(PDF, cleansJPEGsThatAreCutShort)
{
    std::string photo = plantedPhoto();
    photo.resize(photo.size() - 3);
    mustCleanPDF(pageWithPicture("/Filter/DCTDecode", photo));
}

// What is cleaned is whole but for its end, which cleaning it again would add.
TEST(PDF, givesDamagedPicturesTheEndThatTheyLack)
{
    std::string photo = plantedPhoto();
    photo.erase(photo.rfind("\xFF\xD9"));
    photo.insert(2, "@"); // No JPEG begins like this.
    EXPECT_TRUE(
        has(mustCleanPDF(pageWithPicture("/Filter/DCTDecode", photo)), "\xFF\xD9\nendstream"));
}

// Nor would cleaning it again keep what says behind the samples what their colours are.
TEST(PDF, dropsTheColoursOfDamagedPicturesBehindTheirSamples)
{
    std::string photo = plantedPhoto();
    photo.insert(photo.rfind("\xFF\xD9"),
                 std::string("\xFF\xEE\x00\x0E"
                             "Adobe\x00\x64\x00\x00\x00\x00\x01",
                             16));
    photo.insert(2, "@"); // No JPEG begins like this.
    const std::string copy = mustCleanPDF(pageWithPicture("/Filter/DCTDecode", photo));
    EXPECT_FALSE(has(copy, "Adobe"));
    EXPECT_EQ(mustCleanPDF(copy), copy);
}

TEST(PDF, leavesDamagedPicturesWithoutMetadata)
{
    EXPECT_TRUE(has(mustCleanPDF(pageWithPicture("/Filter/DCTDecode", "no picture at all")),
                    "stream\nno picture at all\nendstream"));
}

TEST(PDF, refusesDamagedPicturesWithMetadata)
{
    EXPECT_EQ(cleanedPDF(pageWithPicture("/Filter/DCTDecode", "?? Exif planted")).outcome,
              Outcome::unwritable);
}

TEST(PDF, keepsPagesThatAreCalledSomethingElse)
{
    PDFBuilder annotations;
    annotations.object(1, "<</Type/Annot/Pages 2 0 R>>").page(3, "/Type/Annot/Contents 5 0 R");
    annotations.stream(5, "", "0 0 9 9 re f");
    EXPECT_TRUE(has(mustCleanPDF(annotations.plain()), "0 0 9 9 re f"));
    PDFBuilder information;
    information.object(3, "<</Type/Page/MediaBox[0 0 90 90]/Contents 5 0 R>>");
    information.stream(5, "", "0 0 9 9 re f").trailer("/Info 3 0 R");
    EXPECT_TRUE(has(mustCleanPDF(information.plain()), "0 0 9 9 re f"));
}

TEST(PDF, opensWhatCanBeRecovered)
{
    std::string document = PDFBuilder().information(9, "/Author(planted)").plain();
    const std::string broken = document.substr(0, document.find("xref")) + "trailer<</Root 1 0 R"
                                                                           "/Info 9 0 R>>";
    EXPECT_EQ(factsOf(broken).attributes.size(), 1U);
    const std::string copy = mustCleanPDF(broken);
    EXPECT_TRUE(has(copy, "/MediaBox"));
    EXPECT_TRUE(has(copy, "/Size 4")); // A copy is no document that has to be recovered.
}

TEST(PDF, emptiesTablesAndContainersThatSomethingRefersTo)
{
    for (const char* type : {"/XRef", "/ObjStm"}) {
        PDFBuilder document;
        document.page(3, "/Resources<</XObject<</Im0 5 0 R>>>>");
        document.object(6, "<</Author(planted)>>");
        document.stream(5,
                        "/Info 6 0 R/ID[(planted)(planted)]/Type" + std::string(type),
                        "planted");
        const std::string copy = mustCleanPDF(document.plain());
        EXPECT_FALSE(has(copy, type));
        EXPECT_TRUE(has(copy, "/Im0"));
    }
}

// What makes the library look for objects itself is met in the metadata, which no viewer reads.
TEST(PDF, drawsPagesAsTheTableOfObjectsSays)
{
    PDFBuilder document;
    document.catalogue("/Metadata 4 0 R").page(3, "/Contents 5 0 R/Resources<</XObject 6 0 R>>");
    document.object(4, "null").stream(5, "", "drawn").object(6, "<</Im0 null>>");
    document.object(7,
                    "null\nendobj\n5 0 obj\n<</Length 5>>\nstream\nother\nendstream\nendobj\n"
                    "6 0 obj\n<</Im1 null>>");
    std::string damaged = document.plain();
    damaged.replace(damaged.find("4 0 obj"), 1, "x");
    const std::string copy = mustCleanPDF(damaged);
    EXPECT_TRUE(has(copy, "drawn"));
    EXPECT_FALSE(has(copy, "other"));
    EXPECT_FALSE(has(copy, "/Im1"));
}

// What a document with another tree of pages comes to, when it is described and when it is cleaned.
void expectUnopenable(const std::string& document)
{
    MemorySource source(asBytes(document));
    DocumentFacts facts;
    EXPECT_EQ(pdf::Work(source).describe(facts), Outcome::unopenable);
    EXPECT_EQ(cleanedPDF(document).outcome, Outcome::unopenable);
}

TEST(PDF, refusesWhatIsNoDocument)
{
    expectUnopenable("");
    expectUnopenable("%PDF-1.4\n");
    expectUnopenable("a letter, not a document");
    expectUnopenable(PDFBuilder().object(1, "(no catalogue)").plain());
}

// Bytes of which those behind a place cannot be read, and how often somebody has tried.
class BrokenSource final : public ByteSource {
public:
    BrokenSource(ByteSpan whole, std::uint64_t readable)
        : whole(whole)
        , readable(readable)
    {
    }

    std::uint64_t size() const override { return whole.size(); }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override
    {
        ++tries;
        return offset + length > readable ? Error{"unreadable"} : whole.view(offset, length);
    }
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override
    {
        ++tries;
        return offset + target.size() > readable ? Error{"unreadable"} : whole.read(offset, target);
    }

    int tries = 0;

private:
    MemorySource whole;
    std::uint64_t readable;
};

TEST(PDF, doesNotGoOnWithoutWhatCannotBeRead)
{
    const std::string document = plantedEverywhere().plain();
    for (std::uint64_t readable = 0; readable < document.size(); readable += 7) {
        BrokenSource source(asBytes(document), readable);
        MemorySink sink;
        DocumentFacts facts;
        EXPECT_EQ(pdf::Work(source).writeClean(sink), Outcome::unopenable);
        EXPECT_EQ(pdf::Work(source).describe(facts), Outcome::unopenable);
        EXPECT_LT(source.tries, 100);
    }
}

TEST(PDF, refusesPagesThatHoldThemselves)
{
    expectUnopenable(PDFBuilder().object(3, "<</Type/Pages/Kids[2 0 R]>>").plain());
}

// The library would go up from the tree to what is called its parent, and find no pages there.
TEST(PDF, showsThePagesThatTheCatalogueNames)
{
    PDFBuilder document;
    document.page(3, "/Annots[<</Subtype/Text/Rect[0 0 1 1]/T(planted)>>]");
    document.object(5, "<</Type/Outlines/Count 0>>");
    for (const char* parent : {"1 0 R", "2 0 R", "3 0 R", "5 0 R", "9 0 R", "(text)"}) {
        document.object(2,
                        "<</Type/Pages/Count 1/Kids[3 0 R]/Parent " + std::string(parent) + ">>");
        EXPECT_EQ(factsOf(document.plain()).annotationTitles.size(), 1U) << parent;
        const std::string copy = mustCleanPDF(document.plain());
        EXPECT_TRUE(has(copy, "/Count 1 /Kids [ 3 0 R ] /Type /Pages")) << parent;
        EXPECT_TRUE(has(copy, "/Annots")) << parent;
    }
}

TEST(PDF, leavesOutThePagesBesideATreeThatTheCatalogueNames)
{
    PDFBuilder document;
    document.object(1, "<</Type/Catalog/Pages 5 0 R>>").pages("[5 0 R 6 0 R]");
    document.object(5, "<</Type/Pages/Count 1/Kids[3 0 R]/Parent 2 0 R>>");
    document.object(6, "<</Type/Pages/Count 1/Kids[7 0 R]/Parent 2 0 R>>");
    document.object(3, "<</Type/Page/Parent 5 0 R/MediaBox[0 0 90 90]/X(shown)>>");
    document.object(7, "<</Type/Page/Parent 6 0 R/MediaBox[0 0 90 90]/X(planted)>>");
    EXPECT_TRUE(has(mustCleanPDF(document.plain()), "(shown)"));
}

// Most readers show that page alone, and some all pages. They do the same with the copy.
TEST(PDF, keepsAPageThatTheCatalogueNamesInPlaceOfTheTree)
{
    const std::string page = "/MediaBox[0 0 90 90]/Annots[<</Subtype/Text/T(planted)>>]>>";
    for (const char* parent : {"", "/Parent 1 0 R", "/Parent 2 0 R", "/Parent 5 0 R"}) {
        PDFBuilder document;
        document.object(1, "<</Type/Catalog/Pages 3 0 R>>").pages("[4 0 R]").page(4, "");
        document.object(3, "<</Type/Page" + std::string(parent) + page);
        document.object(5, "<</Type/Pages/Count 1/Kids[3 0 R]/Parent 1 0 R>>");
        EXPECT_EQ(factsOf(document.plain()).annotationTitles.size(), 1U) << parent;
        const std::string copy = mustCleanPDF(document.plain());
        EXPECT_TRUE(has(copy, "/Pages 2 0 R")) << parent;
        EXPECT_TRUE(has(copy, "2 0 obj\n<< /Annots")) << parent;
    }
}

TEST(PDF, passesOverKidsThatAreNoPages)
{
    for (const char* kids : {"[3 0 R null]", "[9 0 R 3 0 R]", "[(text) 3 0 R 7]"}) {
        const std::string copy = mustCleanPDF(PDFBuilder().pages(kids).plain());
        EXPECT_TRUE(has(copy, "/Kids [ 3 0 R ]")) << kids;
    }
    expectUnopenable(PDFBuilder().pages("[null 9 0 R]").plain());
}

// A tree of so many levels, the last of which is the page.
std::string nestedPage(std::size_t levels)
{
    PDFBuilder document;
    const int page = static_cast<int>(levels) + 1;
    for (int level = 2; level < page; ++level)
        document.object(level, "<</Type/Pages/Kids[" + std::to_string(level + 1) + " 0 R]>>");
    return document.page(page, "").plain();
}

TEST(PDF, refusesPagesThatAreNestedTooDeep)
{
    mustCleanPDF(nestedPage(limits::pageTreeDepth));
    expectUnopenable(nestedPage(limits::pageTreeDepth + 1));
    expectUnopenable(nestedPage(5000));
}

// Each level has the next one twice: as many ways as there are atoms.
TEST(PDF, refusesPagesThatAreSharedByTheirParents)
{
    PDFBuilder document;
    for (int level = 2; level < 90; ++level) {
        const std::string next = std::to_string(level + 1) + " 0 R ";
        document.object(level, "<</Type/Pages/Kids[" + next + next + "]>>");
    }
    expectUnopenable(document.page(90, "").plain());
}

TEST(PDF, survivesValuesThatAreNestedTooDeep)
{
    for (const char* opening : {"[", "<</A"}) {
        std::string value;
        for (int level = 0; level < 100000; ++level)
            value += opening;
        mustCleanPDF(PDFBuilder().catalogue("/X 5 0 R").object(5, value).plain());
    }
}

TEST(PDF, survivesAHugeSize)
{
    mustCleanPDF(PDFBuilder().trailer("/Size 2147483647").plain());
}

TEST(PDF, looksAtSharedAnnotationsOnce)
{
    std::string kids = "[";
    PDFBuilder document;
    constexpr int last = 4000;
    for (int page = 10; page < last; ++page) {
        document.page(page, "/Annots 5 0 R");
        kids += std::to_string(page) + " 0 R ";
    }
    std::string annotations = "[";
    for (int time = 0; time < last; ++time)
        annotations += "6 0 R ";
    document.pages(kids + "]")
        .object(5, annotations + "]")
        .object(6, "<</Subtype/Text/T(" + std::string(100000, 'x') + ")>>");
    EXPECT_EQ(factsOf(document.plain()).annotationTitles.size(), 1U);
}

TEST(PDF, survivesTruncation)
{
    for (const std::string& document :
         {plantedEverywhere().plain(), plantedEverywhere().packed()}) {
        for (std::size_t length = 0; length < document.size(); length += 7) {
            const Bytes cut(document.begin(),
                            document.begin() + static_cast<std::ptrdiff_t>(length));
            const Copy copy = cleanedPDF(asText(cut));
            EXPECT_TRUE(copy.outcome != Outcome::done || !has(copy.text, "planted")) << length;
        }
    }
}

TEST(PDF, asksForAPassword)
{
    const Bytes locked = fileBytes(std::string(NULLPRINT_TEST_DATA) + "/pdf/locked.pdf");
    EXPECT_EQ(cleanedPDF(asText(locked)).outcome, Outcome::locked);
}

TEST(PDF, keepsEncryptionThatOpensWithoutAPassword)
{
    for (const char* name : {"open-rc4-128.pdf",
                             "open-aes-128.pdf",
                             "open-aes-256.pdf",
                             "bad-length-aes-128.pdf",
                             "bad-revision-aes-128.pdf"}) {
        const Bytes document = fileBytes(std::string(NULLPRINT_TEST_DATA) + "/pdf/" + name);
        const DocumentFacts before = factsOf(asText(document));
        EXPECT_EQ(before.annotationTitles, std::set<std::string>{"planted"}) << name;
        EXPECT_FALSE(before.attributes.empty()) << name;
        const Copy copy = cleanedPDF(asText(document));
        ASSERT_EQ(copy.outcome, Outcome::done) << name;
        EXPECT_TRUE(has(copy.text, "/Encrypt")) << name;
        const DocumentFacts after = factsOf(copy.text);
        EXPECT_TRUE(after.annotationTitles.empty()) << name;
        EXPECT_TRUE(after.attributes.empty()) << name;
        EXPECT_FALSE(has(copy.text, "/Metadata")) << name;
        EXPECT_TRUE(has(copy.text, "/ID [<00000000000000000000000000000000>")) << name;
    }
}

TEST(PDF, tellsTextInAllItsEncodings)
{
    PDFBuilder document;
    document.information(9,
                         "/A(plain \\222\\240)"     // PDFDocEncoding: trade mark, Euro.
                         "/B<FEFF00480069D83DDE00>" // UTF-16, with a pair of surrogates.
                         "/C<EFBBBFC3A9>/D<FFFE48006900>/E<EFBBBFFF>"
                         "/F/A#20Name/G 12/H[(a)(b)]/I[]/J null/K()");
    const DocumentFacts facts = factsOf(document.plain());
    using enum Attribute::Kind;
    const std::vector<Attribute> expected{{"A", text, "plain ™€"},
                                          {"B", text, "Hi😀"},
                                          {"C", text, "é"},
                                          {"D", text, "Hi"},
                                          {"E", text, "ÿ"},
                                          {"F", other, "A Name"},
                                          {"G", other, "12"},
                                          {"H", list, "a, b"},
                                          {"I", other, "[ ]"},
                                          {"K", text, ""}};
    ASSERT_EQ(facts.attributes.size(), expected.size());
    for (std::size_t index = 0; index < expected.size(); ++index)
        EXPECT_EQ(facts.attributes[index], expected[index]) << facts.attributes[index].text;
}

TEST(PDF, factsArriveAsTheyWereSent)
{
    DocumentFacts facts;
    facts.attributes = {{"Author", Attribute::Kind::text, "Jane"},
                        {"Keywords", Attribute::Kind::list, ""}};
    facts.annotationTitles = {"Ann", "Bob"};
    MemorySink sink;
    ASSERT_TRUE(writeFacts(facts, sink).ok());
    MemorySource source(sink.content);
    const auto arrived = pdf::readFacts(source);
    ASSERT_TRUE(arrived.ok());
    EXPECT_EQ(arrived.value().attributes, facts.attributes);
    EXPECT_EQ(arrived.value().annotationTitles, facts.annotationTitles);
    for (std::size_t length = 0; length < sink.content.size(); ++length) {
        MemorySource cut(ByteSpan(sink.content).first(length));
        EXPECT_FALSE(pdf::readFacts(cut).ok());
    }
}

} // namespace
} // namespace nullprint::tests
