#include "tests/support/GIFBuilder.h"
#include "tests/support/Pictures.h"
#include "tests/support/ProfileBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace nullprint::image;

// One of everything that GIF has.
GIFBuilder everything()
{
    GIFBuilder gif;
    gif.loop(3).application("ICCRGBG1012", sampleProfile(300));
    gif.xmp("<x:xmpmeta>SECRET xmp</x:xmpmeta>").comment("SECRET first comment");
    gif.control(10).comment("SECRET between").imageWithTable();
    gif.application("SECRETAPP12", "SECRET data").extension(0x77, "SECRET extension");
    gif.extension(0x01, "SECRET text").raw({"\0\0", 2});
    gif.control(20).image().comment("SECRET last comment");
    return gif;
}

TEST(GIF, keepsItsPromises)
{
    Bytes gif = everything().end();
    append(gif, "SECRET trailer");
    const Bytes original = gif;
    expectPromises(gif);
    expectSurvivesTruncation(gif);
    expectSurvivesMutation(gif, 500);
    EXPECT_FALSE(holds(mustClean(gif), "SECRET"));
    EXPECT_EQ(gif, original);
}

TEST(GIF, keepsWhatIsShownAndNothingElse)
{
    GIFBuilder expected;
    expected.loop(3).application("ICCRGBG1012", sampleProfile(300));
    expected.control(10).imageWithTable().control(20).image();
    EXPECT_EQ(mustClean(everything().end()), expected.end());
}

TEST(GIF, namesWhatItFinds)
{
    const Bytes gif = everything().end();
    EXPECT_TRUE(holds(bytesOfKind(gif, BlockKind::xmp), "SECRET xmp"));
    EXPECT_TRUE(holds(bytesOfKind(gif, BlockKind::text), "SECRET text"));
    EXPECT_TRUE(holds(bytesOfKind(gif, BlockKind::text), "SECRET between"));
    EXPECT_TRUE(holds(bytesOfKind(gif, BlockKind::application), "SECRET data"));
    EXPECT_TRUE(holds(bytesOfKind(gif, BlockKind::unknown), "SECRET extension"));
    EXPECT_EQ(bytesOfKind(gif, BlockKind::filler).size(), 2U);
    EXPECT_TRUE(holds(bytesOfKind(gif, BlockKind::palette), "LOCAL!"));
}

TEST(GIF, cleansTheOlderVersion)
{
    const Bytes gif = GIFBuilder("GIF87a").image().end();
    EXPECT_EQ(mustClean(gif), gif);
}

TEST(GIF, countsImagesAsFrames)
{
    EXPECT_EQ(frameCount(GIFBuilder().image().end()), 1U);
    GIFBuilder gif;
    for (int frame = 0; frame < 12; ++frame)
        gif.control(5).image();
    EXPECT_EQ(frameCount(gif.end()), 12U);
}

TEST(GIF, keepsTheLoopCountOfAnAnimationWhereItStands)
{
    for (const char* name : {"NETSCAPE2.0", "ANIMEXTS1.0"}) {
        for (const char count : {'\0', '\1', '\7'}) {
            const Bytes before = GIFBuilder().loop(count, name).image().image().end();
            EXPECT_EQ(mustClean(before), before);
            const Bytes between = GIFBuilder().image().loop(count, name).image().end();
            EXPECT_EQ(mustClean(between), between);
        }
    }
}

TEST(GIF, addsNoLoopToAnAnimationWithoutOne)
{
    const Bytes gif = GIFBuilder().control(9).image().control(9).image().end();
    EXPECT_EQ(mustClean(gif), gif);
}

TEST(GIF, dropsTheLoopOfASinglePicture)
{
    EXPECT_EQ(mustClean(GIFBuilder().loop(0).image().end()), GIFBuilder().image().end());
}

TEST(GIF, keepsOfALoopExtensionTheLoopAlone)
{
    const Bytes expected = GIFBuilder().loop(4).image().image().end();
    const std::string loop{1, 4, 0};
    GIFBuilder longer;
    longer.application("NETSCAPE2.0", loop + "SECRET").image().image();
    EXPECT_EQ(mustClean(longer.end()), expected);
    GIFBuilder buffered; // Identifier 2 asks for a buffer of so many bytes.
    buffered.raw("\x21\xFF\x0BNETSCAPE2.0").raw({"\5\2SECR\3\1\4\0\6SECRET\0", 18});
    EXPECT_EQ(mustClean(buffered.image().image().end()), expected);
}

TEST(GIF, dropsALoopExtensionWithoutALoop)
{
    const Bytes expected = GIFBuilder().image().image().end();
    GIFBuilder wrong;
    wrong.application("NETSCAPE2.0", "SECRET").application("ANIMEXTS1.0", "").image().image();
    EXPECT_EQ(mustClean(wrong.end()), expected);
}

