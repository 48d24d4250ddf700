#include "tests/support/Pictures.h"

#include "engine/image/EXIF.h"
#include "engine/image/WebP.h"
#include "tests/support/ProfileBuilder.h"
#include "tests/support/WebPBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace image;
using namespace webp;

const Bytes profile = chunk("ICCP", sampleProfile(200));
const Bytes secretXMP = chunk("XMP ", "<x:xmpmeta>secret</x:xmpmeta>");

Bytes exifChunk(std::uint16_t orientation, std::string_view prefix = {})
{
    Bytes data = bytesOf(prefix);
    append(data, freshEXIF(orientation, std::nullopt));
    append(data, std::string_view("secret"));
    return chunk("EXIF", data);
}

// What cleaning leaves of an orientation.
Bytes cleanEXIF(std::uint16_t orientation, std::string_view prefix = {})
{
    Bytes data = bytesOf(prefix);
    append(data, freshEXIF(orientation, std::nullopt));
    return chunk("EXIF", data);
}

Bytes kitchenSink()
{
    return joined({file({canvas(profileFlag | exifFlag | xmpFlag | alphaFlag),
                         profile,
                         chunk("ALPH", "alpha plane"),
                         lossy(),
                         chunk("PRVT", "secret"),
                         exifChunk(6, {"Exif\0\0", 6}),
                         secretXMP}),
                   bytesOf("secret")});
}

Bytes animatedSink()
{
    return file({canvas(animationFlag | alphaFlag | xmpFlag),
                 animation(3),
                 frame(70, {lossless(true)}),
                 frame(90, {chunk("ALPH", "alpha"), lossy("odd"), chunk("PRVT", "secret")}, 2),
                 secretXMP});
}

TEST(WebP, keepsItsPromises)
{
    for (const Bytes& picture : {kitchenSink(),
                                 animatedSink(),
                                 file({lossy()}),
                                 file({lossless(true)}),
                                 file({canvas(0), lossless(false), exifChunk(3)})}) {
        expectPromises(picture);
        EXPECT_FALSE(holds(mustClean(picture), "secret"));
        expectSurvivesTruncation(picture);
        expectSurvivesMutation(picture, 3000);
    }
}

TEST(WebP, keepsPictureProfileAndOrientationAlone)
{
    EXPECT_EQ(mustClean(kitchenSink()),
              file({canvas(profileFlag | exifFlag | alphaFlag),
                    profile,
                    chunk("ALPH", "alpha plane"),
                    lossy(),
                    cleanEXIF(6, {"Exif\0\0", 6})}));
}

TEST(WebP, keepsFramesTimingAndLoops)
{
    EXPECT_EQ(mustClean(animatedSink()),
              file({canvas(animationFlag | alphaFlag),
                    animation(3),
                    frame(70, {lossless(true)}),
                    frame(90, {chunk("ALPH", "alpha"), lossy("odd")}, 2)}));
    EXPECT_EQ(frameCount(animatedSink()), 2U);
}

TEST(WebP, leavesCleanFilesAsTheyAre)
{
    for (const Bytes& picture : {file({lossy()}),
                                 file({lossless(false)}),
                                 file({canvas(alphaFlag), lossless(true)}),
                                 file({canvas(animationFlag), animation(0), frame(1, {lossy()})})})
        EXPECT_EQ(mustClean(picture), picture);
}

TEST(WebP, keepsSimpleFilesSimple)
{
    const Bytes picture =
        file({lossy(), chunk("LIST", "secret"), exifChunk(6), secretXMP, profile});
    EXPECT_EQ(mustClean(picture), file({lossy()}));
    EXPECT_EQ(turnedOrientationOf(picture), 6);
}

TEST(WebP, keepsEXIFWithOrWithoutPrefix)
{
    for (const std::string_view prefix : {std::string_view(), std::string_view("Exif\0\0", 6)}) {
        const Bytes picture = file({canvas(exifFlag), lossy(), exifChunk(8, prefix)});
        EXPECT_EQ(turnedOrientationOf(picture), 8);
        EXPECT_EQ(mustClean(picture), file({canvas(exifFlag), lossy(), cleanEXIF(8, prefix)}));
    }
}

TEST(WebP, keepsNoOrientationThatTurnsNothing)
{
    for (const std::uint16_t orientation : std::array<std::uint16_t, 4>{0, 1, 9, 65535})
        EXPECT_EQ(mustClean(file({canvas(exifFlag), lossy(), exifChunk(orientation)})),
                  file({canvas(0), lossy()}));
}

