// HEIF: boxes of size, type, content. A "meta" box lists items, most of whose data lies in "mdat".
// ISO/IEC 14496-12 (the boxes) and ISO/IEC 23008-12 (the pictures). Nothing is decoded.
#include "engine/image/HEIF.h"

#include "engine/image/EXIF.h"
#include "engine/image/HEIFCopy.h"

#include <algorithm>

namespace nullprint::image {
namespace {

constexpr std::array brands{
    fourCC("mif1"), fourCC("mif2"), fourCC("mif3"), fourCC("msf1"), fourCC("heic"), fourCC("heix"),
    fourCC("heim"), fourCC("heis"), fourCC("hevc"), fourCC("hevx"), fourCC("hevm"), fourCC("hevs"),
    fourCC("avif"), fourCC("avis"), fourCC("avci"), fourCC("avcs"), fourCC("jpeg"), fourCC("jpgs"),
    fourCC("j2ki"), fourCC("vvic"), fourCC("vvis"), fourCC("unif"), fourCC("1pic"), fourCC("miaf"),
};

bool isBrand(std::uint32_t brand)
{
    return std::ranges::find(brands, brand) != brands.end();
}

bool hasSignature(ByteSpan head)
{
    return head.size() >= 12 && asText(head.subspan(4)).starts_with("ftyp");
}

// 14496-12, 4.3.
Result<Done> checkBrands(ByteSource& source, ByteRange content)
{
    ByteCursor cursor(source, content);
    bool isKnown = isBrand(NP_TRY(cursor.u32()));
    NP_TRY(cursor.skip(4));
    while (!isKnown && cursor.remaining() >= 4)
        isKnown = isBrand(NP_TRY(cursor.u32()));
    return isKnown ? Result<Done>(Done{}) : cursor.fail("no brand of pictures");
}

// A file with tracks alone is a picture to a viewer, though not one that can be copied.
Result<Done> checkHeader(ByteSource& source)
{
    HEIFFile file;
    static_cast<void>(readHEIFFile(source, file).ok()); // A file cut in its data has its header.
    NP_TRY(checkBrands(source, file.brands));
    if (!file.meta)
        return file.hasTracks ? Result<Done>(Done{}) : Error{"HEIF without pictures"};
    const HEIFItems items = NP_TRY(readHEIFItems(source, *file.meta));
    const Item* primary = items.find(items.primary);
    const bool isPicture =
        primary != nullptr && (isPictureType(primary->type) || primary->type == fourCC("tmap"));
    return isPicture || file.hasTracks ? Result<Done>(Done{}) : Error{"HEIF without a picture"};
}

Result<HEIFItems> readItems(ByteSource& source, HEIFFile& file)
{
    NP_TRY(readHEIFFile(source, file));
    if (!file.meta)
        return Error{"HEIF without items"};
    return readHEIFItems(source, *file.meta);
}

Result<std::uint32_t> countFrames(ByteSource& source)
{
    HEIFFile file;
    const HEIFItems items = NP_TRY(readItems(source, file));
    const Selection selection = NP_TRY(selectPictures(source, items));
    return static_cast<std::uint32_t>(selection.shown.size());
}

// 23008-12, A.2.1: a 32-bit offset, from behind itself to the TIFF structure. Writers disagree on
// what they count, so the structure is looked for where they are known to put it.
void readEXIFItem(ByteSpan data, Properties& properties)
{
    MemorySource source(data);
    ByteCursor cursor(source);
    const auto offset = cursor.u32();
    if (!offset.ok())
        return;
    constexpr std::uint64_t head = 4;
    for (const std::uint64_t place : {head + offset.value(), head, head + 6, std::uint64_t{0}}) {
        if (place > data.size())
            continue;
        const ByteRange block{place, data.size() - place};
        ByteCursor start(source, block);
        const bool isMarked = start.startsWith("Exif");
        const bool isStructure =
            start.startsWith("II*") || start.startsWith(std::string_view("MM\0*", 4));
        if (isMarked || isStructure) {
            readEXIFBlock(source, block, properties);
            return;
        }
    }
}

Result<Bytes> dataOf(ByteSource& source, const Item& item)
{
    Bytes data;
    for (const ByteRange& range : item.data) {
        if (range.length > limits::metadataBytes - data.size())
            return Error{"metadata item too large", range.offset};
        append(data, NP_TRY(source.copyOf(range)));
    }
    return data;
}

// 23008-12, 6.4.1: a "cdsc" reference goes from metadata to the picture that it describes.
enum class About { shownPicture, nothing, another };

About subjectOf(const HEIFItems& items, const Item& item)
{
    About about = About::nothing;
    for (const Reference& reference : items.references) {
        if (reference.type != fourCC("cdsc") || reference.from != item.id)
            continue;
        if (std::ranges::find(reference.to, items.primary) != reference.to.end())
            return About::shownPicture;
        about = About::another;
    }
    return about;
}

// The Exif that describes the primary picture; where none says so, the Exif that describes nothing
// in particular, and then any: a file that is wired wrongly still gives it away.
Properties readProperties(ByteSource& source, std::uint32_t)
{
    Properties properties;
    HEIFFile file;
    static_cast<void>(readHEIFFile(source, file).ok()); // What stands before damage is told.
    if (!file.meta)
        return properties;
    const auto items = readHEIFItems(source, *file.meta);
    if (!items.ok())
        return properties;
    for (const About wanted : {About::shownPicture, About::nothing, About::another}) {
        bool found = false;
        for (const Item& item : items.value().items) {
            if (item.type != fourCC("Exif") || subjectOf(items.value(), item) != wanted)
                continue;
            const auto data = dataOf(source, item);
            if (data.ok())
                readEXIFItem(data.value(), properties);
            found = true;
        }
        if (found)
            return properties;
    }
    return properties;
}

Result<OutputPlan> planCleanCopy(ByteSource& source)
{
    HEIFFile file;
    const HEIFItems items = NP_TRY(readItems(source, file));
    return planHEIF(source, file, items);
}

BlockKind kindOf(const Item& item, const Selection& selection)
{
    if (selection.kept.contains(item.id))
        return BlockKind::pixels;
    if (isPictureType(item.type))
        return BlockKind::extraImage;
    if (item.type == fourCC("Exif"))
        return BlockKind::exif;
    return item.type == fourCC("mime") ? BlockKind::xmp : BlockKind::application;
}

// Adds a top-level box with the items in it; where items overlap, the first one counts.
Result<Done> addBox(const Box& box, std::span<const Block> parts, Blocks& blocks)
{
    const bool isStructure = box.type == fourCC("ftyp") || box.type == fourCC("meta");
    BlockKind around = BlockKind::unknown;
    if (isStructure) {
        around = BlockKind::structure;
    } else if (box.type == fourCC("mdat")) {
        around = BlockKind::filler;
    }
    std::uint64_t place = box.whole.offset;
    for (const Block& part : parts) {
        const std::uint64_t start = std::max(part.range.offset, place);
        const std::uint64_t end = std::min(part.range.end(), box.whole.end());
        if (isStructure || start >= end)
            continue;
        NP_TRY(blocks.add(around, {place, start - place}));
        NP_TRY(blocks.add(part.kind, {start, end - start}));
        place = end;
    }
    return blocks.add(around, {place, box.whole.end() - place});
}

} // namespace

Result<Blocks> splitHEIF(ByteSource& source)
{
    HEIFFile file;
    const HEIFItems items = NP_TRY(readItems(source, file));
    const Selection selection = NP_TRY(selectPictures(source, items));
    std::vector<Block> parts;
    for (const Item& item : items.items) {
        for (const ByteRange& range : item.data)
            parts.push_back({kindOf(item, selection), range});
    }
    std::ranges::stable_sort(parts, {}, [](const Block& part) { return part.range.offset; });
    Blocks blocks;
    for (const Box& box : file.boxes)
        NP_TRY(addBox(box, parts, blocks));
    return blocks;
}

constexpr ImageFormat heifFormat{
    .type = ImageType::heif,
    .name = "HEIF",
    .hasSignature = hasSignature,
    .checkHeader = checkHeader,
    .countFrames = countFrames,
    .readProperties = readProperties,
    .split = splitHEIF,
    .planCleanCopy = planCleanCopy,
};

} // namespace nullprint::image
