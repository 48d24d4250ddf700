#include "engine/image/EXIF.h"
#include "tests/support/PNGBuilder.h"
#include "tests/support/Pictures.h"
#include "tests/support/ProfileBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace nullprint::image;

// A first directory with make (a text of eleven letters) and orientation.
std::string sampleEXIF(char orientation, std::string_view make = "SECRET make")
{
    std::string block("MM\0\x2A\0\0\0\x08\0\2", 10);
    block += std::string("\x01\x0F\0\2\0\0\0\x0C\0\0\0\x26", 12);
    block += std::string("\x01\x12\0\3\0\0\0\1\0", 9) + orientation + std::string(2, 0);
    return block + std::string(4, 0) + std::string(make) + std::string(1, 0);
}

std::string freshEXIFText(std::uint16_t orientation)
{
    return std::string(asText(freshEXIF(orientation, std::nullopt)));
}

// As text: a line feed, the name, the length, and the bytes in hexadecimal, in lines of 72.
std::string rawProfile(std::string_view name, std::string_view bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text = "\n" + std::string(name) + "\n      " + std::to_string(bytes.size());
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const auto byte = static_cast<Byte>(bytes[index]);
        text += index % 36 == 0 ? "\n" : "";
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text + "\n";
}

std::string keyed(std::string_view keyword, std::string_view value)
{
    return std::string(keyword) + std::string(1, 0) + std::string(value);
}

// IIM: the caption of record 2.
const std::string caption = std::string("\x1C\x02\x78\0\x0E", 5) + "SECRET caption";

// One of everything that goes, and a few that stay.
PNGBuilder everything()
{
    PNGBuilder png;
    png.chunk("iCCP", keyed("icc", std::string(1, 0) + deflated(sampleProfile(200))));
    png.chunk("pHYs", {"\0\0\x0B\x13\0\0\x0B\x13\1", 9}).chunk("gAMA", "\1\2\3\4");
    png.chunk("eXIf", sampleEXIF(1)).chunk("tEXt", keyed("Author", "SECRET author"));
    png.chunk("zTXt", keyed("Comment", std::string(1, 0) + deflated("SECRET packed")));
    png.chunk("iTXt", keyed("XML:com.adobe.xmp", "\1\1\1\1<x:xmpmeta>SECRET xmp</x:xmpmeta>"));
    png.chunk("tIME", "SECRET.").chunk("prVt", "SECRET private").pixels();
    png.chunk("tEXt", keyed("Late", "SECRET late"));
    return png;
}

TEST(PNG, keepsItsPromises)
{
    Bytes png = everything().end();
    append(png, "SECRET trailer");
    const Bytes original = png;
    expectPromises(png);
    expectSurvivesTruncation(png);
    expectSurvivesMutation(png, 500);
    EXPECT_FALSE(holds(mustClean(png), "SECRET"));
    EXPECT_EQ(png, original);
}

TEST(PNG, keepsWhatIsShownAndNothingElse)
{
    PNGBuilder expected;
    expected.chunk("iCCP", keyed("icc", std::string(1, 0) + deflated(sampleProfile(200))));
    expected.chunk("pHYs", {"\0\0\x0B\x13\0\0\x0B\x13\1", 9}).pixels();
    EXPECT_EQ(mustClean(everything().end()), expected.end());
}

TEST(PNG, cannotReadAHeaderThatDescribesNoPicture)
{
    for (const auto& [colour, depth] :
         {std::pair{'\1', '\x8'}, {'\2', '\4'}, {'\3', '\x10'}, {'\6', '\0'}}) {
        const Bytes png = PNGBuilder(colour, depth).pixels().end();
        MemorySource source(png);
        EXPECT_FALSE(ImageSource::open(source).ok());
    }
}

TEST(PNG, refusesAPictureWithoutPixelsOrEnd)
{
    EXPECT_FALSE(cleaned(PNGBuilder().end()).ok());
    EXPECT_FALSE(cleaned(PNGBuilder().pixels().withoutEnd()).ok());
}

