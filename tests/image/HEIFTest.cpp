#include "tests/support/Pictures.h"

#include "engine/image/HEIF.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/HEIFBuilder.h"
#include "tests/support/ProfileBuilder.h"

#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace image;
using namespace heif;

const Bytes alphaName = auxiliary("urn:mpeg:hevc:2015:auxid:1");
const Bytes grid{0, 0, 0, 1, 0, 64, 0, 48}; // One row, two columns.

// Primary 1 is a grid of 2 and 3 with the alpha plane 4; 5 is its thumbnail, a grid of 6; then
// depth, gain map, Exif, XMP and something unknown.
HEIFBuilder kitchenSink()
{
    HEIFBuilder built;
    const unsigned coding = built.essential("hvcC", hevcConfiguration());
    const unsigned size = built.property("ispe", imageSize(64, 48));
    const unsigned turn = built.essential("irot", Bytes{3});
    const unsigned alpha = built.essential("auxC", alphaName);
    const unsigned depth =
        built.property("auxC", auxiliary("urn:mpeg:hevc:2015:auxid:2", alphaName));
    const unsigned note = built.property("udes", bytesOf("\0\0\0\0en\0secret\0"));
    const unsigned own = built.property("uuid", bytesOf("0123456789abcdefsecret"));
    const std::vector<unsigned> coded{coding, size, note, own};
    built.items = {
        {.id = 1, .type = "grid", .data = grid, .properties = {size, turn, note}, .in = In::idat},
        {.id = 2, .type = "hvc1", .data = unit(20, "left"), .properties = coded, .isHidden = true},
        {.id = 3, .type = "hvc1", .data = unit(20, "right"), .properties = coded, .isHidden = true},
        {.id = 4, .type = "hvc1", .data = unit(20, "alpha"), .properties = {coding, size, alpha}},
        {.id = 5, .type = "grid", .data = grid, .properties = {size}, .in = In::idat},
        {.id = 6, .type = "hvc1", .data = unit(20, "secret thumbnail"), .properties = coded},
        {.id = 7, .type = "hvc1", .data = unit(20, "secret depth"), .properties = {coding, depth}},
        {.id = 8, .type = "Exif", .data = exifItem(0), .isHidden = true},
        {.id = 9, .type = "mime", .data = bytesOf("<x:xmpmeta>secret</x:xmpmeta>")},
        {.id = 10, .type = "what", .data = bytesOf("secret unknown")},
    };
    built.references = {{"dimg", 1, {2, 3}},
                        {"auxl", 4, {1}},
                        {"thmb", 5, {1}},
                        {"dimg", 5, {6, 6}},
                        {"auxl", 7, {1}},
                        {"cdsc", 8, {1}},
                        {"cdsc", 9, {1}}};
    built.before = box("free", "secret");
    built.after = box("mpvd", "secret movie");
    return built;
}

TEST(HEIF, keepsItsPromises)
{
    const Bytes picture = kitchenSink().build();
    expectClean(picture);
    const Bytes before = picture;
    const Bytes copy = mustClean(picture);
    EXPECT_EQ(picture, before);
    EXPECT_EQ(frameCount(picture), 1U);
    EXPECT_LT(copy.size(), picture.size());
    for (const std::string_view kept : {"left", "right", "alpha", "irot"})
        EXPECT_TRUE(holds(copy, kept)) << kept;
    for (const std::string_view gone :
         {"gap!", "thumbnail", "depth", "unknown", "auxid:2", "udes", "uuid", "movie", "free"})
        EXPECT_FALSE(holds(copy, gone)) << gone;
    expectSurvivesTruncation(picture);
    expectSurvivesMutation(picture, 2000);
}

