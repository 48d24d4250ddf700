// HEIF: boxes of size, type, content. A "meta" box lists items, most of whose data lies in "mdat".
// ISO/IEC 14496-12 (the boxes) and ISO/IEC 23008-12 (the pictures). Nothing is decoded.
#include "engine/image/HEIF.h"

#include "engine/image/EXIF.h"
#include "engine/image/HEIFData.h"
#include "engine/image/HEIFWriter.h"
#include "engine/image/IPTC.h"

#include <algorithm>

namespace nullprint::image {
namespace {

constexpr std::array pictureBrands{
    fourCC("mif1"),
    fourCC("mif2"),
    fourCC("mif3"),
    fourCC("heic"),
    fourCC("heix"),
    fourCC("heim"),
    fourCC("heis"),
    fourCC("avif"),
    fourCC("avci"),
    fourCC("jpeg"),
    fourCC("j2ki"),
    fourCC("vvic"),
    fourCC("unif"),
    fourCC("1pic"),
    fourCC("miaf"),
};

// Brands of pictures in a row, which are tracks.
constexpr std::array sequenceBrands{
    fourCC("msf1"),
    fourCC("hevc"),
    fourCC("hevx"),
    fourCC("hevm"),
    fourCC("hevs"),
    fourCC("avis"),
    fourCC("avcs"),
    fourCC("jpgs"),
    fourCC("j2is"),
    fourCC("vvis"),
    fourCC("vvcs"),
};

template <typename Range> bool isIn(const Range& range, std::uint32_t value)
{
    return std::ranges::find(range, value) != range.end();
}

bool isBrand(std::uint32_t brand)
{
    return isIn(pictureBrands, brand) || isIn(sequenceBrands, brand);
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
    if (file.hasTracks)
        return Done{};
    if (!file.meta)
        return Error{"HEIF without pictures"};
    HEIFItems items;
    NP_TRY(readHEIFItems(source, *file.meta, items));
    const Item* primary = items.find(items.primary);
    const bool isPicture =
        primary != nullptr && (isPictureType(primary->type) || primary->type == fourCC("tmap"));
    return isPicture ? Result<Done>(Done{}) : Error{"HEIF without a picture"};
}

// 23008-12, clause 10: what a file is, first of all, is its major brand. Of a sequence, the picture
// beside it is a cover, and a copy of that alone would lose the rest.
Result<Done> checkIsNoSequence(ByteSource& source, const HEIFFile& file)
{
    const std::uint32_t major = NP_TRY(ByteCursor(source, file.brands).u32());
    return file.hasTracks && isIn(sequenceBrands, major)
               ? Error{"a sequence of pictures", file.brands.offset}
               : Result<Done>(Done{});
}

// A file that has been read to its end and whose pictures are all there.
struct Contents {
    HEIFFile file;
    HEIFItems items;
    Selection selection;
};

Result<Contents> readContents(ByteSource& source)
{
    Contents contents;
    NP_TRY(readHEIFFile(source, contents.file));
    NP_TRY(checkIsNoSequence(source, contents.file));
    if (!contents.file.meta)
        return Error{"HEIF without items"};
    NP_TRY(readHEIFItems(source, *contents.file.meta, contents.items));
    contents.selection = NP_TRY(selectPictures(source, contents.items));
    return contents;
}

Result<std::uint32_t> countFrames(ByteSource& source)
{
    const Contents contents = NP_TRY(readContents(source));
    return static_cast<std::uint32_t>(contents.selection.shown.size());
}

// 23008-12, A.2.1: a 32-bit offset, from behind itself to the TIFF structure. Writers disagree on
// what they count, so the structure is looked for where they are known to put it.
void readEXIFItem(ByteSource& item, Properties& properties)
{
    ByteCursor cursor(item);
    const auto offset = cursor.u32();
    if (!offset.ok())
        return;
    constexpr std::uint64_t head = 4;
    for (const std::uint64_t place : {head + offset.value(), head, head + 6, std::uint64_t{0}}) {
        if (place > item.size())
            continue;
        const ByteRange block{place, item.size() - place};
        ByteCursor start(item, block);
        const bool isMarked = start.startsWith("Exif");
        const bool isStructure =
            start.startsWith("II*") || start.startsWith(std::string_view("MM\0*", 4));
        if (isMarked || isStructure) {
            readEXIFBlock(item, block, properties);
            return;
        }
    }
}

// 23008-12, 6.4.1: a "cdsc" reference goes from metadata to the picture that it describes. Lowest
// is what counts first.
enum class About : std::uint8_t { shownPicture, nothing, another };

About subjectOf(const HEIFItems& items, const Item& item)
{
    About about = About::nothing;
    for (const Reference& reference : items.referencesFrom(item.id)) {
        if (reference.type != fourCC("cdsc"))
            continue;
        if (std::ranges::find(reference.to, items.primary) != reference.to.end())
            return About::shownPicture;
        about = About::another;
    }
    return about;
}

// IIM datasets by themselves.
void readIPTCItem(ByteSource& item, Properties& properties)
{
    const auto stream = item.copyOf({0, item.size()});
    if (stream.ok())
        readIIM(stream.value(), properties);
}

// The items of a type that describe the primary picture; where none says so, those that describe
// nothing in particular, and then any: a file that is wired wrongly still gives them away.
std::vector<const Item*> metadataOf(const HEIFItems& items, std::uint32_t type)
{
    std::map<About, std::vector<const Item*>> found;
    for (const Item& item : items.items) {
        if (item.type == type)
            found[subjectOf(items, item)].push_back(&item);
    }
    if (found.empty())
        return {};
    std::vector<const Item*> first = std::move(found.begin()->second);
    first.resize(std::min(first.size(), limits::metadataItems));
    return first;
}

Properties readProperties(ByteSource& source, std::uint32_t)
{
    Properties properties;
    HEIFFile file;
    HEIFItems items;
    static_cast<void>(readHEIFFile(source, file).ok()); // What stands before damage is told.
    if (file.meta)
        static_cast<void>(readHEIFItems(source, *file.meta, items).ok());
    for (const Item* item : metadataOf(items, fourCC("Exif"))) {
        ItemSource data(source, item->data);
        readEXIFItem(data, properties);
    }
    for (const Item* item : metadataOf(items, fourCC("iptc"))) {
        ItemSource data(source, item->data);
        readIPTCItem(data, properties);
    }
    return properties;
}

Result<OutputPlan> planCleanCopy(ByteSource& source)
{
    const Contents contents = NP_TRY(readContents(source));
    NP_TRY(checkData(contents.file, contents.items, contents.selection));
    return planHEIF(source, contents.file, contents.items, contents.selection);
}

BlockKind kindOf(const Item& item)
{
    if (isPictureType(item.type))
        return BlockKind::extraImage;
    if (item.type == fourCC("Exif"))
        return BlockKind::exif;
    if (item.type == fourCC("iptc"))
        return BlockKind::iptc;
    return item.type == fourCC("mime") ? BlockKind::xmp : BlockKind::application;
}

void sortByPlace(std::vector<Block>& blocks)
{
    std::ranges::stable_sort(blocks, {}, [](const Block& block) { return block.range.offset; });
}

Result<std::vector<Block>> keptBlocks(ByteSource& source, const Contents& contents)
{
    PictureData data(source, contents.items);
    for (const std::uint32_t id : contents.selection.kept)
        NP_TRY(data.add(*contents.items.find(id)));
    std::vector<Block> kept;
    for (const PictureData::Run& run : data.runs())
        kept.insert(kept.end(), run.blocks.begin(), run.blocks.end());
    sortByPlace(kept);
    return kept;
}

std::vector<Block> otherBlocks(const Contents& contents)
{
    std::vector<Block> others;
    for (const Item& item : contents.items.items) {
        if (contents.selection.kept.contains(item.id))
            continue;
        for (const ByteRange& range : item.data)
            others.push_back({kindOf(item), range});
    }
    sortByPlace(others);
    return others;
}

BlockKind kindOf(const Box& box)
{
    switch (box.type) {
    case fourCC("ftyp"):
    case fourCC("meta"):
        return BlockKind::structure;
    case fourCC("mdat"):
    case fourCC("imda"):
    case fourCC("free"):
        return BlockKind::filler;
    default:
        return BlockKind::unknown;
    }
}

// Walks through blocks that are ordered by place and may overlap: the first one counts.
class Overlay {
public:
    explicit Overlay(std::vector<Block> blocks)
        : blocks(std::move(blocks))
    {
    }

