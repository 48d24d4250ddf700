#include "fuzz/Samples.h"

#include "engine/image/HEIFData.h"
#include "engine/image/ImageFormats.h"
#include "engine/image/XMP.h"
#include "fuzz/Require.h"
#include "fuzz/StrictSource.h"

#include <algorithm>

namespace nullprint::fuzz {
namespace {

using namespace nullprint::image;

// What a decoder makes a picture of, samples first. Other blocks that are kept may be written anew,
// or be cut where what they hold has its end.
constexpr std::array decodedKinds{BlockKind::pixels,
                                  BlockKind::codingTables,
                                  BlockKind::transparency,
                                  BlockKind::palette};

// Longer than the marks that a report goes by, which a few numbers may spell.
constexpr std::array<std::string_view, 2> packetTexts{"xmpmeta xmlns:x=\"adobe:ns:meta/\"",
                                                      "http://ns.adobe.com/xap/1.0/"};

template <typename Each> Bytes bytesOf(BlockKind kind, const Each& blocks, ByteSpan file)
{
    Bytes bytes;
    for (const Block& block : blocks) {
        if (block.kind == kind)
            append(bytes, file.subspan(block.range.offset, block.range.length));
    }
    return bytes;
}

const ImageFormat& mustBePicture(ByteSource& source)
{
    const ImageFormat* format = formatOf(source);
    require(format != nullptr, "what is cleaned is of some format");
    return *format;
}

Blocks mustSplit(ByteSpan picture)
{
    StrictSource source(picture);
    auto blocks = mustBePicture(source).split(source);
    require(blocks.ok(), "what is cleaned can be split");
    return std::move(blocks).value();
}

class Items {
public:
    explicit Items(ByteSpan picture)
        : source(picture)
    {
        HEIFFile file;
        require(readHEIFFile(source, file).ok() && file.meta &&
                    readHEIFItems(source, *file.meta, items).ok(),
                "the items of what is cleaned can be read");
    }

    const std::vector<Item>& all() const { return items.items; }
    const std::vector<Box>& properties() const { return items.properties; }

    std::vector<Block> blocksOf(std::uint32_t id)
    {
        const Item* item = items.find(id);
        require(item != nullptr, "an item of a copy is one of its original");
        PictureData data(source, items);
        require(data.add(*item).ok(), "an item that is kept can be split");
        return data.runs().front().blocks;
    }

private:
    StrictSource source;
    HEIFItems items;
};

// Data of items may overlap, and stand in another order.
void checkItems(ByteSpan original, ByteSpan copy)
{
    Items before(original);
    Items after(copy);
    for (const Item& item : after.all()) {
        const auto blocks = before.blocksOf(item.id);
        const auto copied = after.blocksOf(item.id);
        for (const BlockKind kind : decodedKinds)
            require(bytesOf(kind, blocks, original) == bytesOf(kind, copied, copy),
                    "an item of a copy has the samples of its original");
    }
}

void checkFile(ByteSpan original, ByteSpan copy, std::span<const BlockKind> kinds)
{
    const Blocks before = mustSplit(original);
    const Blocks after = mustSplit(copy);
    for (const BlockKind kind : kinds)
        require(bytesOf(kind, before, original) == bytesOf(kind, after, copy),
                "a copy has the samples of its original");
}

} // namespace

void checkSamples(ByteSpan original, ByteSpan copy)
{
    StrictSource source(copy);
    switch (mustBePicture(source).type) {
    case ImageType::heif:
        return checkItems(original, copy);
    case ImageType::tiff: // The values of its fields have an order of their own, and may be shared.
        return checkFile(original, copy, std::span(decodedKinds).first(1));
    case ImageType::bmp: // The fourth byte of a colour becomes zero.
        return checkFile(original, copy, std::span(decodedKinds).first(decodedKinds.size() - 1));
    default:
        return checkFile(original, copy, decodedKinds);
    }
}

bool holdsPacket(ByteSpan picture)
{
    Bytes rest(picture.begin(), picture.end());
    const auto clear = [&rest](ByteRange range) {
        std::ranges::fill(std::span(rest).subspan(range.offset, range.length), 0);
    };
    MemorySource source(rest);
    const ImageType type = mustBePicture(source).type;
    for (const Block& block : mustSplit(picture)) {
        const bool isDecoded = std::ranges::find(decodedKinds, block.kind) != decodedKinds.end();
        const bool isNumbers =
            (type == ImageType::bmp && block.kind == BlockKind::structure) ||
            (type == ImageType::tiff && block.kind == BlockKind::colourTransform);
        if (isDecoded || isNumbers || block.kind == BlockKind::colourProfile)
            clear(block.range);
    }
    if (type == ImageType::heif) { // There profiles and what decoders need are in the tables.
        const Items items(picture);
        for (const Box& property : items.properties()) {
            if (property.type == fourCC("colr") || property.type == fourCC("hvcC") ||
                property.type == fourCC("avcC") || property.type == fourCC("vvcC") ||
                property.type == fourCC("av1C"))
                clear(property.content);
        }
    }
    return containsAny(source, packetTexts);
}

} // namespace nullprint::fuzz
