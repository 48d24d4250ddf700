#include "engine/image/TIFF.h"
#include "engine/image/EXIF.h"
#include "tests/support/Pictures.h"
#include "tests/support/ProfileBuilder.h"
#include "tests/support/TIFFBuilder.h"
#include "tests/support/WebPBuilder.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>

namespace nullprint::tests {
namespace {

using namespace nullprint::image;
using namespace std::string_view_literals;

constexpr std::string_view planted = "PLANTED";
constexpr std::string_view samples =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ+-";

// Where a page of 8 by 8 grey samples of a byte has them, and how.
struct Layout {
    std::vector<std::uint64_t> offsets;
    std::vector<std::uint64_t> lengths;
    std::uint16_t compression = 1;
    std::uint16_t rows = 8;
};

// The fields of such a page; a test adds others before it ends the page.
void describe(TIFFBuilder& tiff, const Layout& layout)
{
    tiff.shorts(256, {8}).shorts(257, {8}).shorts(258, {8});
    tiff.shorts(259, {layout.compression}).shorts(262, {1}).longs(273, layout.offsets);
    tiff.shorts(277, {1}).shorts(278, {layout.rows});
    if (!layout.lengths.empty())
        tiff.longs(279, layout.lengths);
}

// The numbers of a field of the first page.
std::vector<std::uint64_t> numbers(ByteSpan file, std::uint16_t tag)
{
    MemorySource source(file);
    const auto reader = IFDReader::open(source);
    const auto directory = reader.value().readDirectory(reader.value().firstDirectory());
    const Field* field = directory.value().find(tag);
    if (field == nullptr)
        return {};
    return reader.value().integers(*field, 1000).value();
}

// The tags of the first page, in file order.
std::vector<std::uint16_t> tags(ByteSpan file)
{
    MemorySource source(file);
    const auto reader = IFDReader::open(source);
    std::vector<std::uint16_t> found;
    const auto directory = reader.value().readDirectory(reader.value().firstDirectory());
    for (const Field& field : directory.value().fields)
        found.push_back(field.tag);
    return found;
}

bool hasField(ByteSpan file, std::uint16_t tag)
{
    const auto found = tags(file);
    return std::ranges::find(found, tag) != found.end();
}

std::string strip(ByteSpan file, std::size_t index)
{
    const auto offset = static_cast<std::size_t>(numbers(file, 273).at(index));
    const auto length = static_cast<std::size_t>(numbers(file, 279).at(index));
    return std::string(asText(file.subspan(offset, length)));
}

std::string refusal(ByteSpan file)
{
    const auto copy = cleaned(file);
    return copy.ok() ? "none" : copy.error().what;
}

// Everything that can be hidden in two pages.
Bytes loadedTIFF(ByteOrder order, bool isBig)
{
    TIFFBuilder tiff(order, isBig);
    tiff.data("PLANTED in a gap");
    const std::uint64_t first = tiff.data(samples.substr(0, 32));
    tiff.data("PLANTED between strips");
    const std::uint64_t second = tiff.data(samples.substr(32));
    tiff.text(1, "N")
        .rationals(2, {48, 1, 30, 1, 0, 1})
        .text(3, "E")
        .rationals(4, {2, 1, 0, 1, 0, 1});
    const std::uint64_t gps = tiff.directory();
    tiff.text(0x9003, "PLANTED date").text(0xA431, "PLANTED serial");
    const std::uint64_t exif = tiff.directory();
    describe(
        tiff,
        {{tiff.data("PLANTED thumbnail of 64 bytes, and now some more, to be 64 long.")}, {64}});
    const std::uint64_t preview = tiff.directory();
    describe(tiff, {{first, second}, {32, 32}, 1, 4});
    tiff.shorts(274, {6}).rationals(282, {300, 1}).rationals(283, {300, 1}).shorts(296, {2});
    tiff.text(270, "PLANTED description").text(271, "PLANTED make").text(305, "PLANTED software");
    tiff.text(306, "2023:01:01 00:00:00").text(315, "PLANTED").text(285, "PLANTED page");
    tiff.opaque(700, asBytes("<x:xmpmeta>PLANTED</x:xmpmeta>"sv), 1);
    tiff.opaque(33723, asBytes("\x1C\x02\x50\0\x07PLANTED"sv));
    tiff.opaque(34675, asBytes(sampleProfile(200)));
    tiff.longs(330, {preview}, 13).longs(34665, {exif}).longs(34853, {gps}, 13);
    tiff.text(65000, "PLANTED private");
    tiff.page();
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.text(315, "PLANTED second artist");
    tiff.page();
    tiff.data("PLANTED at the end");
    return tiff.file;
}

class AnyTIFF : public testing::TestWithParam<std::pair<ByteOrder, bool>> {};

INSTANTIATE_TEST_SUITE_P(Flavours,
                         AnyTIFF,
                         testing::Values(std::pair(ByteOrder::little, false),
                                         std::pair(ByteOrder::big, false),
                                         std::pair(ByteOrder::little, true),
                                         std::pair(ByteOrder::big, true)));

TEST_P(AnyTIFF, keepsItsPromises)
{
    const Bytes file = loadedTIFF(GetParam().first, GetParam().second);
    const Bytes before = file;
    expectPromises(file);
    expectSurvivesTruncation(file);
    expectSurvivesMutation(file, 400);
    EXPECT_EQ(file, before);
}

TEST_P(AnyTIFF, dropsPlantedMetadata)
{
    const Bytes file = loadedTIFF(GetParam().first, GetParam().second);
    const Bytes copy = mustClean(file);
    EXPECT_TRUE(holds(file, planted));
    EXPECT_FALSE(holds(copy, planted));
    EXPECT_FALSE(holds(copy, "2023:"));
    EXPECT_EQ(frameCount(copy), 2U);
    EXPECT_EQ(Bytes(copy.begin(), copy.begin() + 4), Bytes(file.begin(), file.begin() + 4));
}

TEST_P(AnyTIFF, keepsOrientationResolutionAndProfile)
{
    const Bytes copy = mustClean(loadedTIFF(GetParam().first, GetParam().second));
    EXPECT_EQ(turnedOrientationOf(copy), 6);
    const auto resolution = storedResolution(propertiesOf(copy));
    ASSERT_TRUE(resolution);
    EXPECT_EQ(resolution->x, 300);
    EXPECT_EQ(resolution->unit, 2);
    EXPECT_TRUE(holds(copy, sampleProfile(200)));
    EXPECT_TRUE(holds(copy, samples));
}

TEST_P(AnyTIFF, tellsWhatAllItsDirectoriesSay)
{
    const Properties properties = propertiesOf(loadedTIFF(GetParam().first, GetParam().second));
    EXPECT_EQ(properties.text(Group::tiff, tag::make), "PLANTED make");
    EXPECT_EQ(properties.text(Group::exif, tag::bodySerialNumber), "PLANTED serial");
    EXPECT_EQ(properties.number(Group::gps, tag::gpsLatitude), 48.5);
    EXPECT_EQ(properties.text(Group::iptc, 0x0250), "PLANTED");
}

TEST(TIFF, samplesKeepTheirPromises)
{
    for (const std::string& path : dataFiles("tiff")) {
        if (!path.ends_with(".tif"))
            continue;
        SCOPED_TRACE(path);
        const Bytes file = fileBytes(path);
        expectPromises(file);
        expectSurvivesTruncation(file);
        expectSurvivesMutation(file, 200);
    }
}

TEST(TIFF, tellsOfThePageThatIsAskedFor)
{
    const Bytes file = loadedTIFF(ByteOrder::little, false);
    MemorySource source(file);
    const Properties second = ImageSource::open(source).value().properties(1);
    EXPECT_EQ(second.text(Group::tiff, tag::artist), "PLANTED second artist");
}

TEST(TIFF, readsCaptionsStoredAsNumbersInEitherOrder)
{
    for (const auto stored : {"\x1C\x02\x50\0\x03you"sv, "\0\x50\x02\x1Cuoy\x03"sv}) {
        TIFFBuilder tiff;
        describe(tiff, {{tiff.data(samples)}, {64}});
        tiff.opaque(33723, asBytes(stored), 4);
        tiff.page();
        EXPECT_EQ(propertiesOf(tiff.file).text(Group::iptc, 0x0250), "you");
    }
}

TEST(TIFF, readsCaptionsInPhotoshopResources)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.opaque(34377, asBytes("8BIM\x04\x04\0\0\0\0\0\x08\x1C\x02\x50\0\x03you"sv), 1);
    tiff.page();
    EXPECT_EQ(propertiesOf(tiff.file).text(Group::iptc, 0x0250), "you");
    EXPECT_FALSE(holds(mustClean(tiff.file), "8BIM"));
}

TEST(TIFF, keepsStripsInTheOrderTheyHaveInTheFile)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(samples);
    describe(tiff, {{place + 32, place}, {32, 32}, 1, 4});
    tiff.page();
    const Bytes copy = mustClean(tiff.file);
    expectPromises(tiff.file);
    EXPECT_TRUE(holds(copy, samples));
    EXPECT_EQ(strip(copy, 0), samples.substr(32));
    EXPECT_EQ(strip(copy, 1), samples.substr(0, 32));
}

