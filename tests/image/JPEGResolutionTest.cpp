// Where the resolution of a JPEG is told twice, or by Exif alone.
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace nullprint::image;
using namespace std::string_view_literals;

constexpr std::uint16_t inch = 2;

Bytes exifBlock(const Rationals& resolution, std::uint16_t unit = inch)
{
    return EXIFBuilder()
        .rationals(Group::tiff, tag::xResolution, resolution)
        .rationals(Group::tiff, tag::yResolution, resolution)
        .number(Group::tiff, tag::resolutionUnit, unit)
        .block();
}

// `density` is unit, horizontal and vertical density, as JFIF stores them.
Bytes withJFIF(ByteSpan picture, std::string_view density)
{
    Bytes out{0xFF, 0xD8, 0xFF, 0xE0, 0, 16};
    append(out, "JFIF\0\x01\x02"sv);
    append(out, density);
    append(out, "\0\0"sv);
    append(out, picture.subspan(2));
    return out;
}

bool hasJFIF(ByteSpan picture, std::string_view density)
{
    Bytes expected;
    append(expected, "\xFF\xE0\0\x10JFIF\0\x01\x01"sv);
    append(expected, density);
    append(expected, "\0\0"sv);
    return asText(picture.subspan(2)).starts_with(asText(expected));
}

double horizontalInEXIF(ByteSpan picture)
{
    return propertiesOf(picture).number(Group::tiff, tag::xResolution).value_or(0);
}

TEST(JPEGResolution, movesFromEXIFIntoJFIF)
{
    const Bytes copy = mustClean(jpegWithEXIF({exifBlock({{300, 1}})}));
    EXPECT_TRUE(hasJFIF(copy, "\x01\x01\x2C\x01\x2C"sv));
    EXPECT_EQ(horizontalInEXIF(copy), 0);
}

TEST(JPEGResolution, fillsInAJFIFDensityWithoutUnit)
{
    const Bytes photo = jpegWithEXIF({exifBlock({{300, 1}})});
    EXPECT_TRUE(hasJFIF(mustClean(withJFIF(photo, "\0\0\x01\0\x01"sv)), "\x01\x01\x2C\x01\x2C"sv));
    EXPECT_TRUE(hasJFIF(mustClean(withJFIF(photo, "\x01\0\0\0\0"sv)), "\x01\x01\x2C\x01\x2C"sv));
}

TEST(JPEGResolution, keepsBothWhenTheyDisagree)
{
    const Bytes photo = jpegWithEXIF({exifBlock({{300, 1}})});
    const Bytes copy = mustClean(withJFIF(photo, "\x02\0\x1C\0\x1C"sv));
    EXPECT_TRUE(hasJFIF(copy, "\x02\0\x1C\0\x1C"sv));
    EXPECT_EQ(horizontalInEXIF(copy), 300);
    EXPECT_EQ(mustClean(copy), copy);
}

TEST(JPEGResolution, leavesAProportionWhenEXIFHasNoUnitEither)
{
    const Bytes photo = jpegWithEXIF({exifBlock({{300, 1}}, 1)});
    EXPECT_TRUE(hasJFIF(mustClean(withJFIF(photo, "\0\0\x02\0\x01"sv)), "\0\0\x02\0\x01"sv));
}

TEST(JPEGResolution, keepsFractionsInEXIF)
{
    const Bytes photo = jpegWithEXIF({exifBlock({{7201, 100}})});
    EXPECT_DOUBLE_EQ(horizontalInEXIF(mustClean(photo)), 72.01);
    const Bytes copy = mustClean(withJFIF(photo, "\0\0\x01\0\x01"sv));
    EXPECT_DOUBLE_EQ(horizontalInEXIF(copy), 72.01);
    EXPECT_TRUE(hasJFIF(copy, "\0\0\x01\0\x01"sv));
    EXPECT_EQ(mustClean(copy), copy);
}

TEST(JPEGResolution, takesForWholeWhatRoundsToIt)
{
    const Bytes copy = mustClean(jpegWithEXIF({exifBlock({{7199999, 100000}})}));
    EXPECT_TRUE(hasJFIF(copy, "\x01\0\x48\0\x48"sv));
    EXPECT_EQ(mustClean(copy), copy);
}

} // namespace
} // namespace nullprint::tests