TEST(HEIF, readsEveryWayToWriteTheTables)
{
    const Bytes plain = mustClean(kitchenSink().build());
    for (const unsigned fieldBytes : {4U, 8U}) {
        for (const unsigned mdatSizeBytes : {0U, 4U, 8U}) {
            HEIFBuilder built = kitchenSink();
            built.offsetBytes = built.lengthBytes = built.baseBytes = built.indexBytes = fieldBytes;
            built.mdatSizeBytes = mdatSizeBytes;
            built.hasWideIndex = true;
            built.isMetaLast = mdatSizeBytes != 0;
            if (mdatSizeBytes == 0)
                built.after.clear();
            const Bytes picture = built.build();
            expectClean(picture);
            EXPECT_EQ(mustClean(picture), plain);
        }
    }
    HEIFBuilder narrow = kitchenSink();
    narrow.isWide = true;
    narrow.locationVersion = 2;
    EXPECT_EQ(mustClean(narrow.build()), plain);
}

TEST(HEIF, readsLocationsOfVersion0)
{
    HEIFBuilder built = onePicture();
    built.locationVersion = 0;
    built.baseBytes = 4;
    built.items[0].extents = 3;
    expectClean(built.build());
    EXPECT_EQ(mustClean(built.build()), mustClean(onePicture().build()));
}

TEST(HEIF, keepsWideIdentifiers)
{
    HEIFBuilder built = onePicture();
    built.isWide = true;
    built.locationVersion = 2;
    built.primary = built.items[0].id = 0x12345;
    expectClean(built.build());
    EXPECT_TRUE(holds(mustClean(built.build()), std::string_view("\x00\x01\x23\x45", 4)));
}

TEST(HEIF, joinsExtents)
{
    HEIFBuilder built = kitchenSink();
    for (BuiltItem& item : built.items)
        item.extents = 4;
    const Bytes picture = built.build();
    expectClean(picture);
    EXPECT_EQ(mustClean(picture), mustClean(kitchenSink().build()));
    EXPECT_EQ(propertiesOf(picture).text(Group::tiff, tag::make), "secret");
}

TEST(HEIF, followsItemsThatAreMadeOfItems)
{
    HEIFBuilder built = onePicture();
    const Bytes pixels = built.items[0].data;
    built.items.push_back({.id = 2, .type = "what", .data = pixels});
    built.items[0].data.clear();
    built.items[0].in = In::item;
    built.indexBytes = 4;
    const auto half = static_cast<std::uint32_t>(pixels.size() / 2);
    built.items[0].places = {{0, half}, {half, 0}};
    built.references = {{"iloc", 1, {2}}};
    expectClean(built.build());
    EXPECT_EQ(mustClean(built.build()), mustClean(onePicture().build()));
}

TEST(HEIF, refusesItemsThatAreMadeOfThemselves)
{
    HEIFBuilder built = onePicture();
    built.items[0].in = In::item;
    built.items[0].places.assign(1000, {0, 0});
    built.items.push_back(built.items[0]);
    built.items[1].id = 2;
    built.references = {{"iloc", 1, {2}}, {"iloc", 2, {1}}};
    expectRefused(built);
}

TEST(HEIF, refusesWhatItCannotCarry)
{
    const auto with = [](auto change) {
        HEIFBuilder built = onePicture();
        change(built);
        expectRefused(built);
    };
    with([](HEIFBuilder& built) { built.items[0].protection = 1; });
    with([](HEIFBuilder& built) { built.items[0].dataReference = 1; });
    with([](HEIFBuilder& built) { built.items[0].isLocated = false; });
    with([](HEIFBuilder& built) { built.items[0].places = {{0, 0}}; });
    with([](HEIFBuilder& built) { built.items[0].places = {{0, 0x7FFFFFFF}}; });
    with([](HEIFBuilder& built) { built.items[0].properties.push_back(99); });
    with([](HEIFBuilder& built) { built.primary = 7; });
    with([](HEIFBuilder& built) { built.references = {{"pred", 1, {1}}}; });
    with([](HEIFBuilder& built) { built.references = {{"dimg", 1, {3}}}; });
    with([](HEIFBuilder& built) {
        built.after = box("mdat", "").size() ? Bytes{0, 0, 1, 0, 'm', 'd', 'a', 't'} : Bytes();
    });
}