TEST(TIFF, sharedAndOverlappingStripsAreCopiedOnce)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(samples);
    describe(tiff, {{place, place + 10, place + 10, place}, {16, 16, 16, 16}, 1, 2});
    tiff.page();
    const Bytes copy = mustClean(tiff.file);
    expectPromises(tiff.file);
    EXPECT_EQ(strip(copy, 3), samples.substr(0, 16));
    EXPECT_EQ(strip(copy, 1), samples.substr(10, 16));
    EXPECT_EQ(bytesOfKind(copy, BlockKind::pixels).size(), 26U);
}

TEST(TIFF, valuesThatPagesShareStayShared)
{
    TIFFBuilder tiff;
    const std::uint64_t profile = tiff.data(sampleProfile(4000));
    const std::uint64_t place = tiff.data(samples);
    for (int page = 0; page < 50; ++page) {
        describe(tiff, {{place}, {64}});
        Bytes pointer;
        append32(pointer, static_cast<std::uint32_t>(profile), ByteOrder::little);
        tiff.field(34675, 7, 4000, pointer);
        tiff.page();
    }
    expectPromises(tiff.file);
    EXPECT_LE(mustClean(tiff.file).size(), tiff.file.size());
}

TEST(TIFF, bytesBehindTheSamplesOfAStripGo)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(samples);
    tiff.data(planted);
    describe(tiff, {{place}, {64 + planted.size()}});
    tiff.page();
    const Bytes copy = mustClean(tiff.file);
    EXPECT_EQ(strip(copy, 0), samples);
    EXPECT_FALSE(holds(copy, planted));
}

