#include "tests/support/BMPBuilder.h"
#include "tests/support/Pictures.h"
#include "tests/support/ProfileBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace nullprint::image;

// Sixteen bytes, two rows, at any of the depths of rows but 32.
BMPBuilder withDepth(std::uint16_t depth)
{
    BMPBuilder bmp;
    bmp.depth = depth;
    bmp.width = 60 / depth;
    bmp.imageBytes = 16;
    if (depth <= 8)
        bmp.palette = std::string(std::size_t{4} << depth, '\0');
    return bmp;
}

BMPBuilder runLength(std::uint32_t compression, std::string_view codes)
{
    BMPBuilder bmp = withDepth(compression == 1 ? 8 : 4);
    bmp.compression = compression;
    bmp.pixels = codes;
    bmp.imageBytes = static_cast<std::uint32_t>(codes.size());
    return bmp;
}

BMPBuilder withProfile(std::uint32_t space, std::string_view profile)
{
    BMPBuilder bmp;
    bmp.headerBytes = 124;
    bmp.imageBytes = 16;
    bmp.colourSpace = space;
    bmp.tail = profile;
    bmp.profileOffset = bmp.tailOffset();
    bmp.profileBytes = static_cast<std::uint32_t>(profile.size());
    return bmp;
}

// A JPEG with a comment and an Exif block that says nothing.
std::string jpegPayload(std::string_view comment)
{
    std::string jpeg("\xFF\xD8\xFF\xFE\0", 5);
    jpeg += static_cast<char>(comment.size() + 2);
    jpeg += comment;
    jpeg += std::string("\xFF\xC0\0\x0B\x08\0\x01\0\x01\x01\x01\x11\0", 13);
    jpeg += std::string("\xFF\xDA\0\x08\x01\x01\0\0\x3F\0\x55\xFF\xD9", 13);
    return jpeg;
}

TEST(BMP, keepsItsPromises)
{
    for (const std::uint32_t size : {12U, 16U, 40U, 52U, 56U, 64U, 108U, 124U}) {
        SCOPED_TRACE(size);
        BMPBuilder bmp;
        bmp.headerBytes = size;
        bmp.gap = "SECRET gap";
        bmp.tail = "SECRET tail";
        const Bytes original = bmp.bytes();
        const Bytes given = original;
        expectPromises(given);
        expectSurvivesTruncation(given);
        expectSurvivesMutation(given, 200);
        EXPECT_FALSE(holds(mustClean(given), "SECRET"));
        EXPECT_EQ(given, original);
    }
}

TEST(BMP, clearsWhatHasNoMeaning)
{
    for (const std::uint32_t size : {12U, 16U, 18U, 40U, 64U, 108U, 124U}) {
        SCOPED_TRACE(size);
        BMPBuilder bmp;
        bmp.headerBytes = size;
        bmp.filler = "LEAK";
        bmp.coloursImportant = 0x4B41454C;
        EXPECT_TRUE(holds(bmp.bytes(), "LEAK"));
        const Bytes copy = mustClean(bmp.bytes());
        EXPECT_FALSE(holds(copy, "LEAK"));
        EXPECT_EQ(copy.size(), bmp.bytes().size());
    }
}

TEST(BMP, writesTheRightSizes)
{
    BMPBuilder bmp;
    bmp.imageBytes = 0x4B41454C;
    bmp.filler = "LEAK";
    bmp.gap = "SECRET";
    BMPBuilder expected;
    expected.imageBytes = 16;
    Bytes file = expected.bytes();
    file[2] = static_cast<Byte>(file.size());
    EXPECT_EQ(mustClean(bmp.bytes()), file);
}

TEST(BMP, keepsTopDownPictures)
{
    BMPBuilder bmp;
    bmp.height = -2;
    const Bytes copy = mustClean(bmp.bytes());
    EXPECT_EQ(copy[22], 0xFE);
    EXPECT_EQ(copy[25], 0xFF);
    EXPECT_TRUE(holds(copy, bmp.pixels));
}

TEST(BMP, cannotReadAPictureOfNoSize)
{
    for (const auto& [width, height] : {std::pair{0, 2}, {2, 0}, {-2, 2}, {2, INT32_MIN}}) {
        BMPBuilder bmp;
        bmp.width = width;
        bmp.height = height;
        const Bytes bytes = bmp.bytes();
        MemorySource source(bytes);
        EXPECT_FALSE(ImageSource::open(source).ok()) << width << " by " << height;
    }
}