TEST(HEIF, refusesPicturesWithPropertiesThatItDoesNotKnow)
{
    HEIFBuilder built = onePicture();
    const unsigned number = built.essential("iscl", Bytes(8));
    built.items[0].properties.push_back(number);
    expectRefused(built);
    built.items[0].properties.back() = number & 0x7FFF; // Nobody has to know it.
    expectClean(built.build());

    HEIFBuilder described = onePicture();
    described.items[0].properties.push_back(described.essential("udes", bytesOf("secret")));
    expectClean(described.build());
}

TEST(HEIF, refusesTablesThatCanBeReadInTwoWays)
{
    for (const std::string_view again : {"pitm", "iinf", "iloc", "iprp", "idat", "hdlr", "iref"}) {
        HEIFBuilder built = kitchenSink();
        built.moreMeta = box(again, Bytes(8));
        expectRefused(built);
    }
    HEIFBuilder twice = onePicture();
    twice.items.push_back(twice.items[0]);
    expectRefused(twice);
}

TEST(HEIF, refusesPicturesThatReachIntoMetadata)
{
    HEIFBuilder built = onePicture();
    built.items.push_back({.id = 2, .type = "Exif", .data = exifItem(0)});
    built.items[0].places = {{0, 30}};
    expectRefused(built);
    built.items[0].places = {{0, static_cast<std::uint32_t>(built.items[0].data.size())}};
    expectClean(built.build());

    HEIFBuilder outside = onePicture();
    outside.offsetBytes = 8;
    outside.isMetaLast = true;
    outside.before = box("uuid", "0123456789abcdefsecret");
    outside.items[0].places = {{0xFFFFFFE8, 8}}; // Before the data, read as 32 bits.
    expectRefused(outside);
}

TEST(HEIF, refusesMoreThanTheFileHolds)
{
    HEIFBuilder built = onePicture();
    built.items[0].type = "unci"; // Whatever its bytes are, they are a picture's.
    built.items[0].data = unit(20, std::string(300, 'x'));
    expectPromises(built.build());
    for (std::uint32_t id = 2; id < 5000; ++id) {
        built.items.push_back(built.items[0]);
        built.items.back().id = id;
        built.items.back().data.clear();
        built.items.back().places = {{id % 97, 100 + id % 83}};
    }
    expectRefused(built);
}

TEST(HEIF, writesSharedDataOnce)
{
    HEIFBuilder built = onePicture();
    built.items[0].data = unit(20, std::string(400000, 'x'));
    for (std::uint32_t id = 2; id < 20; ++id) {
        built.items.push_back(built.items[0]);
        built.items.back().id = id;
        built.items.back().data.clear();
        built.items.back().places = {{0, 400006}};
    }
    const Bytes picture = built.build();
    expectPromises(picture);
    EXPECT_LT(mustClean(picture).size(), picture.size());
}

TEST(HEIF, copiesWhatIsShownAndHidesTheRest)
{
    HEIFBuilder built = onePicture();
    const auto add = [&](std::uint32_t id, std::string_view data, bool isHidden) {
        built.items.push_back(built.items[0]);
        built.items.back().id = id;
        built.items.back().data = unit(20, data);
        built.items.back().isHidden = isHidden;
    };
    add(2, "second", false);
    add(3, "secret hidden", true);
    built.items[0].isHidden = true; // The primary picture is shown all the same.
    const Bytes picture = built.build();
    expectClean(picture);
    EXPECT_EQ(frameCount(picture), 2U);
    EXPECT_TRUE(holds(mustClean(picture), "second"));
}

TEST(HEIF, refusesToLoseAPictureOfAnUnknownType)
{
    HEIFBuilder built = onePicture();
    built.items.push_back(built.items[0]);
    built.items[1].id = 2;
    built.items[1].type = "new1";
    expectRefused(built);
    // Of what it is an alternative to, it may be the one with more bits.
    built.groups = {{"altr", 100, {2, 1}}};
    expectRefused(built);
    built.items[1].isHidden = true;
    expectClean(built.build());
    built.groups.clear();
    expectClean(built.build());
}