TEST(TIFF, stripsThatNobodyShowsGo)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(samples);
    const std::uint64_t hidden = tiff.data("PLANTED");
    describe(tiff, {{place, hidden}, {64, 7}, 5});
    tiff.page();
    EXPECT_FALSE(holds(mustClean(tiff.file), planted));
}

TEST(TIFF, missingByteCountsAreWorkedOutForPlainSamplesAlone)
{
    TIFFBuilder plain;
    describe(plain, {{plain.data(samples)}, {}});
    plain.page();
    EXPECT_EQ(strip(mustClean(plain.file), 0), samples);
    TIFFBuilder packed;
    describe(packed, {{packed.data(samples)}, {}, 5});
    packed.page();
    EXPECT_EQ(refusal(packed.file), "strip or tile that is not all there");
}

TEST(TIFF, stripsWithoutDataStayWithout)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data("packed"), 0}, {6, 0}, 5, 4});
    tiff.page();
    const Bytes copy = mustClean(tiff.file);
    EXPECT_EQ(numbers(copy, 273)[1], 0U);
    EXPECT_EQ(numbers(copy, 279)[1], 0U);
    EXPECT_EQ(strip(copy, 0), "packed");
}

TEST(TIFF, stripsPastTheEndAreRefused)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {5000}, 5});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "strip or tile that is not all there");
}

TEST(TIFF, packedStripsThatLieAcrossMetadataAreRefused)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data("packed");
    tiff.text(315, "PLANTED artist");
    describe(tiff, {{place}, {20}, 5});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "strips that lie across metadata");
}

// Many fields, one long text: their values together would be a thousand times the file.
TEST(TIFF, valuesThatFieldsShareAreNotReadAgainAndAgain)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(std::string(100000, 'x'));
    Bytes pointer;
    append32(pointer, static_cast<std::uint32_t>(place), ByteOrder::little);
    describe(tiff, {{tiff.data(samples)}, {64}});
    for (std::uint16_t tag = 40000; tag < 41000; ++tag)
        tiff.field(tag, 2, 100000, pointer);
    tiff.page();
    const Properties properties = propertiesOf(tiff.file);
    EXPECT_EQ(properties.text(Group::tiff, 40000).value_or("").size(), 100000U);
    EXPECT_FALSE(properties.text(Group::tiff, 40500));
    EXPECT_GE(properties.count(Group::tiff), 1000U);
}

TEST(TIFF, tooFewStripsAreRefused)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}, 5, 4});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "page with too few strips");
}

TEST(TIFF, textInANumbersPlaceGoes)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.text(282, "PLANTED x").text(283, "PLANTED y").text(274, "PL").text(297, "PLANTED z");
    tiff.opaque(34675,
                asBytes("PLANTED, no profile at all, however long it may be; it goes on, and "
                        "on, and on, till it has more bytes than the head of a profile has."sv));
    tiff.page();
    const Bytes copy = mustClean(tiff.file);
    EXPECT_FALSE(holds(copy, planted));
    for (const std::uint16_t tag : std::array<std::uint16_t, 5>{274, 282, 283, 297, 34675})
        EXPECT_FALSE(hasField(copy, tag)) << tag;
}

TEST(TIFF, valuesBeyondTheirNumberGo)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.shorts(339, {1, 0x4C50, 0x4E41}).shorts(296, {2, 0x4C50, 0x4E41, 0x4554});
    tiff.page();
    const Bytes copy = mustClean(tiff.file);
    EXPECT_FALSE(holds(copy, "PL"));
    EXPECT_EQ(numbers(copy, 339), std::vector<std::uint64_t>{1});
}

TEST(TIFF, textWhereTheCompressionBelongsIsRefused)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(samples);
    tiff.shorts(256, {8}).shorts(257, {8}).shorts(258, {8}).text(259, "LZW").shorts(262, {1});
    tiff.longs(273, {place}).longs(279, {64});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "field that cannot be what its tag says");
}

TEST(TIFF, pagesThatDoNotTellHowManySamplesAPixelHasAreRefused)
{
    TIFFBuilder several;
    several.shorts(256, {8}).shorts(257, {2}).shorts(258, {8, 8, 8}).shorts(262, {1});
    several.longs(273, {several.data(samples)}).longs(279, {48});
    several.page();
    EXPECT_EQ(refusal(several.file), "page without a number of samples");
    TIFFBuilder coloured;
    coloured.shorts(256, {8}).shorts(257, {2}).shorts(258, {8}).shorts(262, {2});
    coloured.longs(273, {coloured.data(samples)}).longs(279, {48});
    coloured.page();
    EXPECT_EQ(refusal(coloured.file), "page without a number of samples");
}

