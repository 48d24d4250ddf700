#include "tests/support/JPEGBuilder.h"

#include "engine/image/EXIF.h"
#include "engine/image/JPEG.h"
#include "tests/support/Pictures.h"
#include "tests/support/ProfileBuilder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace nullprint::tests {
namespace {

using namespace image;
using namespace jpeg;

const Bytes comment = segment(0xFE, "secret");
const Bytes plainJFIF = jfif(1, 72, 72);
const std::string profile = sampleProfile(200);

Bytes exifWith(std::optional<std::uint16_t> orientation, std::optional<Resolution> resolution)
{
    return exif(freshEXIF(orientation, resolution));
}

// An Exif block whose resolution fields are these rationals, of 72/1 form, with a unit or without.
Bytes exifWithRationals(std::uint32_t numerator, std::uint32_t denominator, bool hasUnit)
{
    Bytes structure = freshEXIF(std::nullopt, Resolution{72, 72, 3});
    for (const std::size_t place : {50U, 58U}) {
        Bytes rational;
        append32(rational, numerator, ByteOrder::big);
        append32(rational, denominator, ByteOrder::big);
        std::ranges::copy(rational, structure.begin() + static_cast<std::ptrdiff_t>(place));
    }
    if (!hasUnit)
        structure[35] = 0x01; // Turns the unit's tag, 0x0128, into another's.
    return exif(structure);
}

Bytes photoshop(std::string_view resources)
{
    Bytes payload = bytesOf({"Photoshop 3.0\0", 14});
    append(payload, resources);
    return segment(0xED, payload);
}

Bytes kitchenSink()
{
    return joined({picture({jfif(1, 300, 300, "rgb"),
                            segment(0xE0, {"JFXX\0\x13secret", 12}),
                            exifWith(6, std::nullopt),
                            segment(0xE1, {"http://ns.adobe.com/xap/1.0/\0<x:xmpmeta/>", 41}),
                            icc(1, 2, profile.substr(0, 90)),
                            icc(2, 2, profile.substr(90)),
                            segment(0xE2, {"MPF\0secret", 10}),
                            segment(0xE7, "secret"),
                            photoshop("8BIM secret"),
                            adobe(1, "secret"),
                            comment}),
                   bytesOf("secret trailer")});
}

TEST(JPEG, keepsItsPromises)
{
    const Bytes sink = kitchenSink();
    expectPromises(sink);
    expectSurvivesTruncation(sink);
    expectSurvivesMutation(sink, 10000);
}

TEST(JPEG, keepsPictureProfileColourTransformResolutionAndOrientationAlone)
{
    EXPECT_EQ(mustClean(kitchenSink()),
              picture({jfif(1, 300, 300),
                       exifWith(6, std::nullopt),
                       icc(1, 2, profile.substr(0, 90)),
                       icc(2, 2, profile.substr(90)),
                       adobe(1)}));
}

// As many segments as there are cuts, and one.
Bytes chain(const std::string& text, std::initializer_list<std::size_t> cuts)
{
    Bytes segments;
    Byte number = 0;
    const auto count = static_cast<Byte>(cuts.size() + 1);
    std::size_t from = 0;
    for (const std::size_t to : cuts) {
        append(segments, icc(++number, count, text.substr(from, to - from)));
        from = to;
    }
    append(segments, icc(++number, count, text.substr(from)));
    return segments;
}

TEST(JPEG, keepsAProfileHoweverItIsSpread)
{
    for (const Bytes& segments : {chain(profile, {}),
                                  chain(profile, {1}),
                                  chain(profile, {3, 37, 120}),
                                  chain(profile.substr(0, 150), {140})}) {
        EXPECT_EQ(mustClean(picture({segments})), picture({segments}));
        expectPromises(picture({segments}));
    }
    const Bytes backwards =
        joined({icc(2, 2, profile.substr(90)), comment, icc(1, 2, profile.substr(0, 90))});
    EXPECT_EQ(mustClean(picture({backwards})),
              picture({icc(2, 2, profile.substr(90)), icc(1, 2, profile.substr(0, 90))}));
    const std::string large = sampleProfile(std::size_t{255} * 1000);
    Bytes most;
    for (std::size_t number = 0; number < 255; ++number)
        append(most, icc(static_cast<Byte>(number + 1), 255, large.substr(number * 1000, 1000)));
    EXPECT_EQ(mustClean(picture({most})), picture({most}));
    EXPECT_EQ(mustClean(picture({most, icc(1, 1, "secret")})), picture({}));
}

TEST(JPEG, cutsAProfileWhereItEnds)
{
    const std::string longer = profile + "secret";
    EXPECT_EQ(mustClean(picture({chain(longer, {})})), picture({chain(profile, {})}));
    EXPECT_EQ(mustClean(picture({chain(longer, {90})})), picture({chain(profile, {90})}));
    EXPECT_EQ(mustClean(picture({chain(longer, {90, 200})})), picture({chain(profile, {90})}));
    EXPECT_EQ(mustClean(picture({chain(longer, {90, 202, 204})})), picture({chain(profile, {90})}));
    EXPECT_EQ(mustClean(picture({chain(profile, {90, 90})})), picture({chain(profile, {90})}));
    expectPromises(picture({chain(longer, {90, 202, 204})}));
    expectSurvivesMutation(picture({chain(longer, {90, 202, 204})}), 5000);
}

TEST(JPEG, dropsWhatNoDecoderTakesForAProfile)
{
    std::string other = profile;
    other[36] = 'x';
    for (const Bytes& segments :
         {icc(1, 1, "secret"),
          icc(1, 1, ""),
          icc(1, 1, other),
          icc(0, 1, profile),
          icc(1, 0, profile),
          icc(2, 2, profile),
          icc(1, 2, profile),
          joined({icc(1, 1, profile), icc(1, 1, profile)}),
          joined({icc(1, 2, profile.substr(0, 90)), icc(2, 3, profile.substr(90))}),
          joined({icc(1, 1, profile), icc(2, 2, "secret")}),
          segment(0xE2, {"ICC_PROFILE\0\1", 13})}) {
        EXPECT_EQ(mustClean(picture({segments})), picture({}));
        expectPromises(picture({segments}));
    }
    // One that has no room for its numbers is none of the profile's.
    EXPECT_EQ(mustClean(picture({segment(0xE2, {"ICC_PROFILE\0\1", 13}), icc(1, 1, profile)})),
              picture({icc(1, 1, profile)}));
}

TEST(JPEG, leavesCleanFilesAsTheyAre)
{
    for (const Bytes& clean : {picture({}),
                               picture({plainJFIF}),
                               picture({adobe(0)}),
                               picture({adobe(2)}, "\1\2\3\4"),
                               picture({}, "RGB"),
                               picture({}, "\1")})
        EXPECT_EQ(mustClean(clean), clean);
}

TEST(JPEG, keepsEveryCodingProcess)
{
    for (const int process : {0xC0, 0xC1, 0xC2, 0xC3, 0xC9, 0xCA, 0xCB}) {
        const Byte precision = process == 0xC1 ? 12 : 8;
        const Bytes clean = joined({start,
                                    quantisation(),
                                    frame(static_cast<Byte>(process), colour, precision),
                                    segment(0xCC, Bytes{0, 1}),
                                    segment(0xDD, Bytes{0, 4}),
                                    scan(colour,
                                         {"a\xFF\0b\xFF\xD0"
                                          "c\xFF\xD7"
                                          "d",
                                          10}),
                                    end});
        EXPECT_EQ(mustClean(clean), clean) << process;
        expectPromises(clean);
    }
}

TEST(JPEG, dropsWhatStandsBetweenTheScansOfAProgressivePicture)
{
    const Bytes head = joined({start, quantisation(), frame(0xC2, colour), huffman()});
    const Bytes first = scan(colour, "first");
    const Bytes second = joined({huffman(), scan("\1", "second")});
    const Bytes between = joined({comment, icc(1, 1, "secret"), adobe(0), plainJFIF});
    EXPECT_EQ(mustClean(joined({head, first, between, second, comment, end})),
              joined({head, first, second, end}));
}

TEST(JPEG, dropsFillBytesAndGarbageBetweenSegments)
{
    const Bytes fill(300000, 0xFF);
    const Bytes garbage = bytesOf({"secret\0\xFF\0", 9});
    const Bytes dirty = joined({start, fill, plainJFIF, garbage, body(), fill, end});
    expectPromises(dirty);
    EXPECT_EQ(mustClean(dirty), picture({plainJFIF}));
}

// Fill bytes may stand before a restart marker, too, which does not end the data.
TEST(JPEG, keepsFillBytesWithinAScan)
{
    const std::string_view data("a\xFF\xFF\xD0"
                                "b\xFF\xFF\0c",
                                9);
    const Bytes clean =
        joined({start, quantisation(), frame(0xC0, colour), huffman(), scan(colour, data), end});
    EXPECT_EQ(mustClean(clean), clean);
}

TEST(JPEG, addsTheEndMarkThatIsMissing)
{
    const Bytes whole = picture({plainJFIF});
    const Bytes cut(whole.begin(), whole.end() - 2);
    for (const Bytes& rest : {Bytes(),
                              Bytes{0xFF},
                              Bytes{0xFF, 0xFF},
                              Bytes{0xFF, 0xE1},
                              Bytes{0xFF, 0xC4, 1},
                              Bytes{0xFF, 0xE1, 0xFF, 0xFF, 's', 'e', 'c', 'r', 'e', 't'},
                              Bytes{0xFF, 0xE1, 0, 1},
                              picture({comment})})
        EXPECT_EQ(mustClean(joined({cut, rest})), whole);
}

TEST(JPEG, dropsWhatFollowsTheEnd)
{
    const Bytes whole = picture({plainJFIF});
    for (const Bytes& trailer : {bytesOf("secret"), picture({comment}), Bytes(9, 0xFF)}) {
        expectPromises(joined({whole, trailer}));
        EXPECT_EQ(mustClean(joined({whole, trailer})), whole);
    }
}

TEST(JPEG, keepsOrientationThatTurns)
{
    for (std::uint16_t orientation = 0; orientation < 12; ++orientation) {
        const bool turns = orientation >= 2 && orientation <= 8;
        EXPECT_EQ(mustClean(picture({exifWith(orientation, std::nullopt)})),
                  turns ? picture({exifWith(orientation, std::nullopt)}) : picture({}));
    }
}

TEST(JPEG, takesTheFirstValueOfTwoEXIFBlocks)
{
    EXPECT_EQ(mustClean(picture({exifWith(3, std::nullopt), exifWith(6, std::nullopt)})),
              picture({exifWith(3, std::nullopt)}));
}

TEST(JPEG, readsEXIFWithAnyPaddingByte)
{
    Bytes block = exifWith(8, std::nullopt);
    block[9] = 0xFF;
    EXPECT_EQ(turnedOrientationOf(picture({block})), 8);
}

TEST(JPEG, keepsDensityAsItIs)
{
    for (const Bytes& density : {jfif(0, 1, 1), jfif(0, 4, 3), jfif(2, 118, 0), jfif(9, 65535, 1)})
        EXPECT_EQ(mustClean(picture({density, comment})), picture({density}));
}

TEST(JPEG, takesTheLastOfTwoDensitiesAsDecodersDo)
{
    EXPECT_EQ(mustClean(picture({jfif(1, 72, 72), jfif(1, 300, 300)})),
              picture({jfif(1, 300, 300)}));
}

TEST(JPEG, movesResolutionIntoJFIF)
{
    EXPECT_EQ(mustClean(picture({exifWith(std::nullopt, Resolution{300, 200, 2})})),
              picture({jfif(1, 300, 200)}));
    EXPECT_EQ(mustClean(picture({exifWith(6, Resolution{118, 118, 3})}, "\1")),
              joined({start, jfif(2, 118, 118), exifWith(6, std::nullopt), body("\1"), end}));
    EXPECT_EQ(mustClean(picture({exifWith(std::nullopt, Resolution{3, 2, 1}), adobe(1)})),
              picture({jfif(0, 3, 2), adobe(1)}));
}

TEST(JPEG, addsNoJFIFThatWouldChangeColours)
{
    const Bytes resolution = exifWith(std::nullopt, Resolution{300, 300, 2});
    for (const Bytes& clean : {picture({resolution, adobe(0)}),
                               picture({resolution}, "RGB"),
                               picture({resolution}, "rgb"),
                               picture({resolution}, "\1\2\3\4"),
                               picture({resolution, adobe(2)}, "\1\2\3\4"),
                               picture({resolution, adobe(0)}, "\1\2\3\4"),
                               picture({resolution}, "\1\2")}) {
        EXPECT_EQ(mustClean(clean), clean);
        expectPromises(clean);
    }
    for (const auto& [process, precision] : {std::pair{0xC1, 12}, std::pair{0xC3, 8}}) {
        const Bytes clean =
            joined({start,
                    resolution,
                    frame(static_cast<Byte>(process), colour, static_cast<Byte>(precision)),
                    huffman(),
                    scan(colour, "data"),
                    end});
        EXPECT_EQ(mustClean(clean), clean);
    }
}

TEST(JPEG, keepsResolutionThatDoesNotFitJFIF)
{
    for (const Resolution resolution :
         {Resolution{72.5, 72.5, 2}, Resolution{70000, 70000, 2}, Resolution{0.25, 0.25, 3}}) {
        const Bytes clean = picture({exifWith(std::nullopt, resolution)});
        EXPECT_EQ(mustClean(clean), clean);
    }
}

TEST(JPEG, keepsResolutionThatSaysSomethingElseThanJFIF)
{
    const Bytes other = picture({jfif(1, 72, 72), exifWith(std::nullopt, Resolution{300, 300, 2})});
    EXPECT_EQ(mustClean(other), other);
    EXPECT_EQ(mustClean(picture({plainJFIF, exifWith(std::nullopt, Resolution{72, 72, 2})})),
              picture({plainJFIF}));
}

TEST(JPEG, takesAMissingUnitForInches)
{
    EXPECT_EQ(mustClean(picture({exifWithRationals(300, 1, true)})), picture({jfif(2, 300, 300)}));
    EXPECT_EQ(mustClean(picture({exifWithRationals(300, 1, false)})), picture({jfif(1, 300, 300)}));
}

TEST(JPEG, takesAZeroDenominatorForNoResolution)
{
    EXPECT_EQ(mustClean(picture({exifWithRationals(300, 0, true)})), picture({}));
    EXPECT_EQ(mustClean(picture({exifWithRationals(0, 1, true)})), picture({}));
}

// A number that is written shorter than it was read must not be another one the next time.
TEST(JPEG, cleansOddResolutionsTwiceToTheSameBytes)
{
    const std::array<std::pair<std::uint32_t, std::uint32_t>, 6> rationals{{
        {1, 30000},
        {7200001, 100000},
        {1, 3},
        {4294967295, 1},
        {4294967295, 7},
        {1, 4294967295},
    }};
    for (const auto& [numerator, denominator] : rationals) {
        for (const Bytes& first : {plainJFIF, Bytes()}) {
            const Bytes copy =
                mustClean(picture({first, exifWithRationals(numerator, denominator, false)}));
            EXPECT_EQ(mustClean(copy), copy) << numerator << "/" << denominator;
        }
    }
    EXPECT_EQ(mustClean(picture({exifWithRationals(1, 30000, true)})), picture({}));
}

TEST(JPEG, readsResourcesSpreadOverSeveralSegments)
{
    const std::string_view resource("8BIM\x04\x04\0\0\0\0\0\x0B\x1C\x02\x50\0\x06secret\0", 24);
    const Bytes spread =
        picture({photoshop(resource.substr(0, 15)), comment, photoshop(resource.substr(15))});
    EXPECT_EQ(propertiesOf(spread).text(Group::iptc, 0x0250), "secret");
    EXPECT_EQ(mustClean(spread), picture({}));
}

TEST(JPEG, cutsAdobeToWhatIsDefined)
{
    EXPECT_EQ(mustClean(picture({adobe(0, "secret"), segment(0xEE, "Adobe")})),
              picture({adobe(0)}));
}

TEST(JPEG, keepsNumberOfLines)
{
    const Bytes clean = joined({start,
                                quantisation(),
                                frame(0xC0, colour, 8, 0),
                                huffman(),
                                scan(colour, "data"),
                                segment(0xDC, Bytes{0, 8}),
                                end});
    EXPECT_EQ(mustClean(clean), clean);
}

TEST(JPEG, keepsHierarchicalFrames)
{
    const Bytes clean = joined({start,
                                frame(0xDE, colour),
                                quantisation(),
                                frame(0xC0, colour),
                                huffman(),
                                scan(colour, "first"),
                                segment(0xDF, Bytes{0x11}),
                                frame(0xC5, colour),
                                scan(colour, "second"),
                                end});
    EXPECT_EQ(mustClean(clean), clean);
}

TEST(JPEG, refusesASecondFrame)
{
    EXPECT_FALSE(cleaned(joined({start, body(), body(), end})).ok());
    EXPECT_FALSE(cleaned(picture({frame(0xC0, colour)})).ok());
}

TEST(JPEG, refusesSegmentsWithRoomForMore)
{
    for (const Bytes& tooLong : {quantisation("secret"),
                                 huffman("secret"),
                                 segment(0xCC, Bytes{0, 1, 2}),
                                 segment(0xDD, Bytes{0, 1, 2}),
                                 segment(0xDF, Bytes{0, 1}),
                                 segment(0xDE, "secret, and more of it")}) {
        const Bytes dirty = picture({exifWith(6, std::nullopt), tooLong});
        EXPECT_FALSE(cleaned(dirty).ok());
        EXPECT_EQ(turnedOrientationOf(dirty), 6); // It can be looked at all the same.
    }
    Bytes longFrame = frame(0xC0, colour);
    longFrame.push_back('s');
    longFrame[3] = static_cast<Byte>(longFrame[3] + 1);
    EXPECT_FALSE(cleaned(joined({start, longFrame, scan(colour, "data"), end})).ok());
    const Bytes longScan = segment(0xDA, {"\1\1\0\0\0\0secret", 12});
    EXPECT_FALSE(cleaned(joined({start, frame(0xC0, colour), longScan, end})).ok());
}

TEST(JPEG, readsOnlyFilesWithAFrameAndAScan)
{
    const Bytes pieces[] = {joined({start, end}),
                            joined({start, plainJFIF, comment}),
                            joined({start, scan(colour, "data"), end}),
                            joined({start, frame(0xC0, colour), end}),
                            joined({start, picture({})}),
                            joined({start, Bytes(1000, 0xFF)}),
                            joined({start, Bytes(1000, 0xFF), bytesOf({"\0\0", 2})}),
                            joined({start, frame(0xC0, ""), scan(colour, "data"), end})};
    for (const Bytes& piece : pieces) {
        MemorySource source(piece);
        EXPECT_FALSE(ImageSource::open(source).ok());
    }
}

long peakKilobytes()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// Floods of the smallest things there are: segments of four bytes, fill bytes, data that looks like
// a marker and is none. Nothing may be remembered of each.
TEST(JPEG, needsNoMemoryForFloods)
{
    constexpr std::size_t count = 1 << 20;
    const std::array units{segment(0xFE, ""), segment(0xE5, ""), Bytes{0xFF}, Bytes{0xFF, 0}};
    for (const Bytes& unit : units) {
        Bytes flood;
        flood.reserve(count * unit.size());
        for (std::size_t index = 0; index < count; ++index)
            append(flood, unit);
        const Bytes dirty = joined({start, flood, body(), flood, end});
        const long before = peakKilobytes();
        MemorySource source(dirty);
        const auto blocks = splitJPEG(source);
        const auto plan = jpegFormat.planCleanCopy(source);
        EXPECT_LT(peakKilobytes() - before, 4096);
        ASSERT_TRUE(blocks.ok() && plan.ok());
        EXPECT_LT(blocks.value().size(), 16U);
        EXPECT_LE(plan.value().size(), picture({}).size() + 2 * count);
    }
}

} // namespace
} // namespace nullprint::tests