TEST(WebP, zeroesReservedBits)
{
    const Bytes picture =
        file({canvas(animationFlag | 0xC1, 0xEE), animation(1), frame(5, {lossy()}, 0xFF)});
    EXPECT_EQ(mustClean(picture),
              file({canvas(animationFlag), animation(1), frame(5, {lossy()}, 3)}));
}

TEST(WebP, setsFlagsThatAreMissing)
{
    EXPECT_EQ(mustClean(file({canvas(0), profile, chunk("ALPH", "alpha"), lossy(), exifChunk(5)})),
              file({canvas(profileFlag | alphaFlag | exifFlag),
                    profile,
                    chunk("ALPH", "alpha"),
                    lossy(),
                    cleanEXIF(5)}));
    EXPECT_EQ(mustClean(file({canvas(0), lossless(true)})),
              file({canvas(alphaFlag), lossless(true)}));
    EXPECT_EQ(mustClean(file({canvas(0), animation(2), frame(9, {lossless(true)})})),
              file({canvas(animationFlag | alphaFlag), animation(2), frame(9, {lossless(true)})}));
}

TEST(WebP, clearsFlagsOfWhatIsNotThere)
{
    EXPECT_EQ(mustClean(file({canvas(profileFlag | exifFlag | xmpFlag | animationFlag), lossy()})),
              file({canvas(0), lossy()}));
}

// Decoders report an alpha channel on the flag's word alone.
TEST(WebP, keepsAClaimOfAlpha)
{
    for (const Bytes& pixels : {lossy(), lossless(false)})
        EXPECT_EQ(mustClean(file({canvas(alphaFlag), pixels})), file({canvas(alphaFlag), pixels}));
}

TEST(WebP, showsTheStillWhereFramesAreNotFlagged)
{
    const Bytes picture = file({canvas(0), animation(1), frame(1, {lossy("frame")}), lossy()});
    EXPECT_EQ(mustClean(picture), file({canvas(0), lossy()}));
    EXPECT_EQ(frameCount(picture), 1U);
}

TEST(WebP, dropsAStillBesideAnAnimation)
{
    const Bytes frames = joined({animation(1), frame(1, {lossy("frame")})});
    EXPECT_EQ(mustClean(file({canvas(animationFlag), lossy("secret"), frames})),
              file({canvas(animationFlag), frames}));
}

TEST(WebP, keepsChunksThatCountOnceOnce)
{
    const Bytes picture = file({canvas(profileFlag),
                                profile,
                                chunk("ICCP", "secret profile"),
                                lossy(),
                                lossless(true, "secret"),
                                lossy("secret"),
                                canvas(0xFF)});
    EXPECT_EQ(mustClean(picture), file({canvas(profileFlag), profile, lossy()}));
}

// Decoders take the alpha plane last read before the pixels, and none for lossless pixels.
TEST(WebP, keepsTheAlphaThatIsShown)
{
    EXPECT_EQ(mustClean(file({canvas(alphaFlag),
                              chunk("ALPH", "secret"),
                              chunk("ALPH", "alpha"),
                              lossy(),
                              chunk("ALPH", "secret")})),
              file({canvas(alphaFlag), chunk("ALPH", "alpha"), lossy()}));
    EXPECT_EQ(mustClean(file({canvas(0), chunk("ALPH", "secret"), lossless(false)})),
              file({canvas(0), lossless(false)}));
}

TEST(WebP, filtersInsideFrames)
{
    const Bytes picture = file({canvas(animationFlag),
                                animation(1),
                                frame(1,
                                      {chunk("PRVT", "secret"),
                                       lossy("odd"),
                                       lossy("secret"),
                                       exifChunk(6),
                                       bytesOf("secret")})});
    expectPromises(file({canvas(animationFlag), animation(1), frame(1, {lossy("odd")})}));
    EXPECT_EQ(mustClean(picture),
              file({canvas(animationFlag), animation(1), frame(1, {lossy("odd")})}));
}

TEST(WebP, cutsAnimationHeaderToWhatIsDefined)
{
    const Bytes longer = chunk("ANIM", std::string_view("\1\2\3\4\7\0secret", 12));
    EXPECT_EQ(mustClean(file({canvas(animationFlag), longer, frame(1, {lossy()})})),
              file({canvas(animationFlag), animation(7), frame(1, {lossy()})}));
}

TEST(WebP, writesPaddingAfresh)
{
    const Bytes data = bytesOf(sampleProfile(201));
    const Bytes padded = file({canvas(profileFlag), chunk("ICCP", data), lossy()});
    EXPECT_EQ(mustClean(file({canvas(0), chunk("ICCP", data, "S"), lossy()})), padded);
}

