// Files that ask for a little more than may be asked, one for each bound.
#include "engine/image/OutputPlan.h"
#include "engine/support/FileSource.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Folder.h"
#include "tests/support/HEIFBuilder.h"
#include "tests/support/PNGBuilder.h"
#include "tests/support/ProfileBuilder.h"
#include "tests/support/TIFFBuilder.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace nullprint::tests {
namespace {

using namespace image;

// Why there is no copy; empty when there is one.
std::string refusal(ByteSpan picture)
{
    const auto copy = cleaned(picture);
    return copy.ok() ? "" : copy.error().what;
}

bool isReadable(ByteSpan picture)
{
    MemorySource source(picture);
    return ImageSource::open(source).ok();
}

TEST(Limits, blocks)
{
    Blocks blocks;
    for (std::uint64_t place = 0; place < limits::blocks; ++place)
        ASSERT_TRUE(blocks.add(BlockKind::pixels, {2 * place, 1}).ok());
    EXPECT_TRUE(blocks.add(BlockKind::pixels, {2 * limits::blocks - 1, 1}).ok()); // One goes on.
    EXPECT_FALSE(blocks.add(BlockKind::text, {2 * limits::blocks, 1}).ok());
}

TEST(Limits, piecesOfACopy)
{
    Bytes original(2 * limits::blocks + 1);
    MemorySource source(original);
    OutputPlan plan;
    for (std::uint64_t place = 0; place < limits::blocks; ++place)
        plan.copy({2 * place, 1});
    OutputPlan whole;
    whole.append(plan, 0);
    MemorySink sink;
    EXPECT_TRUE(whole.writeTo(sink, source).ok());
    EXPECT_EQ(sink.content.size(), limits::blocks);
    plan.copy({2 * limits::blocks, 1});
    plan.write("more");
    plan.rewrite(2 * limits::blocks + 2, asBytes("s"));
    OutputPlan larger;
    larger.append(plan, 0);
    larger.write("more");
    for (const OutputPlan* tooMany : {&plan, &larger}) {
        MemorySink none;
        EXPECT_FALSE(tooMany->writeTo(none, source).ok());
        EXPECT_TRUE(none.content.empty());
    }
}

// A page of so many rows of a byte, one in a strip; all strips are the same byte.
TIFFBuilder tallPicture(std::uint64_t rows, std::uint64_t sampleBits = 8)
{
    TIFFBuilder tiff;
    const std::uint64_t place = tiff.data("1234567890123456");
    const std::vector<std::uint64_t> offsets(rows, place);
    const std::vector<std::uint64_t> lengths(rows, sampleBits / 8);
    tiff.shorts(256, {1}).longs(257, {rows}).shorts(258, {static_cast<std::uint16_t>(sampleBits)});
    tiff.shorts(259, {1}).shorts(262, {1}).longs(273, offsets);
    tiff.shorts(277, {1}).shorts(278, {1}).longs(279, lengths);
    return tiff;
}

TEST(Limits, stripsOfATIFF)
{
    // Offsets and lengths are counted together.
    TIFFBuilder most = tallPicture(limits::blocks / 2 - 16);
    most.page();
    EXPECT_EQ(refusal(most.file), "");
    TIFFBuilder tooMany = tallPicture(limits::blocks / 2 + 1);
    tooMany.page();
    EXPECT_EQ(refusal(tooMany.file), "too many strips");
    EXPECT_TRUE(isReadable(tooMany.file));
}

TEST(Limits, bitsOfASample)
{
    TIFFBuilder most = tallPicture(1, limits::sampleBits);
    most.page();
    EXPECT_EQ(refusal(most.file), "");
    TIFFBuilder tooMany = tallPicture(1, limits::sampleBits + 8);
    tooMany.page();
    EXPECT_EQ(refusal(tooMany.file), "page with an impossible sample size");
}

TEST(Limits, samplesWithoutASize)
{
    TIFFBuilder none = tallPicture(1, 0);
    none.page();
    EXPECT_EQ(refusal(none.file), "page with an impossible sample size");
    TIFFBuilder missing; // A sample has one bit where nothing else is said.
    const std::uint64_t place = missing.data("1");
    missing.shorts(256, {8}).shorts(257, {1}).shorts(262, {1}).longs(273, {place}).longs(279, {1});
    missing.page();
    EXPECT_EQ(refusal(missing.file), "");
    expectPromises(missing.file);
}

TEST(Limits, directoriesOfATIFF)
{
    TIFFBuilder tiff = tallPicture(1);
    tiff.page();
    for (std::size_t number = 1; number < limits::directories; ++number)
        tiff.page();
    EXPECT_EQ(refusal(tiff.file), "");
    tiff.page();
    EXPECT_EQ(refusal(tiff.file), "chain of directories without an end");
}

TEST(Limits, directoriesThatOverlap)
{
    // Three of a thousand fields, each of which begins at a field of the one before.
    constexpr std::uint16_t fields = 1000;
    constexpr std::uint32_t step = 12;
    TIFFBuilder tiff = tallPicture(1);
    tiff.page();
    tiff.leadTo(tiff.file.size());
    Bytes file = tiff.file;
    const auto start = static_cast<std::uint32_t>(file.size());
    file.resize(start + 2 + 12 * (fields + 2) + 4);
    const auto put = [&file](std::size_t place, ByteSpan bytes) {
        std::ranges::copy(bytes, file.begin() + static_cast<std::ptrdiff_t>(place));
    };
    for (std::uint32_t number = 0; number < 3; ++number) {
        Bytes count;
        Bytes next;
        append16(count, fields, ByteOrder::little);
        append32(next, number < 2 ? start + step * (number + 1) : 0, ByteOrder::little);
        put(start + step * number, count);
        put(start + step * number + 2 + 12 * fields, next);
    }
    EXPECT_EQ(refusal(file), "directories that overlap");
}

TEST(Limits, fieldsOfADirectory)
{
    for (const std::size_t fields : {limits::directoryFields, limits::directoryFields + 1}) {
        TIFFBuilder tiff(ByteOrder::little, true);
        const std::uint64_t place = tiff.data("1");
        tiff.shorts(256, {1}).shorts(257, {1}).shorts(258, {8}).longs(273, {place}).longs(279, {1});
        for (std::size_t number = 5; number < fields; ++number)
            tiff.shorts(65000, {1});
        tiff.page();
        EXPECT_EQ(refusal(tiff.file).empty(), fields == limits::directoryFields);
    }
}

TEST(Limits, textsAndNumbersThatAreToldOf)
{
    TIFFBuilder tiff = tallPicture(1);
    tiff.text(tag::artist, std::string(limits::textBytes, 'a') + "behind");
    tiff.rationals(tag::xResolution, std::vector<std::uint32_t>(2 * limits::listedNumbers, 1));
    tiff.rationals(tag::yResolution, std::vector<std::uint32_t>(2 * limits::listedNumbers + 2, 1));
    tiff.page();
    const Properties properties = propertiesOf(tiff.file);
    EXPECT_EQ(properties.text(Group::tiff, tag::artist), std::string(limits::textBytes, 'a'));
    EXPECT_EQ(properties.firstNumber(Group::tiff, tag::xResolution), 1);
    EXPECT_EQ(properties.firstNumber(Group::tiff, tag::yResolution), std::nullopt);
}

TEST(Limits, rawProfilesOfAPNG)
{
    const std::string structure(
        asText(EXIFBuilder().text(Group::tiff, tag::make, "m").structure()));
    constexpr std::string_view digits = "0123456789abcdef";
    std::string profile = "Raw profile type exif" + std::string(1, 0) + "\nexif\n" +
                          std::to_string(structure.size()) + "\n";
    for (const char letter : structure) {
        profile += digits[static_cast<Byte>(letter) >> 4];
        profile += digits[static_cast<Byte>(letter) & 15];
    }
    for (const std::size_t before : {limits::rawProfiles - 1, limits::rawProfiles}) {
        PNGBuilder png;
        for (std::size_t number = 0; number < before; ++number)
            png.chunk("tEXt", "Raw profile type other" + std::string(1, 0) + "\nother\n1\n00\n");
        const Bytes picture = png.chunk("tEXt", profile).pixels().end();
        EXPECT_EQ(propertiesOf(picture).count(Group::tiff), before < limits::rawProfiles ? 1U : 0U);
        EXPECT_EQ(mustClean(picture), PNGBuilder().pixels().end());
    }
}

TEST(Limits, anUnpackedProfile)
{
    // It says that it has 64 MiB and a byte, and is not unpacked to see.
    std::string head = sampleProfile(200);
    Bytes size;
    append32(size, static_cast<std::uint32_t>(limits::metadataBytes + 1), ByteOrder::big);
    head.replace(0, 4, asText(size));
    const std::string data = "icc" + std::string(2, 0) + deflated(head);
    EXPECT_EQ(mustClean(PNGBuilder().chunk("iCCP", data).pixels().end()),
              PNGBuilder().pixels().end());
}

// A file of two pieces with nothing but zeros between them, which take no room on the disk.
FileURL putFar(const Folder& folder, const Bytes& before, std::uint64_t zeros, const Bytes& behind)
{
    const FileURL url = folder.put("picture", before);
    std::filesystem::resize_file(url.path(), before.size() + zeros);
    std::ofstream(url.path(), std::ios::binary | std::ios::app)
        .write(asText(behind).data(), static_cast<std::streamsize>(behind.size()));
    return url;
}

Result<Bytes> cleanedFile(const FileURL& url)
{
    const auto file = NP_TRY(FileSource::open(url.path()));
    const auto source = NP_TRY(ImageSource::open(*file));
    MemorySink sink;
    NP_TRY(writeCleanImage(source, source.type(), sink));
    return std::move(sink.content);
}

TEST(Limits, aPieceOfMetadata)
{
    // Chunks of more than 64 MiB, of which nothing is read but their heads.
    for (const std::string_view type : {"tEXt", "eXIf", "iCCP"}) {
        Bytes before = PNGBuilder().withoutEnd();
        append32(before, limits::metadataBytes + 1, ByteOrder::big);
        append(before, type);
        append(before, std::string_view("Comment\0icc", 11));
        const Bytes small = PNGBuilder().pixels().end();
        Bytes behind(4);
        append(behind, ByteSpan(small).subspan(PNGBuilder().withoutEnd().size()));
        const Folder folder;
        const auto copy =
            cleanedFile(putFar(folder, before, limits::metadataBytes + 1 - 11, behind));
        ASSERT_TRUE(copy.ok()) << copy.error().what;
        EXPECT_EQ(copy.value(), small);
    }
}

using heif::box;
using heif::HEIFBuilder;
using heif::onePicture;

TEST(Limits, itemsOfAnHEIF)
{
    HEIFBuilder built = onePicture();
    built.isWide = true;
    Bytes entries;
    append32(entries, limits::items + 1, ByteOrder::big);
    for (std::uint32_t id = 1; id <= limits::items + 1; ++id) {
        Bytes entry;
        append32(entry, id, ByteOrder::big);
        append16(entry, 0, ByteOrder::big);
        append(entry, std::string_view("hvc1\0", 5));
        append(entries, heif::fullBox("infe", 3, 0, entry));
    }
    // The picture's own list of items makes way for this one.
    Bytes file = built.build();
    const std::size_t place = asText(file).find("iinf");
    ASSERT_NE(place, std::string_view::npos);
    file[place] = 'f';
    file[place + 1] = 'r';
    file[place + 2] = file[place + 3] = 'e';
    EXPECT_EQ(refusal(built.build()), "");
    built.moreMeta = heif::fullBox("iinf", 1, 0, entries);
    file = built.build();
    std::ranges::copy(asBytes("free"), file.begin() + static_cast<std::ptrdiff_t>(place));
    EXPECT_EQ(refusal(file), "too many items");
    EXPECT_FALSE(isReadable(file));
}

TEST(Limits, boxesOfAnHEIF)
{
    HEIFBuilder built = onePicture();
    const Bytes empty = box("free", "");
    built.after.reserve(limits::items * empty.size());
    for (std::size_t number = 3; number < limits::items; ++number) // ftyp, meta, mdat.
        append(built.after, empty);
    EXPECT_EQ(refusal(built.build()), "");
    append(built.after, empty);
    EXPECT_EQ(refusal(built.build()), "too many boxes");
    EXPECT_TRUE(isReadable(built.build()));
}

// The pixels, and items of the most extents that can be counted: so many all together.
HEIFBuilder withExtents(std::size_t count)
{
    constexpr std::size_t most = 65535;
    HEIFBuilder built = onePicture();
    for (std::uint32_t id = 2; count > 0; ++id) {
        const std::size_t step = std::min(count, most);
        built.items.push_back({.id = id, .type = "what"});
        built.items.back().places.assign(step, {0, 1});
        count -= step;
    }
    return built;
}

TEST(Limits, extentsOfAnHEIF)
{
    EXPECT_EQ(refusal(withExtents(limits::itemLinks - 1).build()), "");
    const Bytes tooMany = withExtents(limits::itemLinks).build();
    EXPECT_EQ(refusal(tooMany), "too many extents");
    EXPECT_FALSE(isReadable(tooMany));
}

TEST(Limits, referencesOfAnHEIF)
{
    HEIFBuilder built = onePicture();
    for (std::size_t number = 0; number < limits::itemLinks / 65535 + 1; ++number)
        built.references.push_back({"cdsc", 1, std::vector<std::uint32_t>(65535, 1)});
    EXPECT_EQ(refusal(built.build()), "too many links between items");
    EXPECT_FALSE(isReadable(built.build()));
}

TEST(Limits, blocksOfAnHEIF)
{
    // Every other unit is a message that goes.
    HEIFBuilder built = onePicture();
    Bytes pair = heif::unit(20, "x");
    append(pair, heif::unit(39, "y"));
    Bytes& data = built.items[0].data;
    data.clear();
    for (std::size_t number = 0; number < limits::itemLinks / 2; ++number)
        append(data, pair);
    EXPECT_EQ(refusal(built.build()), "");
    append(data, pair);
    EXPECT_EQ(refusal(built.build()), "too many blocks");
    EXPECT_TRUE(isReadable(built.build()));
}

TEST(Limits, tablesOfAnHEIF)
{
    // "meta" comes last and grows by a box of nothing, up to 64 MiB and beyond.
    HEIFBuilder built = onePicture();
    built.isMetaLast = true;
    const Bytes small = built.build();
    const std::size_t place = asText(small).find("meta") - 4;
    const std::uint64_t metaBytes = small.size() - place;
    for (const std::uint64_t size : {limits::metadataBytes, limits::metadataBytes + 1}) {
        Bytes file = small;
        Bytes length;
        append32(length, static_cast<std::uint32_t>(size), ByteOrder::big);
        std::ranges::copy(length, file.begin() + static_cast<std::ptrdiff_t>(place));
        append32(file, static_cast<std::uint32_t>(size - metaBytes), ByteOrder::big);
        append(file, "free");
        const Folder folder;
        const auto copy = cleanedFile(putFar(folder, file, size - metaBytes - 8, {}));
        EXPECT_EQ(copy.ok(), size == limits::metadataBytes);
        if (copy.ok())
            EXPECT_EQ(copy.value(), mustClean(onePicture().build()));
        else
            EXPECT_STREQ(copy.error().what, "tables longer than tables are");
    }
}

TEST(Limits, itemsThatAreMadeOfItems)
{
    for (const unsigned levels : {limits::itemNesting, limits::itemNesting + 1}) {
        HEIFBuilder built = onePicture();
        const Bytes pixels = built.items[0].data;
        built.items[0].data.clear();
        for (std::uint32_t id = 1; id <= levels; ++id) {
            built.items.back().in = heif::In::item;
            built.items.back().places = {{0, 0}};
            built.references.push_back({"iloc", id, {id + 1}});
            built.items.push_back({.id = id + 1, .type = "what"});
        }
        built.items.back().data = pixels;
        EXPECT_EQ(cleaned(built.build()).ok(), levels == limits::itemNesting) << levels;
    }
}

TEST(Limits, brandsOfAnHEIF)
{
    for (const std::size_t before : {limits::brands - 1, limits::brands}) {
        HEIFBuilder built = onePicture();
        built.brands.assign(1 + before, "what");
        built.brands.front() = "heic";
        built.brands.push_back("miaf");
        EXPECT_EQ(holds(mustClean(built.build()), "miaf"), before < limits::brands);
    }
}

TEST(Limits, metadataItemsOfAnHEIF)
{
    for (const std::size_t before : {limits::metadataItems - 1, limits::metadataItems}) {
        HEIFBuilder built = onePicture();
        for (std::uint32_t id = 2; id < 2 + before; ++id)
            built.items.push_back({.id = id, .type = "Exif", .data = Bytes(4)});
        const auto last = static_cast<std::uint32_t>(2 + before);
        built.items.push_back({.id = last, .type = "Exif", .data = heif::exifItem(0)});
        const bool isTold = propertiesOf(built.build()).count(Group::tiff) > 0;
        EXPECT_EQ(isTold, before < limits::metadataItems);
        EXPECT_FALSE(holds(mustClean(built.build()), "secret"));
    }
}

} // namespace
} // namespace nullprint::tests
