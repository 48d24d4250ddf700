// What HEIF's pictures are coded in, and the properties that decoders go by.
#include "tests/support/Pictures.h"

#include "engine/image/HEIF.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/HEIFBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace image;
using namespace heif;

TEST(HEIF, dropsUserDataFromCodedPictures)
{
    HEIFBuilder built = onePicture();
    const Bytes light = message(144, "1234");
    built.items[0].data = message(5, "secret encoder options");
    append(built.items[0].data, light);
    append(built.items[0].data, unit(20, "pixels"));
    append(built.items[0].data, unit(38, "secret filler"));
    append(built.items[0].data, unit(60, "secret of nobody"));
    Bytes array{39, 0, 1, 0};
    const Bytes inside = message(5, "secret again");
    append(array, ByteSpan(inside).subspan(3));
    built.properties[0] = box("hvcC", hevcConfiguration(array, 1));
    expectClean(built.build());
    Bytes kept = light;
    append(kept, unit(20, "pixels"));
    EXPECT_TRUE(holds(mustClean(built.build()), asText(kept)));
}

// A unit of H.264, whose type stands in one byte.
Bytes shortUnit(Byte type, std::string_view payload)
{
    Bytes out;
    append32(out, static_cast<std::uint32_t>(payload.size() + 1), ByteOrder::big);
    out.push_back(type);
    append(out, payload);
    return out;
}

TEST(HEIF, dropsUserDataFromAVC)
{
    HEIFBuilder built;
    const unsigned coding = built.essential("avcC", Bytes{1, 66, 0, 10, 0xFF, 0xE0, 0});
    const Bytes light = shortUnit(6, "\x90\x04\x31\x32\x33\x34\x80");
    const Bytes pixels = shortUnit(0x65, "pixels");
    Bytes data = shortUnit(6, "\x05\x06secret\x80");
    append(data, light);
    append(data, pixels);
    append(data, shortUnit(12, "secret filler"));
    append(data, shortUnit(30, "secret of nobody"));
    built.items = {{.id = 1, .type = "avc1", .data = data, .properties = {coding}}};
    expectClean(built.build());
    Bytes kept = light;
    append(kept, pixels);
    EXPECT_TRUE(holds(mustClean(built.build()), asText(kept)));
    EXPECT_FALSE(holds(mustClean(built.build()), "secret"));
}

TEST(HEIF, dropsMessagesThatAreLongerThanAnyThatIsKept)
{
    HEIFBuilder built = onePicture();
    const std::string payload = "\x90" + std::string(20, '\xFF') + std::string(1, '\0') + "secret" +
                                std::string(20 * 255 - 6, 'x') + "\x80";
    built.items[0].data = unit(39, payload);
    append(built.items[0].data, unit(20, "pixels"));
    expectClean(built.build());
    EXPECT_FALSE(holds(mustClean(built.build()), "secret"));
}

TEST(HEIF, refusesPicturesOfNothingButUserData)
{
    HEIFBuilder built = onePicture();
    built.items[0].data = message(5, "secret encoder options");
    expectRefused(built);
}

TEST(HEIF, refusesDataThatIsNotInUnits)
{
    HEIFBuilder built = onePicture();
    built.items[0].data = bytesOf("not in units at all");
    expectRefused(built);
    built.items[0].data = unit(20, "pixels");
    built.items[0].data.pop_back(); // A unit that is cut short.
    expectRefused(built);
    HEIFBuilder bare = onePicture();
    bare.items[0].properties.erase(bare.items[0].properties.begin()); // Units of which length?
    expectRefused(bare);
}

// No unit can begin there, so that viewers pass over it.
TEST(HEIF, dropsAnEndThatIsNoUnit)
{
    for (const std::string_view end : {"s", "se", "sec"}) {
        HEIFBuilder built = onePicture();
        built.items[0].data = message(5, "secret encoder options");
        append(built.items[0].data, unit(20, "pixels"));
        append(built.items[0].data, end);
        expectClean(built.build());
        EXPECT_EQ(mustClean(built.build()), mustClean(onePicture().build()));
    }
}