TEST(HEIF, refusesToLoseAPictureThatIsDerivedInAnUnknownWay)
{
    HEIFBuilder built = onePicture();
    built.items.push_back({.id = 2, .type = "sato", .data = bytesOf("secret sum")});
    built.references = {{"dimg", 2, {1, 1}}};
    built.groups = {{"altr", 100, {2, 1}}};
    expectRefused(built);
    built.items[1].isHidden = true;
    expectClean(built.build());
}

TEST(HEIF, keepsAlternativesAndPairs)
{
    HEIFBuilder built = onePicture();
    built.items.push_back(built.items[0]);
    built.items[1].id = 2;
    built.groups = {{"altr", 100, {2, 1}}, {"ster", 101, {1, 2}}, {"brst", 102, {1, 2}}};
    const Bytes copy = mustClean(built.build());
    EXPECT_TRUE(holds(copy, "altr"));
    EXPECT_TRUE(holds(copy, "ster"));
    EXPECT_FALSE(holds(copy, "brst"));
    expectClean(built.build());
}

TEST(HEIF, fallsBackToTheBaseOfAToneMappedPicture)
{
    HEIFBuilder built = onePicture();
    built.items[0].isHidden = true;
    built.items.push_back(built.items[0]);
    built.items[1].id = 2;
    built.items[1].data = unit(20, "secret gain map");
    built.items[1].isHidden = false;
    built.items.push_back({.id = 3, .type = "tmap", .data = bytesOf("secret curve")});
    built.references = {{"dimg", 3, {1, 2}}};
    built.groups = {{"altr", 100, {3, 1}}};
    built.brands.push_back("tmap");
    for (const std::uint32_t primary : {1U, 3U}) {
        built.primary = primary;
        const Bytes picture = built.build();
        expectClean(picture);
        EXPECT_EQ(frameCount(picture), 1U);
        EXPECT_FALSE(holds(mustClean(picture), "tmap"));
    }
}

TEST(HEIF, keepsOverlaysIdentitiesAndPremultiplication)
{
    HEIFBuilder built = onePicture();
    const unsigned size = 2;
    const unsigned alpha = built.property("auxC", alphaName);
    Bytes overlay(2 + 8 + 4 + 4);
    append(overlay, std::string_view("secret behind it"));
    built.items[0].isHidden = true;
    built.items.push_back({.id = 2, .type = "iden", .properties = {size}, .isLocated = false});
    built.items.push_back({.id = 3, .type = "iovl", .data = overlay, .properties = {size}});
    built.items.push_back(built.items[0]);
    built.items[3].id = 4;
    built.items[3].data = unit(20, "alpha of a part");
    built.items[3].properties.push_back(alpha);
    built.references = {{"dimg", 2, {1}}, {"dimg", 3, {1}}, {"auxl", 4, {1}}, {"prem", 1, {4}}};
    for (const std::uint32_t primary : {2U, 3U}) {
        built.primary = primary;
        const Bytes picture = built.build();
        expectClean(picture);
        EXPECT_EQ(frameCount(picture), 2U);
        EXPECT_TRUE(holds(mustClean(picture), "alpha of a part"));
        EXPECT_TRUE(holds(mustClean(picture), "prem"));
    }
    built.items[2].data.resize(10);
    expectRefused(built);
}

TEST(HEIF, aTileThatIsSaidToBeTheAlphaOfNothingIsNoPictureOfItsOwn)
{
    HEIFBuilder built = kitchenSink();
    built.references[0].to = {4, 3};
    built.references[1].to = {99};
    const Bytes picture = built.build();
    EXPECT_EQ(frameCount(mustClean(picture)), frameCount(picture));
    expectPromises(picture);
}

TEST(HEIF, keepsCodedColoursAndProfilesOnly)
{
    HEIFBuilder built = onePicture();
    const std::string profile = sampleProfile(200);
    const std::array colours{bytesOf("prof" + profile),
                             bytesOf("rICC" + profile + "secret"),
                             bytesOf("nclx1234567"),
                             bytesOf("profsecret"),
                             bytesOf("prof"),
                             bytesOf("scrtsecret")};
    for (const Bytes& colour : colours)
        built.items[0].properties.push_back(built.property("colr", colour));
    expectClean(built.build());
    EXPECT_TRUE(holds(mustClean(built.build()), "prof" + profile));
    EXPECT_TRUE(holds(mustClean(built.build()), "rICC" + profile));
    EXPECT_TRUE(holds(mustClean(built.build()), "nclx1234567"));
    built.items[0].properties.push_back(built.property("colr", bytesOf("nclx1234567secret")));
    expectClean(built.build());
    built.items[0].properties.push_back(built.property("colr", bytesOf("nclx12")));
    expectRefused(built);
}