TEST(TIFF, numbersOfSignedTypesAreKept)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(samples);
    tiff.longs(256, {8}, 9).longs(257, {8}, 9).field(258, 8, 1, Bytes{8, 0}).longs(273, {place}, 9);
    tiff.field(274, 6, 1, Bytes{6}).longs(279, {64}, 9).longs(297, {0xFFFFFFFF, 1}, 9);
    tiff.page();
    expectPromises(tiff.file);
    const Bytes copy = mustClean(tiff.file);
    EXPECT_EQ(strip(copy, 0), samples);
    EXPECT_EQ(numbers(copy, 256), std::vector<std::uint64_t>{8});
    EXPECT_EQ(numbers(copy, 258), std::vector<std::uint64_t>{8});
    EXPECT_EQ(turnedOrientationOf(copy), 6);
    EXPECT_FALSE(hasField(copy, 297)); // One of its numbers is negative.
    TIFFBuilder negative;
    describe(negative, {{negative.data(samples)}, {64}});
    negative.longs(266, {0xFFFFFFFF}, 9);
    negative.page();
    EXPECT_EQ(refusal(negative.file), "field that cannot be what its tag says");
}

TEST(TIFF, emptyFieldsGoUnlessTheyShouldLayOutTheSamples)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.shorts(338, {}).shorts(317, {});
    tiff.page();
    expectPromises(tiff.file);
    const Bytes copy = mustClean(tiff.file);
    EXPECT_EQ(strip(copy, 0), samples);
    EXPECT_FALSE(hasField(copy, 338));
    EXPECT_FALSE(hasField(copy, 317));
    TIFFBuilder uncertain;
    const std::uint64_t place = uncertain.data(samples);
    uncertain.shorts(256, {8}).shorts(257, {8}).shorts(258, {8}).shorts(259, {});
    uncertain.longs(273, {place}).longs(279, {64});
    uncertain.page();
    EXPECT_EQ(refusal(uncertain.file), "field that cannot be what its tag says");
}

TEST(TIFF, subsamplingMattersToYCbCrAlone)
{
    TIFFBuilder grey;
    describe(grey, {{grey.data(samples)}, {64}});
    grey.shorts(530, {1});
    grey.page();
    expectPromises(grey.file);
    EXPECT_FALSE(hasField(mustClean(grey.file), 530));
    TIFFBuilder subsampled;
    subsampled.shorts(256, {8}).shorts(257, {2}).shorts(258, {8, 8, 8}).shorts(262, {6});
    subsampled.longs(273, {subsampled.data(samples)}).shorts(277, {3}).longs(279, {48});
    subsampled.shorts(530, {1});
    subsampled.page();
    EXPECT_EQ(refusal(subsampled.file), "field that cannot be what its tag says");
}

TEST(TIFF, ofTwoFieldsWithOneTagTheFirstCountsAndFieldsAreSorted)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(samples);
    tiff.longs(279, {64}).longs(273, {place}).shorts(274, {6}).shorts(274, {3});
    tiff.shorts(258, {8}).shorts(257, {8}).shorts(256, {8}).shorts(256, {4000});
    tiff.page();
    const Bytes copy = mustClean(tiff.file);
    EXPECT_EQ(turnedOrientationOf(copy), 6);
    EXPECT_EQ(numbers(copy, 256), std::vector<std::uint64_t>{8});
    const auto found = tags(copy);
    EXPECT_TRUE(std::ranges::is_sorted(found, std::ranges::less_equal()));
}

TEST(TIFF, chainThatComesBackToItselfIsAnError)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}});
    const std::uint64_t first = tiff.page();
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.page();
    EXPECT_EQ(frameCount(tiff.file), 2U);
    tiff.leadTo(first);
    MemorySource source(tiff.file);
    EXPECT_FALSE(ImageSource::open(source).value().frameCount().ok());
    EXPECT_EQ(refusal(tiff.file), "chain of directories without an end");
}

TEST(TIFF, subDirectoryThatLeadsToItselfEnds)
{
    TIFFBuilder tiff;
    const std::uint64_t self = tiff.file.size() + 4; // Behind four bytes of samples.
    tiff.data("1234");
    tiff.longs(330, {self}, 13).longs(34665, {self});
    EXPECT_EQ(tiff.directory(), self);
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.longs(330, {self}, 13).longs(34665, {self});
    tiff.page();
    expectPromises(tiff.file);
}

TEST(TIFF, directoriesWithoutAPictureAreNoPages)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.page();
    tiff.text(315, "PLANTED");
    tiff.page();
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.page();
    expectPromises(tiff.file);
    EXPECT_EQ(frameCount(tiff.file), 2U);
    EXPECT_FALSE(holds(mustClean(tiff.file), planted));
    TIFFBuilder empty;
    empty.text(315, "nothing else");
    empty.page();
    MemorySource source(empty.file);
    EXPECT_FALSE(ImageSource::open(source).ok());
}

TEST(TIFF, stripsWithoutAPicturesSizeAreRefused)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.page();
    tiff.shorts(259, {6}).longs(273, {tiff.data(samples)}).longs(279, {64});
    tiff.page();
    EXPECT_EQ(frameCount(tiff.file), 1U);
    EXPECT_EQ(refusal(tiff.file), "strips or tiles of no known size");
}