TEST(HEIF, dropsPrivateMetadataFromAV1)
{
    HEIFBuilder built;
    const unsigned coding = built.essential("av1C", Bytes{0x81, 0, 0, 0});
    Bytes data{0x12, 0x00};                                  // Temporal delimiter
    append(data, std::string_view("\x2A\x07\x04secret", 9)); // Metadata of type 4
    append(data, std::string_view("\x2A\x05\x01lite", 7));   // Light level
    append(data, std::string_view("\x7A\x06secret", 8));     // Padding
    append(data, std::string_view("\x30pixels"));            // A frame to the end
    built.brands = {"avif", "avif", "mif1", "secr"};
    built.items = {{.id = 1, .type = "av01", .data = data, .properties = {coding}}};
    expectClean(built.build());
    EXPECT_TRUE(
        holds(mustClean(built.build()), std::string_view("\x12\0\x2A\x05\x01lite\x30pixels", 16)));
    EXPECT_FALSE(holds(mustClean(built.build()), "secr"));
}

// The content of a property in the copy of a picture that has it besides its others.
Bytes copiedProperty(std::string_view type, const Bytes& content)
{
    HEIFBuilder built = onePicture();
    built.items[0].properties.push_back(built.property(type, content));
    const Bytes picture = built.build();
    expectPromises(picture);
    const Bytes copy = mustClean(picture);
    const std::size_t place = asText(copy).find(type);
    if (place == std::string_view::npos)
        return {};
    MemorySource source(copy);
    ByteCursor cursor(source, {place - 4, copy.size() - place + 4});
    const auto length = cursor.u32();
    return source.copyOf({place + 4, length.value() - 8}).value();
}

// That a property is copied as it is, without what stands behind it, and not when it is short.
void expectCut(std::string_view type, const Bytes& fields)
{
    SCOPED_TRACE(type);
    EXPECT_EQ(copiedProperty(type, fields), fields);
    Bytes longer = fields;
    append(longer, std::string_view("secret"));
    EXPECT_EQ(copiedProperty(type, longer), fields);
    HEIFBuilder built = onePicture();
    built.items[0].properties.push_back(
        built.property(type, ByteSpan(fields).first(fields.size() - 1)));
    expectRefused(built);
}

Bytes joined(std::initializer_list<std::string_view> parts)
{
    Bytes all;
    for (const std::string_view part : parts)
        append(all, part);
    return all;
}

TEST(HEIF, cutsPropertiesToTheirFields)
{
    expectCut("irot", Bytes{1});
    expectCut("imir", Bytes{1});
    expectCut("lsel", Bytes(2));
    expectCut("a1op", Bytes(1));
    expectCut("pasp", bytesOf("12345678"));
    expectCut("clap", Bytes(32, 1));
    expectCut("clli", Bytes(4));
    expectCut("mdcv", Bytes(24));
    expectCut("amve", Bytes(8));
    expectCut("rloc", Bytes(12));
    expectCut("pixi", Bytes{0, 0, 0, 0, 3, 8, 8, 8});
    expectCut("a1lx", Bytes(7));
    expectCut("a1lx", joined({"\1", "123412341234"}));
    expectCut("cclv", joined({"\x20", "123456781234567812345678"}));
    expectCut("cclv", joined({"\x1C", "123412341234"}));
    expectCut("cclv", Bytes(1));
}