TEST(BMP, cannotReadUnknownHeadersDepthsAndCodings)
{
    std::vector<BMPBuilder> pictures(5);
    pictures[0].headerBytes = 72;
    pictures[1].depth = 23;
    pictures[2].compression = 9;
    pictures[3].planes = 3;
    pictures[4].compression = 1; // Run lengths have a palette.
    for (const BMPBuilder& bmp : pictures) {
        const Bytes bytes = bmp.bytes();
        MemorySource source(bytes);
        EXPECT_FALSE(ImageSource::open(source).ok());
    }
}

TEST(BMP, keepsRowsOfEveryDepth)
{
    for (const std::uint16_t depth : std::array<std::uint16_t, 6>{1, 2, 4, 8, 16, 24}) {
        SCOPED_TRACE(depth);
        const BMPBuilder bmp = withDepth(depth);
        expectPromises(bmp.bytes());
        EXPECT_TRUE(holds(mustClean(bmp.bytes()), bmp.pixels));
    }
}

TEST(BMP, refusesPixelsCutShortAndAllocatesNothingForThem)
{
    BMPBuilder bmp;
    bmp.pixels.pop_back();
    EXPECT_FALSE(cleaned(bmp.bytes()).ok());
    bmp.width = 3000000;
    bmp.height = 2000000;
    EXPECT_FALSE(cleaned(bmp.bytes()).ok());
    bmp.depth = 32;
    bmp.width = INT32_MAX;
    bmp.height = INT32_MAX;
    EXPECT_FALSE(cleaned(bmp.bytes()).ok());
}

TEST(BMP, refusesPixelsInsideTheHeader)
{
    BMPBuilder bmp;
    Bytes bytes = bmp.bytes();
    bytes[10] = 20;
    EXPECT_FALSE(cleaned(bytes).ok());
}

TEST(BMP, keepsTheMasksBehindAShortHeader)
{
    for (const auto& [compression, count] : {std::pair{3U, 12U}, {6U, 16U}}) {
        BMPBuilder bmp;
        bmp.depth = 32;
        bmp.compression = compression;
        bmp.masks = BMPBuilder::sampleMasks().substr(0, count);
        bmp.imageBytes = 16;
        Bytes expected = bmp.bytes();
        expected[2] = static_cast<Byte>(expected.size());
        bmp.gap = "SECRET";
        EXPECT_EQ(mustClean(bmp.bytes()), expected);
    }
}

TEST(BMP, keepsOfAPaletteWhatTheDepthCanIndex)
{
    BMPBuilder bmp = withDepth(1);
    Bytes expected = bmp.bytes();
    expected[2] = static_cast<Byte>(expected.size());
    bmp.palette += "SECRET colours to spare.";
    bmp.coloursUsed = 8;
    EXPECT_EQ(mustClean(bmp.bytes()), expected);
}

TEST(BMP, dropsThePaletteThatIsOnlyAHint)
{
    BMPBuilder bmp;
    bmp.imageBytes = 16;
    Bytes expected = bmp.bytes();
    expected[2] = static_cast<Byte>(expected.size());
    bmp.palette = "SECRET colours..";
    bmp.coloursUsed = 4;
    bmp.coloursImportant = 4;
    EXPECT_EQ(mustClean(bmp.bytes()), expected);
}

TEST(BMP, keepsAPaletteThatEndsBeforeItShould)
{
    BMPBuilder bmp = withDepth(8);
    bmp.palette = std::string("bgr\0BGR\0", 8);
    const Bytes copy = mustClean(bmp.bytes());
    EXPECT_EQ(copy.size(), bmp.bytes().size());
    EXPECT_TRUE(holds(copy, bmp.palette + bmp.pixels));
}

TEST(BMP, clearsTheReservedByteOfPaletteEntries)
{
    BMPBuilder bmp = withDepth(1);
    bmp.palette = "bgrXBGRX";
    EXPECT_TRUE(holds(mustClean(bmp.bytes()), std::string_view("bgr\0BGR\0", 8)));
    bmp.headerBytes = 12; // Entries of three bytes
    bmp.palette = "bgrBGR";
    EXPECT_TRUE(holds(mustClean(bmp.bytes()), "bgrBGR"));
}