TEST(TIFF, previewsOfAPictureInASubDirectoryAreRefused)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}});
    const std::uint64_t proper = tiff.directory();
    tiff.longs(254, {1});
    describe(tiff, {{tiff.data(samples)}, {64}});
    tiff.longs(330, {proper});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "TIFF whose pages stand for a picture in another directory");
}

// The smallest streams that have everything: a quantisation table of ones, a Huffman table with one
// code, a frame of 8 by 8 with one component, and a scan.
std::string jpegTables()
{
    std::string tables("\xFF\xDB\0\x43\0"sv);
    tables.append(64, '\x01');
    return tables.append("\xFF\xC4\0\x14\0\x01\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"sv);
}
const std::string jpegSOI("\xFF\xD8"sv);
const std::string jpegFrame("\xFF\xC0\0\x0B\x08\0\x08\0\x08\x01\x01\x11\0"sv);
const std::string jpegScan("\xFF\xDA\0\x08\x01\x01\0\0\x3F\0coded\xFF\0data"sv);
const std::string jpegEnd("\xFF\xD9"sv);
const std::string jpegComment("\xFF\xFE\0\x09PLANTED"sv);
const std::string jpegEXIF("\xFF\xE1\0\x0F"
                           "Exif\0\0PLANTED"sv);
const std::string jpegAdobe("\xFF\xEE\0\x0E"
                            "Adobe\0\x64\0\0\0\0\0"sv);

TEST(TIFF, metadataInsideJPEGStripsGoes)
{
    TIFFBuilder tiff;
    const std::string first = jpegSOI + jpegEXIF + jpegAdobe + jpegTables() + jpegComment +
                              jpegFrame + jpegScan + jpegEnd + "PLANTED behind";
    const std::string clean = jpegSOI + jpegAdobe + jpegTables() + jpegFrame + jpegScan + jpegEnd;
    const std::uint64_t one = tiff.data(first);
    const std::uint64_t two = tiff.data(clean);
    describe(tiff, {{one, two}, {first.size(), clean.size()}, 7, 4});
    tiff.page();
    expectPromises(tiff.file);
    expectSurvivesTruncation(tiff.file);
    expectSurvivesMutation(tiff.file, 400);
    const Bytes copy = mustClean(tiff.file);
    EXPECT_FALSE(holds(copy, planted));
    EXPECT_EQ(strip(copy, 0), clean);
    EXPECT_EQ(strip(copy, 1), clean);
}

TEST(TIFF, metadataInsideJPEGTablesGoes)
{
    TIFFBuilder tiff;
    const std::string data = jpegSOI + jpegFrame + jpegScan + jpegEnd;
    describe(tiff, {{tiff.data(data)}, {data.size()}, 7});
    tiff.opaque(347, asBytes(jpegSOI + jpegComment + jpegTables() + jpegEnd));
    tiff.page();
    expectPromises(tiff.file);
    const Bytes copy = mustClean(tiff.file);
    EXPECT_FALSE(holds(copy, planted));
    EXPECT_TRUE(holds(copy, jpegSOI + jpegTables() + jpegEnd));
}

TEST(TIFF, stripsThatAreNotWhatTheirCompressionSaysAreRefused)
{
    TIFFBuilder noScan;
    const std::string tables = jpegSOI + jpegTables() + jpegEnd;
    describe(noScan, {{noScan.data(tables)}, {tables.size()}, 7});
    noScan.page();
    EXPECT_EQ(refusal(noScan.file), "JPEG strip without a scan");
    TIFFBuilder noJPEG;
    describe(noJPEG, {{noJPEG.data("no start" + jpegScan)}, {8 + jpegScan.size()}, 7});
    noJPEG.page();
    EXPECT_EQ(refusal(noJPEG.file), "strip that is not JPEG");
    TIFFBuilder noTables;
    const std::string data = jpegSOI + jpegFrame + jpegScan + jpegEnd;
    describe(noTables, {{noTables.data(data)}, {data.size()}, 7});
    noTables.opaque(347, asBytes("\xFF\xC3 nothing to see"sv));
    noTables.page();
    EXPECT_EQ(refusal(noTables.file), "JPEG tables that are not JPEG");
    TIFFBuilder noWebP;
    describe(noWebP, {{noWebP.data(samples)}, {64}, 50001});
    noWebP.page();
    EXPECT_EQ(refusal(noWebP.file), "strip that is not WebP");
}

// JPEG XR, JPEG 2000, JBIG, PNG, JPEG XL; linework whose tables do not survive; numbers of nobody.
TEST(TIFF, compressionsThatMayCarryMetadataAreRefused)
{
    for (const std::uint16_t compression :
         std::array<std::uint16_t, 9>{0, 9, 22610, 32896, 34661, 34712, 34933, 50002, 60000}) {
        TIFFBuilder tiff;
        describe(tiff, {{tiff.data(samples)}, {64}, compression});
        tiff.page();
        EXPECT_EQ(refusal(tiff.file), "strips whose compression may carry metadata") << compression;
    }
}