TEST(HEIF, cutsPropertiesOfUncompressedPicturesToTheirFields)
{
    const std::string_view head("\0\0\0\0", 4);
    expectCut("uncC", joined({{"\1\0\0\0", 4}, "rgba"}));
    expectCut("uncC",
              joined({head, "gene", {"\0\0\0\2", 4}, "1234512345", "123412341234123412341234"}));
    expectCut("cmpd", Bytes{0, 0, 0, 2, 0, 4, 0, 5});
    expectCut("cmpC", joined({head, "zlib", "\1"}));
    expectCut("icef", joined({head, "\x44", {"\0\0\0\2", 4}, "1234512345"})); // 3 and 2 bytes.
    expectCut("cpat", joined({head, {"\0\2\0\1", 4}, "12345678", "12345678"}));
    expectCut("splz", joined({head, {"\0\0\0\1", 4}, "1234", {"\0\1\0\2", 4}, "12341234"}));
    expectCut("cloc", Bytes(5));
}

TEST(HEIF, dropsNamesOfChannelsAndRefusesThoseOfComponents)
{
    const Bytes named = joined({{"\0\0\0\1\1\x08", 6}, "secret"});
    EXPECT_EQ(copiedProperty("pixi", named), (Bytes{0, 0, 0, 0, 1, 8}));
    HEIFBuilder built = onePicture();
    built.items[0].properties.push_back(
        built.property("cmpd", joined({{"\0\0\0\1\x80\0", 6}, "urn:secret", {"\0", 1}})));
    expectRefused(built);
}

TEST(HEIF, refusesPropertiesOfAnotherVersion)
{
    for (const std::string_view type : {"ispe", "pixi", "rloc", "cmpC", "uncC", "vvcC"}) {
        HEIFBuilder built = onePicture();
        Bytes content(40);
        content[0] = 2;
        built.items[0].properties.push_back(built.property(type, content));
        expectRefused(built);
    }
}

// An array of units for HEVC's configuration.
Bytes arrayOf(Byte type, std::uint16_t count, const Bytes& unitWithLength)
{
    Bytes array{type};
    append16(array, count, ByteOrder::big);
    for (std::uint16_t index = 0; index < count; ++index)
        append(array, ByteSpan(unitWithLength).subspan(2)); // A length of two bytes.
    return array;
}

HEIFBuilder configured(const Bytes& configuration)
{
    HEIFBuilder built = onePicture();
    built.properties[0] = box("hvcC", configuration);
    return built;
}

TEST(HEIF, refusesAConfigurationThatIsCutShort)
{
    const Bytes sei = message(5, "secret");
    expectClean(configured(hevcConfiguration(arrayOf(39, 1, sei), 1)).build());
    expectRefused(configured(hevcConfiguration(arrayOf(39, 1, sei), 2))); // One more than there is.
    expectRefused(configured(Bytes(22)));
    Bytes cut = hevcConfiguration(arrayOf(33, 1, unit(33, "parameters")), 1);
    cut.pop_back();
    expectRefused(configured(cut));
}

TEST(HEIF, cleansAConfigurationOfAnyLength)
{
    Bytes large = message(5, "secret" + std::string(60000, 'x'));
    Bytes arrays = arrayOf(39, 5, large);
    ASSERT_GT(arrays.size(), limits::windowBytes);
    append(arrays, arrayOf(33, 1, unit(33, "parameters")));
    append(arrays, arrayOf(34, 1, unit(20, "secret slice")));
    Bytes content = hevcConfiguration(arrays, 3);
    append(content, std::string_view("secret"));
    expectClean(configured(content).build());
    EXPECT_EQ(
        mustClean(configured(content).build()),
        mustClean(
            configured(hevcConfiguration(arrayOf(33, 1, unit(33, "parameters")), 1)).build()));
}

HEIFBuilder withAVC(const Bytes& configuration)
{
    HEIFBuilder built;
    const unsigned coding = built.essential("avcC", configuration);
    built.items = {
        {.id = 1, .type = "avc1", .data = shortUnit(0x65, "pixels"), .properties = {coding}}};
    return built;
}