TEST(PNG, keepsOrientationAsTheOnlyFieldOfAFreshBlock)
{
    for (std::uint16_t code = 2; code <= 8; ++code) {
        const auto orientation = static_cast<char>(code);
        const Bytes expected = PNGBuilder().chunk("eXIf", freshEXIFText(code)).pixels().end();
        const Bytes early = PNGBuilder().chunk("eXIf", sampleEXIF(orientation)).pixels().end();
        EXPECT_EQ(mustClean(early), expected);
        const Bytes late = PNGBuilder().pixels().chunk("eXIf", sampleEXIF(orientation)).end();
        EXPECT_EQ(mustClean(late), expected);
        EXPECT_EQ(mustClean(expected), expected);
    }
}

TEST(PNG, writesNoOrientationThatSaysNothing)
{
    for (const char orientation : {'\0', '\1', '\x9'}) {
        const Bytes png = PNGBuilder().chunk("eXIf", sampleEXIF(orientation)).pixels().end();
        EXPECT_EQ(mustClean(png), PNGBuilder().pixels().end());
    }
}

TEST(PNG, readsExifFromItsOwnChunk)
{
    for (const std::string& start : {std::string(), std::string("Exif\0\0", 6)}) {
        const Bytes png = PNGBuilder().chunk("eXIf", start + sampleEXIF(6)).pixels().end();
        EXPECT_EQ(propertiesOf(png).text(Group::tiff, tag::make), "SECRET make");
        EXPECT_EQ(turnedOrientationOf(png), 6);
    }
}

TEST(PNG, readsExifFromTexts)
{
    const std::string block = std::string("Exif\0\0", 6) + sampleEXIF(6);
    for (const std::string name : {"exif", "APP1"}) {
        const std::string text = rawProfile(name, block);
        const std::string keyword = "Raw profile type " + name;
        const Bytes plain = PNGBuilder().pixels().chunk("tEXt", keyed(keyword, text)).end();
        const std::string packed = std::string(1, 0) + deflated(text);
        const Bytes deflated = PNGBuilder().chunk("zTXt", keyed(keyword, packed)).pixels().end();
        for (const Bytes& png : {plain, deflated}) {
            EXPECT_EQ(propertiesOf(png).text(Group::tiff, tag::make), "SECRET make");
            EXPECT_EQ(turnedOrientationOf(png), 6);
            EXPECT_EQ(mustClean(png), PNGBuilder().chunk("eXIf", freshEXIFText(6)).pixels().end());
        }
    }
}

TEST(PNG, prefersTheExifChunkToTexts)
{
    PNGBuilder png;
    png.chunk("tEXt", keyed("Raw profile type exif", rawProfile("exif", sampleEXIF(3, "OLD"))));
    png.chunk("eXIf", sampleEXIF(6)).pixels();
    EXPECT_EQ(propertiesOf(png.end()).text(Group::tiff, tag::make), "SECRET make");
}

TEST(PNG, readsIPTCFromTexts)
{
    const std::string resource =
        std::string("8BIM\4\4\0\0\0\0\0\x13", 12) + caption + std::string(1, 0);
    for (const auto& [name, block] : {std::pair{std::string("iptc"), resource},
                                      {std::string("iptc"), caption},
                                      {std::string("8bim"), resource}}) {
        const std::string keyword = "Raw profile type " + name;
        const std::string packed = std::string(1, 0) + deflated(rawProfile(name, block));
        const Bytes png = PNGBuilder().chunk("zTXt", keyed(keyword, packed)).pixels().end();
        EXPECT_EQ(propertiesOf(png).text(Group::iptc, 0x0278), "SECRET caption");
    }
}

// A text whose profile begins behind so many blanks.
Bytes withBlanks(std::size_t count)
{
    std::string text = rawProfile("exif", sampleEXIF(6));
    text.insert(text.find("4d4d"), count, ' ');
    const std::string packed = std::string(1, 0) + deflated(text);
    return PNGBuilder().chunk("zTXt", keyed("Raw profile type exif", packed)).pixels().end();
}

TEST(PNG, unpacksNoMoreOfATextThanItsBound)
{
    EXPECT_EQ(propertiesOf(withBlanks(1000)).count(Group::tiff), 2U);
    const Bytes png = withBlanks(limits::inflatedBytes);
    EXPECT_LT(png.size(), 20000U);
    EXPECT_EQ(propertiesOf(png).count(Group::tiff), 0U);
    EXPECT_EQ(mustClean(png), PNGBuilder().pixels().end());
}