TEST(BMP, endsRunLengthDataAtItsMark)
{
    const std::string codes8("\x05\x11\0\x03xyz\0\0\0\0\2\1\0\2\x22\0\1", 18);
    const std::string codes4("\x05\x11\0\x05xyz\0\0\0\0\2\1\0\2\x22\0\1", 18);
    for (const auto& [compression, codes] : {std::pair{1U, codes8}, {2U, codes4}}) {
        BMPBuilder bmp = runLength(compression, codes);
        Bytes expected = bmp.bytes();
        expected[2] = static_cast<Byte>(expected.size());
        expected[3] = static_cast<Byte>(expected.size() >> 8);
        bmp.tail = "SECRET";
        bmp.imageBytes += 6;
        EXPECT_EQ(mustClean(bmp.bytes()), expected);
        expectSurvivesTruncation(bmp.bytes());
        expectSurvivesMutation(bmp.bytes(), 300);
    }
}

TEST(BMP, takesRunLengthDataOf24Bits)
{
    BMPBuilder bmp;
    bmp.headerBytes = 64;
    bmp.compression = 4;
    bmp.pixels = std::string("\2\0\1\1\0\0\0\3\0\1\0\1\0\1\0\1\0\1\0\0\0\1", 22);
    bmp.imageBytes = 22;
    bmp.tail = "SECRET";
    const Bytes copy = mustClean(bmp.bytes());
    EXPECT_EQ(bytesOfKind(copy, BlockKind::pixels),
              Bytes(asBytes(bmp.pixels).begin(), asBytes(bmp.pixels).end()));
}

TEST(BMP, endsRunLengthDataWithoutAMarkBehindTheLastLine)
{
    BMPBuilder bmp = runLength(1, {"\x07\x11\0\0\x07\x22\0\0", 8});
    bmp.imageBytes = 0;
    bmp.tail = "SECRET";
    EXPECT_FALSE(holds(mustClean(bmp.bytes()), "SECRET"));
    EXPECT_TRUE(holds(mustClean(bmp.bytes()), bmp.pixels));
}

TEST(BMP, keepsRunLengthDataBehindAStepOutOfThePicture)
{
    // Viewers pass over the step or stop there; either way they see what the original shows.
    BMPBuilder bmp = runLength(1, {"\0\2\0\xFF\x07\x11\0\0\x07\x22\0\1", 12});
    const std::string codes = bmp.pixels;
    bmp.tail = "SECRET";
    EXPECT_TRUE(holds(mustClean(bmp.bytes()), codes));
    EXPECT_FALSE(holds(mustClean(bmp.bytes()), "SECRET"));
    expectPromises(bmp.bytes());

    bmp.imageBytes = 8; // What is beyond the announced size is no part of the picture.
    EXPECT_FALSE(holds(mustClean(bmp.bytes()), "\x07\x22"));
    bmp.imageBytes = 0;
    EXPECT_FALSE(holds(mustClean(bmp.bytes()), "\x07\x11"));
}

TEST(BMP, takesTheAnnouncedSizeOfRunLengthDataThatDoesNotEnd)
{
    BMPBuilder bmp = runLength(1, {"\x07\x11\x07\x22", 4});
    bmp.tail = "SECRET";
    EXPECT_FALSE(holds(mustClean(bmp.bytes()), "SECRET"));
    EXPECT_TRUE(holds(mustClean(bmp.bytes()), bmp.pixels));
    bmp.imageBytes = 11;
    EXPECT_FALSE(cleaned(bmp.bytes()).ok());
}

TEST(BMP, takesTheAnnouncedSizeOfFaxData)
{
    BMPBuilder bmp = withDepth(1);
    bmp.headerBytes = 64;
    bmp.compression = 3;
    bmp.tail = "SECRET";
    EXPECT_FALSE(holds(mustClean(bmp.bytes()), "SECRET"));
    EXPECT_TRUE(holds(mustClean(bmp.bytes()), bmp.pixels));
}