TEST(HEIF, cleansTheConfigurationOfAVC)
{
    const Bytes plain{1, 66, 0, 10, 0xFF, 0xE1, 0, 3, 0x67, 1, 2, 1, 0, 3, 0x68, 1, 2};
    Bytes high = plain;
    high[1] = 100;
    Bytes extended = high;
    append(extended, Bytes{0xFD, 0xF8, 0xF8, 1, 0, 2, 0x6D, 1});
    for (const Bytes& fields : {plain, high, extended}) {
        EXPECT_TRUE(holds(mustClean(withAVC(fields).build()), asText(box("avcC", fields))));
        Bytes longer = fields;
        append(longer, std::string_view("secret"));
        expectClean(withAVC(longer).build());
        EXPECT_EQ(mustClean(withAVC(longer).build()), mustClean(withAVC(fields).build()));
    }
    Bytes talking{1, 66, 0, 10, 0xFF, 0xE2, 0, 3, 0x67, 1, 2, 0, 8, 6};
    append(talking, std::string_view("secret!"));
    append(talking, Bytes{1, 0, 3, 0x68, 1, 2});
    expectClean(withAVC(talking).build());
    EXPECT_EQ(mustClean(withAVC(talking).build()), mustClean(withAVC(plain).build()));
    expectRefused(withAVC(Bytes(plain.begin(), plain.end() - 1)));
}

// A unit of H.266, whose type stands in the second byte.
Bytes lateUnit(unsigned type, std::string_view payload)
{
    Bytes out;
    append32(out, static_cast<std::uint32_t>(payload.size() + 2), ByteOrder::big);
    out.push_back(0);
    out.push_back(static_cast<Byte>(type << 3 | 1));
    append(out, payload);
    return out;
}

Bytes vvcMessage(unsigned unitType, unsigned type, std::string_view payload)
{
    Bytes content{static_cast<Byte>(type), static_cast<Byte>(payload.size())};
    append(content, payload);
    content.push_back(0x80);
    return lateUnit(unitType, asText(content));
}

// Lengths of four bytes; with levels: two layers in time, one of them with a level of its own, and
// one profile below the profile.
Bytes vvcConfiguration(bool hasLevels, const Bytes& arrays, Byte count)
{
    Bytes content{0, 0, 0, 0, static_cast<Byte>(0xFE | (hasLevels ? 1 : 0))};
    if (hasLevels)
        append(content,
               Bytes{0, 0x25, 0x5F, 2, 3, 51, 0, 0, 0x80, 51, 1, 1, 2, 3, 4, 0, 64, 0, 48, 0, 0});
    content.push_back(count);
    append(content, arrays);
    return content;
}

HEIFBuilder withVVC(const Bytes& configuration, const Bytes& data)
{
    HEIFBuilder built;
    const unsigned coding = built.essential("vvcC", configuration);
    built.brands = {"vvic", "mif1", "vvic"};
    built.items = {{.id = 1, .type = "vvc1", .data = data, .properties = {coding}}};
    return built;
}

TEST(HEIF, dropsUserDataFromVVC)
{
    const Bytes plain = vvcConfiguration(false, {}, 0);
    const Bytes light = vvcMessage(23, 144, "1234");
    const Bytes pixels = lateUnit(7, "pixels");
    Bytes data = vvcMessage(23, 5, "secret encoder options");
    append(data, light);
    append(data, pixels);
    append(data, vvcMessage(24, 5, "secret behind it"));
    append(data, lateUnit(25, "secret filler"));
    append(data, lateUnit(28, "secret of nobody"));
    expectClean(withVVC(plain, data).build());
    Bytes kept = light;
    append(kept, pixels);
    EXPECT_TRUE(holds(mustClean(withVVC(plain, data).build()), asText(kept)));
    data.pop_back();
    expectRefused(withVVC(plain, data));
}