    // The first block that does not end before `place`, which never goes back; nullptr for none.
    const Block* at(std::uint64_t place)
    {
        while (next < blocks.size() && blocks[next].range.end() <= place)
            ++next;
        return next < blocks.size() ? &blocks[next] : nullptr;
    }

private:
    std::vector<Block> blocks;
    std::size_t next = 0;
};

// The stretch from `place` on that is of one kind.
Block stretchAt(std::uint64_t place, Block around, std::initializer_list<const Block*> layers)
{
    Block stretch{around.kind, {place, around.range.end() - place}};
    for (const Block* layer : layers) {
        if (layer == nullptr)
            continue;
        if (layer->range.offset > place) {
            stretch.range.length = std::min(stretch.range.length, layer->range.offset - place);
            continue;
        }
        stretch.kind = layer->kind;
        stretch.range.length = std::min(stretch.range.length, layer->range.end() - place);
        break;
    }
    return stretch;
}

} // namespace

// Kept data lies over other items' data, and that over the boxes; "meta" is not taken apart.
Result<Blocks> splitHEIF(ByteSource& source)
{
    const Contents contents = NP_TRY(readContents(source));
    Overlay kept(NP_TRY(keptBlocks(source, contents)));
    Overlay others(otherBlocks(contents));
    Blocks blocks;
    for (const Box& box : contents.file.boxes) {
        const Block around{kindOf(box), box.whole};
        std::uint64_t place = box.whole.offset;
        while (place < box.whole.end()) {
            const bool isOpen = around.kind != BlockKind::structure;
            const Block stretch =
                isOpen ? stretchAt(place, around, {kept.at(place), others.at(place)}) : around;
            NP_TRY(blocks.add(stretch.kind, stretch.range));
            place = stretch.range.end();
        }
    }
    NP_TRY(blocks.add(BlockKind::trailer, contents.file.trailer));
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