TEST(BMP, keepsAnEmbeddedProfile)
{
    const std::string profile = sampleProfile(200);
    BMPBuilder bmp = withProfile(fourCC("MBED"), profile);
    Bytes expected = bmp.bytes();
    expected[2] = static_cast<Byte>(expected.size());
    expected[3] = static_cast<Byte>(expected.size() >> 8);
    EXPECT_EQ(mustClean(expected), expected);

    bmp.tail = "SECRET" + profile + "SECRET"; // Apart from the pixels, and longer than it says.
    bmp.profileOffset += 6;
    bmp.profileBytes += 6;
    EXPECT_EQ(mustClean(bmp.bytes()), expected);
    expectPromises(bmp.bytes());

    BMPBuilder early = withProfile(fourCC("MBED"), "");
    early.profileOffset = 124 + 6;
    early.profileBytes = 200;
    early.gap = "SECRET" + profile + "SECRET";
    EXPECT_EQ(mustClean(early.bytes()), expected);
    expectPromises(early.bytes());
    expectSurvivesTruncation(early.bytes());
    expectSurvivesMutation(early.bytes(), 300);
}

TEST(BMP, dropsALinkedProfile)
{
    const BMPBuilder bmp = withProfile(fourCC("LINK"), std::string("C:\\Users\\SECRET.icc\0", 20));
    Bytes expected = withProfile(fourCC("sRGB"), "").bytes();
    expected[2] = static_cast<Byte>(expected.size());
    std::ranges::fill(std::span(expected).subspan(14 + 112, 8), Byte{0});
    EXPECT_EQ(mustClean(bmp.bytes()), expected);
    EXPECT_TRUE(holds(bytesOfKind(bmp.bytes(), BlockKind::application), "SECRET"));
    expectPromises(bmp.bytes());
}

TEST(BMP, dropsAProfileThatIsNone)
{
    const BMPBuilder bmp = withProfile(fourCC("MBED"), std::string(200, 'S'));
    const Bytes copy = mustClean(bmp.bytes());
    EXPECT_FALSE(holds(copy, "SSS"));
    EXPECT_TRUE(holds(copy, "BGRs"));
}

TEST(BMP, refusesAnEmbeddedProfileOutOfPlace)
{
    BMPBuilder bmp = withProfile(fourCC("MBED"), sampleProfile(200));
    for (const std::uint32_t offset : {0U, 100U, bmp.profileOffset - 4, bmp.profileOffset + 4}) {
        bmp.profileOffset = offset;
        EXPECT_FALSE(cleaned(bmp.bytes()).ok()) << offset;
    }
}

TEST(BMP, keepsEndPointsOnlyWhereTheyCount)
{
    BMPBuilder bmp;
    bmp.headerBytes = 108;
    bmp.filler = "GAMA";
    bmp.colourSpace = 0;
    EXPECT_TRUE(holds(mustClean(bmp.bytes()), "GAMAGAMA"));
    for (const std::uint32_t space : {fourCC("sRGB"), fourCC("Win "), fourCC("LEAK")}) {
        bmp.colourSpace = space;
        EXPECT_FALSE(holds(mustClean(bmp.bytes()), "GAMA"));
        EXPECT_FALSE(holds(mustClean(bmp.bytes()), "KAEL"));
    }
}

TEST(BMP, cleansAJPEGInside)
{
    BMPBuilder bmp;
    bmp.headerBytes = 124;
    bmp.depth = 0;
    bmp.compression = 4;
    bmp.pixels = jpegPayload("SECRET");
    bmp.imageBytes = static_cast<std::uint32_t>(bmp.pixels.size());
    bmp.tail = "SECRET";
    const Bytes copy = mustClean(bmp.bytes());
    EXPECT_FALSE(holds(copy, "SECRET"));
    EXPECT_EQ(mustClean(copy), copy);
    const Bytes payload = mustClean(asBytes(bmp.pixels));
    EXPECT_TRUE(holds(copy, asText(payload)));
    EXPECT_EQ(copy[14 + 20], payload.size());
    EXPECT_EQ(copy.size(), 14 + 124 + payload.size());
    EXPECT_TRUE(holds(bytesOfKind(bmp.bytes(), BlockKind::text), "SECRET"));
    expectSurvivesTruncation(bmp.bytes());
    expectSurvivesMutation(bmp.bytes(), 300);
}

TEST(BMP, refusesAPayloadThatIsNotWhatItSays)
{
    BMPBuilder bmp;
    bmp.headerBytes = 124;
    bmp.depth = 0;
    bmp.compression = 5;
    bmp.pixels = jpegPayload("SECRET");
    EXPECT_FALSE(cleaned(bmp.bytes()).ok());
    bmp.pixels = "SECRET";
    EXPECT_FALSE(cleaned(bmp.bytes()).ok());
}

} // namespace
} // namespace nullprint::tests