TEST(HEIF, keepsHowAlphaIsMeant)
{
    HEIFBuilder built = onePicture();
    const Bytes meant = message(165, "1234");
    for (const unsigned type : {165U, 5U}) {
        HEIFBuilder each = built;
        const Bytes says = message(type, type == 5 ? "secret" : "1234");
        Bytes subtype;
        append32(subtype, static_cast<std::uint32_t>(says.size()), ByteOrder::big);
        append(subtype, says);
        each.items.push_back(each.items[0]);
        each.items[1].id = 2;
        each.items[1].properties.push_back(
            each.property("auxC", auxiliary("urn:mpeg:hevc:2015:auxid:1", subtype)));
        each.references = {{"auxl", 2, {1}}};
        expectClean(each.build());
        EXPECT_EQ(holds(mustClean(each.build()), asText(meant)), type == 165);
    }
}

TEST(HEIF, cleansJPEGItems)
{
    HEIFBuilder built;
    const Bytes exif = EXIFBuilder().text(Group::tiff, tag::make, "secret").block();
    built.items = {{.id = 1, .type = "jpeg", .data = jpegWithEXIF({exif}), .properties = {}}};
    built.brands = {"jpeg", "mif1", "jpeg"};
    expectClean(built.build());
    built.items[0].extents = 2;
    expectRefused(built);
    built.items[0].extents = 1;
    built.items[0].data.resize(20);
    expectRefused(built);
}

TEST(HEIF, findsTheExifOfThePrimaryPicture)
{
    const auto makeOf = [](const HEIFBuilder& built) {
        return propertiesOf(built.build()).text(Group::tiff, tag::make);
    };
    for (const auto& [offset, between] :
         std::vector<std::pair<std::uint32_t, std::string>>{{0, ""},
                                                            {6, {"Exif\0\0", 6}},
                                                            {0, {"Exif\0\0", 6}},
                                                            {6, ""},
                                                            {0xFFFFFFFF, ""},
                                                            {16, {"Exif\0\0skipped!!!", 16}}}) {
        HEIFBuilder built = onePicture();
        built.items.push_back({.id = 2, .type = "Exif", .data = exifItem(offset, between)});
        EXPECT_EQ(makeOf(built), "secret") << offset;
        built.items[1].in = In::idat;
        EXPECT_EQ(makeOf(built), "secret") << offset;
        expectClean(built.build());
    }
}

TEST(HEIF, prefersTheExifThatDescribesThePrimaryPicture)
{
    const auto exifOf = [](std::string_view make) {
        Bytes data(4);
        append(data, EXIFBuilder().text(Group::tiff, tag::make, make).structure());
        return data;
    };
    HEIFBuilder built = onePicture();
    built.items.push_back(built.items[0]);
    built.items[1].id = 2;
    built.items.push_back({.id = 3, .type = "Exif", .data = exifOf("another's")});
    built.items.push_back({.id = 4, .type = "Exif", .data = exifOf("nobody's")});
    built.items.push_back({.id = 5, .type = "Exif", .data = exifOf("its own")});
    built.references = {{"cdsc", 3, {2}}, {"cdsc", 5, {2, 1}}};
    const auto make = [&] { return propertiesOf(built.build()).text(Group::tiff, tag::make); };
    EXPECT_EQ(make(), "its own");
    built.items.pop_back();
    EXPECT_EQ(make(), "nobody's");
    built.items.pop_back();
    EXPECT_EQ(make(), "another's");
}

