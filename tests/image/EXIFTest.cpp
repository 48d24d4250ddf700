#include "engine/image/EXIF.h"

#include "engine/image/IPTC.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace nullprint::image;

Properties read(ByteSpan structure)
{
    MemorySource source(structure);
    Properties properties;
    readEXIFBlock(source, {0, structure.size()}, properties);
    return properties;
}

std::optional<std::string> comment(ByteOrder order, std::string_view raw)
{
    Bytes value;
    append(value, raw);
    const auto count = static_cast<std::uint32_t>(value.size());
    EXIFBuilder exif(order);
    exif.field(Group::exif, {tag::userComment, FieldType::undefined, count, std::move(value)});
    return read(exif.structure()).text(Group::exif, tag::userComment);
}

TEST(EXIF, readsWithAndWithoutItsMark)
{
    const EXIFBuilder exif = EXIFBuilder().text(Group::tiff, tag::make, "ACME");
    EXPECT_EQ(read(exif.block()).text(Group::tiff, tag::make), "ACME");
    EXPECT_EQ(read(exif.structure()).text(Group::tiff, tag::make), "ACME");
}

TEST(EXIF, decodesUserCommentsByTheirCode)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(comment(ByteOrder::big, "ASCII\0\0\0hello\0\0"sv), "hello");
    EXPECT_EQ(comment(ByteOrder::big, "\0\0\0\0\0\0\0\0h\xFC"sv), "hü");
    EXPECT_EQ(comment(ByteOrder::big, "UNICODE\0\0h\0\xFC"sv), "hü");
    EXPECT_EQ(comment(ByteOrder::little, "UNICODE\0h\0\xFC\0"sv), "hü");
    EXPECT_EQ(comment(ByteOrder::big, "UNICODE\0h\0i\0"sv), "hi"); // The other order, as some do
    EXPECT_EQ(comment(ByteOrder::big, "UNICODE\0\xFF\xFEh\0"sv), "h");
    EXPECT_EQ(comment(ByteOrder::big, "bare text without a code"sv), "bare text without a code");
    EXPECT_EQ(comment(ByteOrder::big, "ASCII\0\0\0"sv), "");
    EXPECT_EQ(comment(ByteOrder::little, "\0\0\0IICSAhello"sv),
              "hello"); // Turned around, as some do
}

TEST(EXIF, countsDistinctFields)
{
    EXIFBuilder exif;
    exif.text(Group::gps, 29, "2024:01:01").text(Group::gps, 29, "again").number(Group::gps, 30, 1);
    EXPECT_EQ(read(exif.structure()).count(Group::gps), 2U);
    EXPECT_EQ(read(exif.structure()).text(Group::gps, 29), "2024:01:01");
}

TEST(EXIF, readsCoordinatesOfOneToThreeParts)
{
    const auto latitude = [](const Rationals& parts) {
        return read(EXIFBuilder().rationals(Group::gps, tag::gpsLatitude, parts).structure())
            .number(Group::gps, tag::gpsLatitude);
    };
    EXPECT_EQ(latitude({{51, 2}}), 25.5);
    EXPECT_EQ(latitude({{25, 1}, {30, 1}}), 25.5);
    EXPECT_EQ(latitude({{25, 1}, {29, 1}, {6000, 100}}), 25.5);
    EXPECT_EQ(latitude({{25, 1}, {30, 1}, {0, 0}}), 25.5); // Seconds that nobody knows
    EXPECT_EQ(latitude({{25, 1}, {29, 0}, {0, 1}}), 25);
    EXPECT_EQ(latitude({{25, 0}, {30, 1}, {0, 1}}), std::nullopt);
    EXPECT_EQ(latitude({{0, 0}, {0, 0}, {0, 0}}), std::nullopt);
    EXPECT_EQ(latitude({{25, 1}, {30, 1}, {0, 1}, {1, 1}}), 25.5);
}

TEST(EXIF, survivesDirectoriesThatPointAtThemselves)
{
    EXIFBuilder exif;
    exif.text(Group::tiff, tag::make, "ACME");
    Bytes pointer;
    append32(pointer, 8, ByteOrder::big);
    exif.field(Group::tiff, {tag::exifIFD, FieldType::unsigned32, 1, pointer});
    exif.field(Group::tiff, {tag::gpsIFD, FieldType::unsigned32, 1, pointer});
    EXPECT_EQ(read(exif.structure()).text(Group::tiff, tag::make), "ACME");
}

TEST(EXIF, followsOffsetsOfASignedType)
{
    Bytes structure = EXIFBuilder().rationals(Group::gps, tag::gpsLatitude, {{51, 2}}).structure();
    const std::size_t entry = 10; // Behind the header and the count of entries.
    structure[entry + 3] = static_cast<Byte>(FieldType::signed32);
    EXPECT_EQ(read(structure).number(Group::gps, tag::gpsLatitude), 25.5);
    structure[entry + 8] = 0x80; // The offset is negative.
    EXPECT_EQ(read(structure).number(Group::gps, tag::gpsLatitude), std::nullopt);
}

TEST(EXIF, leavesOutFieldsThatReachPastTheEnd)
{
    EXIFBuilder exif;
    exif.field(Group::tiff, {tag::artist, FieldType::ascii, 0xFFFFFFF0U, Bytes{0, 0, 0, 8}})
        .field(Group::tiff, {tag::make, static_cast<FieldType>(99), 1, Bytes{0, 0, 0, 8}})
        .text(Group::tiff, tag::software, "Darkroom");
    const Properties properties = read(exif.structure());
    EXPECT_EQ(properties.count(Group::tiff), 1U);
    EXPECT_EQ(properties.text(Group::tiff, tag::software), "Darkroom");
}