TEST(WebP, cutsAProfileWhereItEnds)
{
    for (const std::size_t size : {200U, 201U}) {
        const std::string exact = sampleProfile(size);
        const Bytes copy = file({canvas(profileFlag), chunk("ICCP", exact), lossy()});
        for (const char* more : {"", "s", "secret"}) {
            const Bytes picture = file({canvas(0), chunk("ICCP", exact + more), lossy()});
            EXPECT_EQ(mustClean(picture), copy);
            expectPromises(picture);
        }
    }
    // One that is cut short stays: some decoders make do with it.
    const Bytes half =
        file({canvas(profileFlag), chunk("ICCP", sampleProfile(200).substr(0, 140)), lossy()});
    EXPECT_EQ(mustClean(half), half);
}

TEST(WebP, dropsWhatIsNoProfile)
{
    std::string other = sampleProfile(200);
    other[36] = 'x';
    for (const std::string& text : {std::string("secret"), std::string(), other}) {
        const Bytes picture = file({canvas(profileFlag), chunk("ICCP", text), lossy()});
        EXPECT_EQ(mustClean(picture), file({canvas(0), lossy()}));
        expectPromises(picture);
    }
}

TEST(WebP, acceptsMissingPaddingAtTheEnd)
{
    Bytes picture = file({lossy("odd")});
    const Bytes whole = picture;
    picture.pop_back();
    EXPECT_EQ(mustClean(picture), whole);
    EXPECT_EQ(mustClean(file({lossy("odd")}, -1)), whole);
}

TEST(WebP, dropsWhatTheSizeLeavesOut)
{
    const Bytes picture = file({lossy(), chunk("PRVT", "secret")}, -14);
    expectPromises(picture);
    EXPECT_EQ(mustClean(picture), file({lossy()}));
    EXPECT_EQ(bytesOfKind(picture, BlockKind::trailer).size(), 14U);
}

TEST(WebP, refusesAPictureThatIsCutShort)
{
    Bytes cutPixels = file({lossy()});
    cutPixels.resize(cutPixels.size() - 6);
    EXPECT_FALSE(cleaned(cutPixels).ok());
    EXPECT_FALSE(cleaned(file({lossy()}, -6)).ok());
    Bytes cutFrame = file({canvas(animationFlag), animation(1), frame(1, {lossy()})});
    cutFrame.resize(cutFrame.size() - 6);
    EXPECT_FALSE(cleaned(cutFrame).ok());
}

TEST(WebP, dropsMetadataThatIsCutShort)
{
    Bytes picture = file({canvas(xmpFlag), lossy(), secretXMP});
    picture.resize(picture.size() - 20);
    EXPECT_EQ(mustClean(picture), file({canvas(0), lossy()}));
    EXPECT_EQ(mustClean(file({lossy()}, 1000)), file({lossy()}));
}

TEST(WebP, readsOnlyHeadersThatDescribeAPicture)
{
    Bytes interFrame = lossy();
    interFrame[8] |= 1;
    Bytes futureVersion = lossless(false);
    futureVersion[12] |= 0x20;
    const Bytes huge = chunk("VP8X", Bytes{0, 0, 0, 0, 255, 255, 255, 255, 255, 255});
    for (const Bytes& first : {interFrame,
                               futureVersion,
                               huge,
                               chunk("VP8X", "short"),
                               chunk("VP8 ", "nothing of the kind"),
                               chunk("ALPH", "alpha"),
                               exifChunk(6)}) {
        const Bytes picture = file({first, lossy()});
        MemorySource source(picture);
        EXPECT_FALSE(ImageSource::open(source).ok());
    }
}

TEST(WebP, refusesAFileThatEndsWithItsHeader)
{
    const Bytes picture = file({});
    MemorySource source(picture);
    EXPECT_FALSE(ImageSource::open(source).ok());
}

TEST(WebP, writesNoPictureWithoutPixels)
{
    for (const Bytes& rest : {Bytes(),
                              joined({animation(1)}),
                              joined({animation(1), frame(1, {})}),
                              joined({frame(1, {lossy()})}),
                              joined({animation(1), chunk("ANMF", "short")}),
                              chunk("VP8 ", "nothing of the kind")}) {
        const Bytes picture = file({canvas(animationFlag), rest});
        MemorySource source(picture);
        EXPECT_TRUE(ImageSource::open(source).ok());
        EXPECT_FALSE(cleaned(picture).ok());
    }
}

} // namespace
} // namespace nullprint::tests