TEST(HEIF, dropsUserDataFromTheConfigurationOfVVC)
{
    const Bytes pixels = lateUnit(7, "pixels");
    Bytes kept = arrayOf(0x8F, 1, lateUnit(15, "parameters"));
    append(kept, Bytes{0x8D}); // Decoding capabilities, of which there is one.
    append(kept, ByteSpan(lateUnit(13, "can")).subspan(2));
    Bytes arrays = arrayOf(0x97, 2, vvcMessage(23, 5, "secret"));
    append(arrays, kept);
    for (const bool hasLevels : {false, true}) {
        Bytes talking = vvcConfiguration(hasLevels, arrays, 3);
        append(talking, std::string_view("secret"));
        const Bytes clean = vvcConfiguration(hasLevels, kept, 2);
        expectClean(withVVC(talking, pixels).build());
        EXPECT_TRUE(holds(mustClean(withVVC(talking, pixels).build()), asText(box("vvcC", clean))));
        expectRefused(withVVC(vvcConfiguration(hasLevels, arrays, 4), pixels));
    }
}

HEIFBuilder withAV1(const Bytes& configuration, const Bytes& data)
{
    HEIFBuilder built;
    const unsigned coding = built.essential("av1C", configuration);
    built.brands = {"avif", "avif", "mif1"};
    built.items = {{.id = 1, .type = "av01", .data = data, .properties = {coding}}};
    return built;
}

TEST(HEIF, dropsPrivateMetadataFromTheConfigurationOfAV1)
{
    const Bytes frame = bytesOf("\x30pixels");
    const std::string_view head("\x81\0\0\0", 4);
    const std::string_view kept = "\x0A\x03seq\x2A\x05\x01lite"; // A sequence header, light level.
    const Bytes talking =
        joined({head, "\x2A\x07\x04secret", kept, "\x7A\x06secret", "\x32\x06secret"});
    expectClean(withAV1(talking, frame).build());
    EXPECT_EQ(mustClean(withAV1(talking, frame).build()),
              mustClean(withAV1(joined({head, kept}), frame).build()));
    expectRefused(withAV1(joined({head, "\x0A\x7Fsecret"}), frame)); // Longer than what is there.
    expectRefused(withAV1(joined({head}), bytesOf("\x32\x7Fsecret")));
}

TEST(HEIF, refusesUserDataInLayersThatAreToldApartBySize)
{
    HEIFBuilder built = withAV1(Bytes{0x81, 0, 0, 0}, bytesOf("\x30pixels"));
    built.items[0].properties.push_back(built.property("a1lx", Bytes(7)));
    expectClean(built.build());
    built.items[0].data = bytesOf("\x2A\x07\x04secret\x30pixels");
    expectRefused(built);
}

Bytes segment(Byte code, std::string_view payload)
{
    Bytes out{0xFF, code};
    append16(out, static_cast<std::uint16_t>(payload.size() + 2), ByteOrder::big);
    append(out, payload);
    return out;
}

Bytes tilePart(const Bytes& header, bool isStated)
{
    Bytes data = header;
    append(data, Bytes{0xFF, 0x93});
    append(data, std::string_view("pixels"));
    Bytes head{0, 0};
    append32(head, isStated ? static_cast<std::uint32_t>(data.size() + 12) : 0, ByteOrder::big);
    append(head, Bytes{0, 1});
    Bytes part = segment(0x90, asText(head));
    append(part, data);
    return part;
}

HEIFBuilder withJPEG2000(std::initializer_list<Bytes> parts)
{
    HEIFBuilder built;
    const unsigned header =
        built.essential("j2kH", box("cdef", std::string_view("\0\1\0\0\0\0\0\1", 8)));
    Bytes data{0xFF, 0x4F};
    for (const Bytes& part : parts)
        append(data, part);
    built.brands = {"j2ki", "mif1", "j2ki"};
    built.items = {{.id = 1, .type = "j2k1", .data = data, .properties = {header}}};
    return built;
}