TEST(TIFF, compressionsOfNothingButSamplesAreKept)
{
    for (const std::uint16_t compression : std::array<std::uint16_t, 18>{2,
                                                                         3,
                                                                         4,
                                                                         5,
                                                                         8,
                                                                         32766,
                                                                         32771,
                                                                         32773,
                                                                         32809,
                                                                         32908,
                                                                         32909,
                                                                         32946,
                                                                         34676,
                                                                         34677,
                                                                         34887,
                                                                         34925,
                                                                         34926,
                                                                         50000}) {
        TIFFBuilder tiff;
        describe(tiff, {{tiff.data("packed")}, {6}, compression});
        tiff.page();
        expectPromises(tiff.file);
        const Bytes copy = mustClean(tiff.file);
        EXPECT_EQ(strip(copy, 0), "packed");
        EXPECT_EQ(numbers(copy, 259), std::vector<std::uint64_t>{compression});
    }
}

TEST(TIFF, metadataInsideWebPStripsGoes)
{
    using namespace webp;
    const Bytes data = webp::file({canvas(exifFlag | xmpFlag),
                                   lossy(),
                                   chunk("EXIF", planted),
                                   chunk("XMP ", "<x:xmpmeta>PLANTED</x:xmpmeta>")});
    for (const std::uint16_t compression : std::array<std::uint16_t, 2>{34927, 50001}) {
        TIFFBuilder tiff;
        describe(tiff, {{tiff.data(data)}, {data.size()}, compression});
        tiff.page();
        expectPromises(tiff.file);
        const Bytes copy = mustClean(tiff.file);
        EXPECT_FALSE(holds(copy, planted));
        EXPECT_EQ(strip(copy, 0), asText(webp::file({canvas(0), lossy()})));
    }
}

// A segment that says it is longer than its strip: in a thumbnail's Exif there are pictures, too.
TEST(TIFF, nothingIsFoundInAJPEGSegmentThatIsCutShort)
{
    const std::string thumbnail = jpegTables() + jpegFrame + jpegScan + jpegEnd;
    const std::string cut = "\xFF\xE1\xFF\xFF"
                            "Exif" +
                            std::string(2, '\0') + "PLANTED" + thumbnail;
    TIFFBuilder alone;
    describe(alone, {{alone.data(jpegSOI + cut)}, {(jpegSOI + cut).size()}, 7});
    alone.page();
    EXPECT_EQ(refusal(alone.file), "JPEG strip without a scan");
    TIFFBuilder behind;
    const std::string picture = jpegSOI + jpegTables() + jpegFrame + jpegScan;
    describe(behind, {{behind.data(picture + cut)}, {(picture + cut).size()}, 7});
    behind.page();
    expectPromises(behind.file);
    EXPECT_EQ(strip(mustClean(behind.file), 0), picture);
}

TEST(TIFF, overlappingJPEGStripsAreRefused)
{
    TIFFBuilder tiff;
    const std::string data = jpegSOI + jpegTables() + jpegFrame + jpegScan + jpegEnd;
    const std::uint64_t place = tiff.data(data);
    describe(tiff, {{place, place + 2}, {data.size(), data.size() - 2}, 7, 4});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "strips that overlap");
}

// Old-style JPEG: one stream, into which strips and tables point.
TEST(TIFF, oldJPEGStreamIsCleanedAndPointersFollow)
{
    TIFFBuilder tiff(ByteOrder::big);
    const std::string head = jpegSOI + jpegEXIF + jpegTables() + jpegComment + jpegFrame;
    const std::string stream = head + jpegScan + jpegEnd;
    const std::uint64_t place = tiff.data(stream);
    const std::uint64_t scan = place + head.size() + 10;
    describe(tiff, {{scan}, {jpegScan.size() - 10 + 2}, 6});
    tiff.shorts(512, {1}).longs(513, {place}).longs(514, {stream.size()});
    tiff.longs(519, {place + 2 + jpegEXIF.size() + 5});
    tiff.page();
    expectPromises(tiff.file);
    expectSurvivesTruncation(tiff.file);
    expectSurvivesMutation(tiff.file, 400);
    const Bytes copy = mustClean(tiff.file);
    EXPECT_FALSE(holds(copy, planted));
    EXPECT_TRUE(holds(copy, jpegSOI + jpegTables() + jpegFrame + jpegScan + jpegEnd));
    EXPECT_EQ(strip(copy, 0), jpegScan.substr(10) + jpegEnd);
    EXPECT_EQ(numbers(copy, 519)[0], numbers(copy, 513)[0] + 2 + 5);
    EXPECT_EQ(numbers(copy, 514)[0], stream.size() - jpegEXIF.size() - jpegComment.size());
}

TEST(TIFF, oldJPEGStreamWithoutALengthEndsAtItsEndMark)
{
    TIFFBuilder tiff;
    const std::string stream = jpegSOI + jpegTables() + jpegFrame + jpegScan + jpegEnd;
    const std::uint64_t place = tiff.data(stream);
    tiff.data(planted);
    tiff.shorts(256, {8}).shorts(257, {8}).shorts(259, {6}).longs(513, {place});
    tiff.page();
    expectPromises(tiff.file);
    const Bytes copy = mustClean(tiff.file);
    EXPECT_FALSE(holds(copy, planted));
    EXPECT_EQ(numbers(copy, 514)[0], stream.size());
}

TEST(TIFF, oldJPEGPageWithoutStripsAndStreamIsRefused)
{
    TIFFBuilder tiff;
    tiff.shorts(256, {8}).shorts(257, {8}).shorts(259, {6}).longs(273, {});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "page without strips");
}