TEST(EXIF, readsWhatThereIsOfADirectoryThatIsCut)
{
    Bytes structure = EXIFBuilder()
                          .text(Group::tiff, tag::make, "ACM")
                          .number(Group::tiff, tag::orientation, 6)
                          .structure();
    const std::size_t count = 9; // Its second byte.
    for (const Byte announced : Bytes{3, 40, 255}) {
        structure.at(count) = announced;
        const Properties properties = read(structure);
        EXPECT_EQ(properties.text(Group::tiff, tag::make), "ACM");
        EXPECT_EQ(properties.number(Group::tiff, tag::orientation), 6);
    }
}

TEST(EXIF, survivesEveryTruncation)
{
    const Bytes whole = EXIFBuilder()
                            .text(Group::tiff, tag::make, "ACME Cameras")
                            .text(Group::exif, tag::lensModel, "A long lens")
                            .position({{1, 1}}, "N", {{2, 1}}, "W")
                            .structure();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Properties properties = read(std::span(whole).first(length));
        EXPECT_LE(properties.count(Group::gps), 4U);
    }
    EXPECT_EQ(read(whole).count(Group::gps), 4U);
}

TEST(EXIF, knowsATurnedPicture)
{
    const auto turned = [](std::uint16_t value) {
        return turnedOrientation(
            read(EXIFBuilder().number(Group::tiff, tag::orientation, value).structure()));
    };
    EXPECT_EQ(turned(0), std::nullopt);
    EXPECT_EQ(turned(1), std::nullopt);
    EXPECT_EQ(turned(2), 2);
    EXPECT_EQ(turned(8), 8);
    EXPECT_EQ(turned(9), std::nullopt);
    const BuiltField twice{tag::orientation, FieldType::unsigned16, 2, Bytes{0, 6, 0, 1}};
    EXPECT_EQ(turnedOrientation(read(EXIFBuilder().field(Group::tiff, twice).structure())), 6);
    EXPECT_EQ(
        turnedOrientation(read(EXIFBuilder().text(Group::tiff, tag::orientation, "6").structure())),
        std::nullopt);
}

TEST(EXIF, writesWhatItReads)
{
    const Properties both = read(freshEXIF(std::uint16_t{6}, Resolution{300, 72.5, 3}));
    EXPECT_EQ(turnedOrientation(both), 6);
    const auto resolution = storedResolution(both);
    ASSERT_TRUE(resolution);
    EXPECT_EQ(resolution->x, 300);
    EXPECT_EQ(resolution->y, 72.5);
    EXPECT_EQ(resolution->unit, 3);
    EXPECT_EQ(both.count(Group::tiff), 4U);
    EXPECT_EQ(read(freshEXIF(std::uint16_t{8}, std::nullopt)).count(Group::tiff), 1U);
}

TEST(EXIF, takesAMissingResolutionUnitForTheInch)
{
    const auto unit = [](const EXIFBuilder& exif) {
        const auto resolution = storedResolution(read(exif.structure()));
        return resolution ? resolution->unit : 0;
    };
    const EXIFBuilder bare = EXIFBuilder()
                                 .rationals(Group::tiff, tag::xResolution, {{300, 1}})
                                 .rationals(Group::tiff, tag::yResolution, {{300, 1}});
    EXPECT_EQ(unit(bare), 2);
    EXPECT_EQ(unit(EXIFBuilder(bare).number(Group::tiff, tag::resolutionUnit, 3)), 3);
    EXPECT_EQ(unit(EXIFBuilder()
                       .rationals(Group::tiff, tag::xResolution, {{300, 0}})
                       .rationals(Group::tiff, tag::yResolution, {{300, 1}})),
              0);
}

TEST(IPTC, countsDatasetsInPhotoshopResources)
{
    Bytes iim{0x1C, 2, 80, 0, 4, 'J', 'a', 'n', 'e'};          // By-line
    append(iim, Bytes{0x1C, 2, 25, 0, 1, 'a'});                // Keyword
    append(iim, Bytes{0x1C, 2, 25, 0x80, 4, 0, 0, 0, 1, 'b'}); // Keyword, with a long length
    append(iim, Bytes{0x1C, 2, 120, 0xFF, 0xFF, 'x'});         // A length past the end
    Bytes resources;
    append(resources, std::string_view("8BIM\x03\xED\3abc", 10)); // A named resource of no bytes
    append(resources, Bytes{0, 0, 0, 0});
    append(resources, std::string_view("8BIM\x04\x04\0\0", 8));
    append32(resources, static_cast<std::uint32_t>(iim.size()), ByteOrder::big);
    append(resources, iim);
    Properties properties;
    readPhotoshopResources(resources, properties);
    EXPECT_EQ(properties.count(Group::iptc), 2U);
    EXPECT_EQ(properties.text(Group::iptc, 2 << 8 | 80), "Jane");
    for (std::size_t length = 0; length < resources.size(); ++length) {
        Properties cut;
        readPhotoshopResources(std::span(resources).first(length), cut);
        EXPECT_LE(cut.count(Group::iptc), 2U);
    }
}

} // namespace
} // namespace nullprint::tests