TEST(PNG, dropsWhatComesTwiceOrTooLate)
{
    const std::string resolution("\0\0\x0B\x13\0\0\x0B\x13\1", 9);
    const Bytes expected = PNGBuilder('\3')
                               .chunk("PLTE", "abcdef")
                               .chunk("tRNS", "\x7F")
                               .chunk("pHYs", resolution)
                               .pixels()
                               .end();
    PNGBuilder png('\3');
    png.chunk("PLTE", "abcdef").chunk("PLTE", "SECRET").chunk("tRNS", "\x7F");
    png.chunk("tRNS", "SECRET").chunk("pHYs", resolution).chunk("pHYs", "SECRET...");
    png.chunk("IHDR", "SECRET header").pixels().chunk("PLTE", "SECRET").chunk("tRNS", "SECRET");
    png.chunk("pHYs", "SECRET...").chunk("iCCP", "SECRET").chunk("acTL", "SECRET..");
    EXPECT_EQ(mustClean(png.end()), expected);
    expectPromises(png.end());
}

Bytes withProfile(const std::string& data)
{
    return PNGBuilder().chunk("iCCP", data).pixels().end();
}

std::string named(const std::string& stream)
{
    return keyed("icc", std::string(1, 0) + stream);
}

TEST(PNG, cutsAProfileWhereItEnds)
{
    const std::string profile = sampleProfile(3000);
    const std::string stream = deflated(profile);
    const Bytes copy = withProfile(named(stream));
    EXPECT_EQ(mustClean(copy), copy);
    std::string wrongChecksum = stream;
    wrongChecksum.back() ^= 1;
    for (const std::string& longer : {deflated(profile + "S"),
                                      deflated(profile + std::string(100000, 'S')),
                                      stream + "SECRET",
                                      wrongChecksum,
                                      stream.substr(0, stream.size() - 2)}) {
        EXPECT_EQ(mustClean(withProfile(named(longer))), copy);
        expectPromises(withProfile(named(longer)));
    }
    expectSurvivesMutation(withProfile(named(deflated(profile + "SECRET"))), 5000);
}

TEST(PNG, dropsWhatIsNoProfile)
{
    const std::string profile = sampleProfile(3000);
    std::string other = profile;
    other[36] = 'x';
    std::string enormous = profile;
    enormous[0] = '\x7F';
    const std::string stream = deflated(profile);
    for (const std::string& data : {std::string(),
                                    std::string("SECRET"),
                                    named(""),
                                    named("SECRET"),
                                    named(deflated("SECRET")),
                                    named(deflated(other)),
                                    named(deflated(enormous)),
                                    named(stream.substr(0, stream.size() / 2)),
                                    keyed("icc", "\1" + stream),
                                    keyed("", std::string(1, 0) + stream),
                                    keyed(std::string(80, 'n'), std::string(1, 0) + stream)}) {
        EXPECT_EQ(mustClean(withProfile(data)), PNGBuilder().pixels().end());
        expectPromises(withProfile(data));
    }
}

// A name of 79 letters is the longest, and there is one method.
TEST(PNG, keepsTheNameOfAProfile)
{
    const Bytes longest =
        withProfile(keyed(std::string(79, 'n'), std::string(1, 0) + deflated(sampleProfile(200))));
    EXPECT_EQ(mustClean(longest), longest);
}

TEST(PNG, replacesAProfilesNameThatIsAPath)
{
    const std::string profile = std::string(1, 0) + deflated(sampleProfile(200));
    for (const char* name : {R"(C:\Users\Jane Roe\monitor 4711.icm)", "/home/jane/a.icc"}) {
        const Bytes plain = withProfile(keyed("ICC profile", profile));
        EXPECT_EQ(mustClean(withProfile(keyed(name, profile))), plain);
        EXPECT_EQ(mustClean(withProfile(keyed(name, profile + "behind"))), plain);
    }
}

TEST(PNG, writesOneOrientationHoweverManyHeadersThereAre)
{
    PNGBuilder png;
    png.chunk("IHDR", "SECRET header").chunk("eXIf", sampleEXIF(6)).pixels();
    EXPECT_EQ(mustClean(png.end()), PNGBuilder().chunk("eXIf", freshEXIFText(6)).pixels().end());
}