TEST(HEIF, tellsWhatStandsBeforeDamage)
{
    HEIFBuilder built = kitchenSink();
    built.isMetaLast = false;
    Bytes cut = built.build();
    cut.resize(cut.size() - built.after.size() - 1);
    EXPECT_EQ(propertiesOf(cut).text(Group::tiff, tag::make), "secret");
    EXPECT_FALSE(cleaned(cut).ok());
}

TEST(HEIF, dropsWhatStandsBehindTheLastBox)
{
    for (const std::string_view trailer : {"secret", "secret trailer of a camera", "\0\0\0"}) {
        HEIFBuilder built = onePicture();
        built.after = bytesOf(trailer);
        expectClean(built.build());
    }
}

TEST(HEIF, writesPicturesOnly)
{
    HEIFBuilder built = onePicture();
    built.before = box("moov", "secret movie");
    built.brands = {"heic", "hevc", "msf1", "mif1", "heic", "iso8", "secr"};
    expectClean(built.build());
    EXPECT_FALSE(holds(mustClean(built.build()), "msf1"));

    // Tracks alone: a picture that can be opened and cannot be written.
    Bytes tracks = box("ftyp", "msf10000hevc");
    append(tracks, box("moov", "a movie"));
    MemorySource source(tracks);
    EXPECT_TRUE(ImageSource::open(source).ok());
    EXPECT_FALSE(cleaned(tracks).ok());
}

// The picture beside the tracks is their cover: a copy of it would have lost the rest.
TEST(HEIF, refusesSequencesOfPictures)
{
    for (const std::string_view major : {"msf1", "hevc", "hevx", "avis", "avcs", "j2is", "vvis"}) {
        HEIFBuilder built = onePicture();
        built.brands.front() = major;
        expectClean(built.build()); // Without tracks it is a picture all the same.
        built.after = box("moov", "a movie");
        expectRefused(built);
        built.brands = {"mif1", "heic", major};
        expectClean(built.build());
    }
}

TEST(HEIF, tellsOfCaptions)
{
    HEIFBuilder built = onePicture();
    const Bytes city = bytesOf(std::string_view("\x1C\x02\x5A\x00\x06secret", 11));
    built.items.push_back({.id = 2, .type = "iptc", .data = city, .isHidden = true});
    EXPECT_EQ(propertiesOf(built.build()).text(Group::iptc, 2 * 256 + 90), "secret");
    EXPECT_EQ(bytesOfKind(built.build(), BlockKind::iptc), city);
    expectClean(built.build());
    built.items[1].extents = 2; // Put together before it is read.
    EXPECT_EQ(propertiesOf(built.build()).count(Group::iptc), 1U);
}

// Multiplied, what these tables count would take minutes.
TEST(HEIF, walksWhatAPictureIsMadeOfOnce)
{
    constexpr std::size_t many = 30000;
    std::vector<std::uint32_t> inputs(many);
    for (std::uint32_t index = 0; index < many; ++index)
        inputs[index] = 100 + index % 5000;
    for (const std::string_view side : {"thmb", "auxl"}) {
        HEIFBuilder built = onePicture();
        built.items.push_back(built.items[0]);
        built.items[1].id = 2;
        built.references.assign(many, {side, 2, {}});
        built.references.push_back({"dimg", 2, inputs});
        EXPECT_FALSE(mustClean(built.build()).empty());
        std::swap(built.references.front(), built.references.back());
        EXPECT_FALSE(mustClean(built.build()).empty());
    }
}

TEST(HEIF, isNotEveryFileOfBoxes)
{
    const auto opens = [](const Bytes& file) {
        MemorySource source(file);
        return ImageSource::open(source).ok();
    };
    HEIFBuilder built = onePicture();
    EXPECT_TRUE(opens(built.build()));
    built.brands = {"isom", "mp42"};
    EXPECT_FALSE(opens(built.build()));
    Bytes bare = box("ftyp", "heic0000mif1");
    append(bare,
           box("meta", box("hdlr", std::string_view("\0\0\0\0\0\0\0\0pict", 12)))); // No version.
    EXPECT_FALSE(opens(bare));
    EXPECT_FALSE(opens(box("ftyp", "heic0000mif1")));
}

} // namespace
} // namespace nullprint::tests