TEST(TIFF, oldJPEGTableThatIsPartlyMetadataIsRefused)
{
    TIFFBuilder tiff;
    const std::string stream =
        jpegSOI + jpegComment + jpegTables() + jpegFrame + jpegScan + jpegEnd;
    const std::uint64_t place = tiff.data(stream);
    tiff.shorts(256, {8}).shorts(257, {8}).shorts(259, {6});
    tiff.longs(513, {place}).longs(514, {stream.size()}).longs(519, {place + 4});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "JPEG table that lies across what is dropped");
}

// The stream tells of no scan, and what the strip names is nothing to it.
TEST(TIFF, oldJPEGStripThatIsNoScanOfItsStreamIsRefused)
{
    for (const std::string& between :
         {jpegSOI + jpegTables(), jpegSOI + jpegTables() + jpegFrame}) {
        TIFFBuilder tiff;
        const std::string stream = between + "coded data" + jpegEnd;
        const std::uint64_t place = tiff.data(stream);
        describe(tiff, {{place + between.size()}, {stream.size() - between.size()}, 6});
        tiff.longs(513, {place}).longs(514, {stream.size()});
        tiff.page();
        EXPECT_EQ(refusal(tiff.file), "JPEG strip without a scan");
    }
}

TEST(TIFF, oldJPEGTablesMoveAlong)
{
    TIFFBuilder tiff;
    const std::uint64_t scan = tiff.data("coded\xFF\0data\xFF\xD9"sv);
    const std::string quantisation(64, 'q');
    const std::uint64_t first = tiff.data(quantisation);
    tiff.data(planted);
    const std::string huffman("\x02\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0hf"sv);
    const std::uint64_t second = tiff.data(huffman);
    describe(tiff, {{scan}, {13}, 6});
    tiff.shorts(512, {1}).longs(519, {first}).longs(520, {second}).longs(521, {second});
    tiff.page();
    expectPromises(tiff.file);
    const Bytes copy = mustClean(tiff.file);
    EXPECT_FALSE(holds(copy, planted));
    const auto at = [&copy](std::uint16_t tag, std::size_t length) {
        const auto offset = static_cast<std::size_t>(numbers(copy, tag)[0]);
        return std::string(asText(ByteSpan(copy).subspan(offset, length)));
    };
    EXPECT_EQ(at(519, 64), quantisation);
    EXPECT_EQ(at(520, huffman.size()), huffman);
    EXPECT_EQ(at(521, huffman.size()), huffman);
}

TEST(TIFF, fieldsOfAnotherCompressionGo)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data(samples)}, {64}, 5});
    tiff.opaque(347, asBytes(jpegSOI + jpegTables() + jpegEnd)).longs(513, {8}).longs(514, {9});
    tiff.longs(519, {8});
    tiff.page();
    const Bytes copy = mustClean(tiff.file);
    for (const std::uint16_t tag : std::array<std::uint16_t, 4>{347, 513, 514, 519})
        EXPECT_FALSE(hasField(copy, tag)) << tag;
}

// A file of some pieces at great distances; all between them is zero.
class SparseSource final : public ByteSource {
public:
    std::uint64_t size() const override { return end; }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override
    {
        window.assign(length, 0);
        NP_TRY(read(offset, window));
        return ByteSpan(window);
    }
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override
    {
        if (!holds({offset, target.size()}))
            return Error{"past the end", offset};
        for (std::size_t index = 0; index < target.size(); ++index) {
            const auto place = bytes.find(offset + index);
            target[index] = place != bytes.end() ? place->second : Byte{0};
        }
        return Done{};
    }
    void put(std::uint64_t offset, ByteSpan more)
    {
        for (std::size_t index = 0; index < more.size(); ++index)
            bytes[offset + index] = more[index];
    }

    std::uint64_t end = 0;

private:
    std::map<std::uint64_t, Byte> bytes;
    Bytes window;
};

constexpr std::uint64_t gibi = 1024ULL * 1024 * 1024;

TEST(TIFF, bigTIFFBeyondFourGibibytesIsPlanned)
{
    TIFFBuilder tiff(ByteOrder::little, true);
    Bytes offsets;
    append64(offsets, 5 * gibi, ByteOrder::little);
    append64(offsets, gibi, ByteOrder::little);
    tiff.longs(256, {65536}).longs(257, {65536}).shorts(258, {8}).longs(278, {32768});
    tiff.field(273, 16, 2, offsets);
    tiff.longs(279, {0x80000000, 0x80000000});
    tiff.page();
    SparseSource source;
    source.put(0, tiff.file);
    source.end = 7 * gibi;
    const auto plan = tiffFormat.planCleanCopy(source);
    ASSERT_TRUE(plan.ok()) << plan.error().what;
    EXPECT_GT(plan.value().size(), 4 * gibi);
    EXPECT_LT(plan.value().size(), 4 * gibi + 1000);
    EXPECT_TRUE(tiffFormat.split(source).ok());
}