TEST(PNG, dropsKeptChunksOfAnotherLengthThanTheirs)
{
    PNGBuilder png;
    for (const std::string_view type : {"pHYs", "sRGB", "cICP", "acTL", "tRNS", "PLTE"})
        png.chunk(type, "SECRET length");
    const std::string profile(1, 0);
    png.chunk("sRGB", profile).pixels();
    EXPECT_EQ(mustClean(png.end()), PNGBuilder().chunk("sRGB", profile).pixels().end());
}

TEST(PNG, keepsTransparencyOnlyAsItsColourTypeHasIt)
{
    struct Case {
        char colourType;
        std::string_view data;
        bool isKept;
    };
    for (const auto& [colourType, data, isKept] : {Case{0, "12", true},
                                                   {0, "123456", false},
                                                   {2, "123456", true},
                                                   {2, "12", false},
                                                   {3, "1234567", true},
                                                   {3, "", false},
                                                   {4, "12", false},
                                                   {6, "123456", false}}) {
        const Bytes png = PNGBuilder(colourType).chunk("tRNS", data).pixels().end();
        EXPECT_EQ(mustClean(png), isKept ? png : PNGBuilder(colourType).pixels().end());
    }
}

TEST(PNG, endsAtTheFirstEndWhateverItHolds)
{
    PNGBuilder png;
    png.pixels().chunk("IEND", "SECRET").chunk("IEND", "");
    EXPECT_EQ(mustClean(png.end()), PNGBuilder().pixels().end());
}

TEST(PNG, keepsPixelsWithABrokenChecksumAsTheyAre)
{
    const Bytes png = PNGBuilder().chunkWithChecksum("IDAT", "pixels", 0).end();
    EXPECT_EQ(mustClean(png), png);
}

TEST(PNG, refusesAChunkLongerThanTheFile)
{
    EXPECT_FALSE(cleaned(PNGBuilder().pixels().raw("\x7F\xFF\xFF\xFFtEXt").end()).ok());
    EXPECT_FALSE(cleaned(PNGBuilder().pixels().raw("\xFF\xFF\xFF\xFFtEXt").end()).ok());
}

TEST(PNG, keepsAnAnimationThatBeginsWithItsDefaultImage)
{
    PNGBuilder png;
    png.header(2, 3).frameControl(0).pixels().frameControl(1).framePixels(2);
    const Bytes expected = PNGBuilder(png).end();
    png.chunk("tEXt", keyed("a", "SECRET"));
    EXPECT_EQ(mustClean(png.end()), expected);
    EXPECT_EQ(frameCount(expected), 2U);
    expectPromises(png.end());
}

TEST(PNG, keepsAnAnimationApartFromItsDefaultImage)
{
    PNGBuilder png;
    png.header(2).pixels().frameControl(0).framePixels(1).frameControl(2).framePixels(3);
    const Bytes bytes = png.end();
    EXPECT_EQ(mustClean(bytes), bytes);
    EXPECT_EQ(frameCount(bytes), 2U);
    expectSurvivesTruncation(bytes);
    expectSurvivesMutation(bytes, 500);
}

TEST(PNG, dropsFramesWithoutAnAnimation)
{
    PNGBuilder png;
    png.frameControl(0).pixels().frameControl(1).framePixels(2);
    EXPECT_EQ(frameCount(PNGBuilder(png).end()), 1U);
    EXPECT_EQ(mustClean(png.end()), PNGBuilder().pixels().end());
}

TEST(PNG, dropsAnAnimationWithoutFrames)
{
    const Bytes expected = PNGBuilder().pixels().end();
    EXPECT_EQ(mustClean(PNGBuilder().header(5, 7).pixels().end()), expected);
    const Bytes named = PNGBuilder().header(5).pixels().framePixels(0).end();
    EXPECT_EQ(mustClean(named), expected);
    EXPECT_EQ(bytesOfKind(named, BlockKind::pixels), bytesOfKind(expected, BlockKind::pixels));
    PNGBuilder broken;
    broken.header(5).chunk("fcTL", "SECRET").pixels().framePixels(0);
    EXPECT_EQ(mustClean(broken.end()), expected);
}

} // namespace
} // namespace nullprint::tests