TEST(HEIF, dropsCommentsFromJPEG2000)
{
    const Bytes size = segment(0x51, "size");
    const Bytes coding = segment(0x52, "coding");
    const Bytes comment = segment(0x64, std::string_view("\0\1secret program", 16));
    const Bytes end{0xFF, 0xD9};
    for (const bool isStated : {false, true}) {
        const Bytes part = tilePart(segment(0x58, "lengths"), isStated);
        const HEIFBuilder plain = withJPEG2000({size, coding, part, end});
        const HEIFBuilder talking = withJPEG2000({size, comment, coding, comment, part, end});
        expectClean(talking.build());
        EXPECT_EQ(mustClean(talking.build()), mustClean(plain.build()));
        EXPECT_TRUE(holds(mustClean(plain.build()), asText(plain.items[0].data)));
    }
    const Bytes part = tilePart({}, true);
    expectClean(withJPEG2000({size, comment, part, part, end, bytesOf("secret")}).build());
    expectSurvivesTruncation(withJPEG2000({size, comment, part, part, end}).build());
    expectSurvivesMutation(withJPEG2000({size, comment, part, part, end}).build(), 500);
}

TEST(HEIF, refusesJPEG2000ThatItCannotCarry)
{
    const Bytes size = segment(0x51, "size");
    const Bytes comment = segment(0x64, std::string_view("\0\1secret program", 16));
    const Bytes part = tilePart({}, true);
    const Bytes end{0xFF, 0xD9};
    expectRefused(withJPEG2000({size, tilePart(comment, true), end}));
    expectRefused(withJPEG2000({comment, part, end}));                  // No size first.
    expectRefused(withJPEG2000({size, segment(0x6F, "?"), part, end})); // A segment of nobody.
    expectRefused(withJPEG2000({size, part}));                          // No end.
    expectRefused(withJPEG2000({size, tilePart({}, false), end, bytesOf("secret")}));
    expectRefused(withJPEG2000({size, part, bytesOf("secret")}));
    HEIFBuilder boxed = withJPEG2000({size, part, end});
    boxed.items[0].data = box("jP  ", "\r\n\x87\n");
    expectRefused(boxed);
}

TEST(HEIF, keepsKnownBoxesOfJPEG2000)
{
    const auto header = [](const Bytes& boxes) {
        HEIFBuilder built = withJPEG2000({segment(0x51, "size"), tilePart({}, true), {0xFF, 0xD9}});
        built.properties[0] = box("j2kH", boxes);
        return built;
    };
    Bytes kept = box("cdef", std::string_view("\0\1\0\0\0\0\0\1", 8));
    append(kept,
           box("pclr",
               std::string_view("\0\2\2\7\x0B"
                                "abcabc",
                                11))); // 1 and 2 bytes.
    append(kept, box("cmap", std::string_view("\0\0\1\0\0\0\1\1", 8)));
    append(kept, box("bpcc", "\7\7"));
    EXPECT_TRUE(holds(mustClean(header(kept).build()), asText(box("j2kH", kept))));
    Bytes talking = kept;
    append(talking, box("uuid", "0123456789abcdefsecret"));
    append(talking, box("xml ", "<secret/>"));
    append(talking, box("cdef", std::string_view("\0\0secret", 8)));
    expectClean(header(talking).build());
    expectRefused(header(box("cdef", std::string_view("\0\2\0\0\0\0\0\1", 8))));
    expectRefused(header(box("cmap", "secret!!")));
    expectRefused(header(box("bpcc", "secret")));
    expectRefused(header(box("pclr", "secret")));
    expectRefused(header(box("uuid", "0123456789abcdefsecret")));
    expectRefused(header(bytesOf("secret")));
}

TEST(HEIF, refusesJPEGItemsInPieces)
{
    HEIFBuilder built;
    built.items = {{.id = 1, .type = "jpeg", .data = jpegWithEXIF({}), .properties = {}}};
    built.brands = {"jpeg", "mif1", "jpeg"};
    expectClean(built.build());
    built.items[0].extents = 2;
    const Bytes pieces = built.build();
    MemorySource source(pieces);
    EXPECT_FALSE(splitHEIF(source).ok());
}

} // namespace
} // namespace nullprint::tests