TEST(TIFF, classicTIFFDoesNotOutgrowItsOffsets)
{
    TIFFBuilder tiff;
    describe(tiff, {{2 * gibi, gibi}, {4 * gibi - 1, gibi}, 5, 4});
    tiff.page();
    SparseSource source;
    source.put(0, tiff.file);
    source.end = 7 * gibi;
    const auto plan = tiffFormat.planCleanCopy(source);
    ASSERT_FALSE(plan.ok());
    EXPECT_STREQ(plan.error().what, "copy too large for its kind of TIFF");
}

// 60,000 by 60,000 samples announced, 64 there.
TEST(TIFF, announcedSizesAllocateNothing)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data(samples);
    tiff.longs(256, {60000}).longs(257, {60000}).shorts(258, {8}).longs(273, {place});
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "strip or tile that is not all there");
    TIFFBuilder tiled;
    tiled.longs(256, {0xFFFFFFFF}).longs(257, {0xFFFFFFFF}).shorts(258, {8});
    tiled.shorts(322, {1}).shorts(323, {1}).longs(324, {8}).longs(325, {1});
    tiled.page();
    EXPECT_EQ(refusal(tiled.file), "too many tiles");
}

// What one number of a file allows times what another does would take minutes in each of these.
TEST(TIFF, manyFieldsAreNotSearchedForEachOfManyTiles)
{
    constexpr std::size_t tiles = 2'000'000;
    TIFFBuilder tiff;
    tiff.data("1");
    for (int field = 0; field < 65000; ++field)
        tiff.opaque(1000, {}, 1);
    tiff.longs(256, {tiles}).longs(257, {1}).shorts(258, {8}).shorts(322, {1}).shorts(323, {1});
    tiff.opaque(324, Bytes(tiles, 8), 1).opaque(325, Bytes(tiles, 1), 1);
    tiff.page();
    EXPECT_EQ(numbers(mustClean(tiff.file), 256), std::vector<std::uint64_t>{tiles});
}

TEST(TIFF, previewsThatFailAreNotReadWithoutEnd)
{
    constexpr std::uint64_t strips = 1'000'000;
    TIFFBuilder tiff;
    Bytes pointer;
    append32(pointer, static_cast<std::uint32_t>(tiff.data(Bytes(strips, 8))), ByteOrder::little);
    std::vector<std::uint64_t> previews;
    for (int preview = 0; preview < 30000; ++preview) {
        tiff.shorts(256, {8}).longs(257, {strips}).shorts(259, {5}).field(273, 1, strips, pointer);
        tiff.shorts(278, {1});
        previews.push_back(tiff.directory());
    }
    describe(tiff, {{tiff.data("packed")}, {6}, 5});
    tiff.longs(330, previews);
    tiff.page();
    EXPECT_EQ(strip(mustClean(tiff.file), 0), "packed");
}

// Each segment of the stream has four bytes; there is no end.
TEST(TIFF, streamsOfPreviewsAreNotWalkedOverWithoutEnd)
{
    TIFFBuilder tiff;
    std::string stream = jpegSOI;
    for (int segment = 0; segment < 250'000; ++segment)
        stream.append("\xFF\xE0\0\x02\xFF\xDB\0\x02"sv);
    const std::uint64_t place = tiff.data(stream);
    std::vector<std::uint64_t> previews;
    for (int preview = 0; preview < 1000; ++preview) {
        tiff.shorts(256, {8}).shorts(257, {8}).shorts(259, {6}).longs(513, {place});
        previews.push_back(tiff.directory());
    }
    describe(tiff, {{tiff.data("packed")}, {6}, 5});
    tiff.longs(330, previews);
    tiff.page();
    EXPECT_EQ(strip(mustClean(tiff.file), 0), "packed");
}

// At every byte of the block a directory of 65,535 fields begins, and each page leads to another.
TEST(TIFF, directoriesThatOverlapAreNotReadForEveryPage)
{
    TIFFBuilder tiff;
    describe(tiff, {{tiff.data("packed")}, {6}, 5});
    tiff.page();
    const std::uint64_t block = tiff.data(Bytes(900'000, 0xFF));
    for (std::uint64_t page = 0; page < 60000; ++page) {
        tiff.longs(330, {block + page});
        tiff.page();
    }
    EXPECT_EQ(strip(mustClean(tiff.file), 0), "packed");
}

TEST(TIFF, blocksAreNamedForWhatTheyAre)
{
    const Bytes file = loadedTIFF(ByteOrder::little, false);
    EXPECT_TRUE(holds(bytesOfKind(file, BlockKind::exif), "PLANTED serial"));
    EXPECT_TRUE(holds(bytesOfKind(file, BlockKind::text), "PLANTED make"));
    EXPECT_TRUE(holds(bytesOfKind(file, BlockKind::xmp), "xmpmeta"));
    EXPECT_TRUE(holds(bytesOfKind(file, BlockKind::iptc), planted));
    EXPECT_TRUE(holds(bytesOfKind(file, BlockKind::time), "2023:"));
    EXPECT_TRUE(holds(bytesOfKind(file, BlockKind::extraImage), "PLANTED thumbnail"));
    EXPECT_TRUE(holds(bytesOfKind(file, BlockKind::unknown), "PLANTED private"));
    EXPECT_TRUE(holds(bytesOfKind(file, BlockKind::filler), "PLANTED in a gap"));
    EXPECT_FALSE(holds(bytesOfKind(file, BlockKind::pixels), planted));
}

} // namespace
} // namespace nullprint::tests