TEST(GIF, keepsAControlWhateverStandsBetweenItAndItsImage)
{
    const Bytes expected = GIFBuilder().control(7).image().end();
    EXPECT_EQ(mustClean(GIFBuilder().control(7).comment("SECRET").image().end()), expected);
    EXPECT_EQ(mustClean(GIFBuilder().control(7).extension(1, "SECRET").image().end()), expected);
}

TEST(GIF, dropsAControlWithoutAnImage)
{
    const Bytes expected = GIFBuilder().control(7).image().end();
    EXPECT_EQ(mustClean(GIFBuilder().control(7).image().control(8).end()), expected);
}

TEST(GIF, keepsTheFourBytesOfAControlAlone)
{
    const std::string control("\x05\x07\0\1", 4);
    const Bytes expected = GIFBuilder().control(7).image().end();
    EXPECT_EQ(mustClean(GIFBuilder().extension(0xF9, control + "SECRET").image().end()), expected);
    GIFBuilder chained;
    chained.raw("\x21\xF9\x04").raw(control).raw({"\6SECRET\0", 8});
    EXPECT_EQ(mustClean(chained.image().end()), expected);
    EXPECT_EQ(mustClean(GIFBuilder().extension(0xF9, "abc").image().end()),
              GIFBuilder().image().end());
}

TEST(GIF, keepsAProfileAndNothingBehindIt)
{
    const std::string profile = sampleProfile(600);
    const Bytes expected = GIFBuilder().application("ICCRGBG1012", profile).image().end();
    EXPECT_EQ(mustClean(expected), expected);
    GIFBuilder longer;
    longer.application("ICCRGBG1012", profile + "SECRET").image();
    EXPECT_EQ(mustClean(longer.end()), expected);
    const Bytes small = GIFBuilder().application("ICCRGBG1012", profile, 20).image().end();
    EXPECT_EQ(mustClean(small), small);
}

TEST(GIF, dropsAProfileThatIsNone)
{
    const Bytes expected = GIFBuilder().image().end();
    for (const std::string& data : {std::string(), std::string("SECRET"), std::string(600, 'x')})
        EXPECT_EQ(mustClean(GIFBuilder().application("ICCRGBG1012", data).image().end()), expected);
}

TEST(GIF, keepsAProfileThatIsShorterThanItSays)
{
    const std::string profile = sampleProfile(600).substr(0, 400);
    const Bytes gif = GIFBuilder().application("ICCRGBG1012", profile).image().end();
    EXPECT_EQ(mustClean(gif), gif);
}

TEST(GIF, passesOverZerosBetweenBlocks)
{
    const std::string zeros(100000, '\0');
    const Bytes gif = GIFBuilder().raw(zeros).image().raw(zeros).image().raw(zeros).end();
    EXPECT_EQ(mustClean(gif), GIFBuilder().image().image().end());
}

TEST(GIF, writesAMissingTrailer)
{
    EXPECT_EQ(mustClean(GIFBuilder().image().withoutEnd()), GIFBuilder().image().end());
}

TEST(GIF, refusesAFileThatEndsInsideABlock)
{
    const Bytes whole = GIFBuilder().image().control(3).image().withoutEnd();
    const std::size_t secondBlock = GIFBuilder().image().withoutEnd().size();
    const std::size_t secondImage = GIFBuilder().image().control(3).withoutEnd().size();
    for (std::size_t length = secondBlock + 1; length < whole.size(); ++length) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(cleaned(cut).ok(), length == secondImage) << length;
    }
}

TEST(GIF, refusesBytesThatAreNoBlock)
{
    EXPECT_FALSE(cleaned(GIFBuilder().image().raw("?").image().end()).ok());
}

TEST(GIF, refusesAFileWithoutImages)
{
    const Bytes gif = GIFBuilder().comment("SECRET").end();
    MemorySource source(gif);
    EXPECT_TRUE(ImageSource::open(source).ok());
    EXPECT_FALSE(cleaned(gif).ok());
    EXPECT_FALSE(cleaned(GIFBuilder().withoutEnd()).ok());
}

TEST(GIF, cannotReadOtherVersionsOrHalfAHeader)
{
    for (const std::string_view bytes : {"GIF", "GIF89a", "GIF89a\1\1", "GIF90a\1\1\1\1\1\1\1\1"}) {
        MemorySource source(asBytes(bytes));
        EXPECT_FALSE(ImageSource::open(source).ok()) << bytes;
    }
}

} // namespace
} // namespace nullprint::tests
