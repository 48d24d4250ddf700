// The data of one item of an HEIF file, as if it stood in one piece.
#pragma once

#include "engine/image/CodedPicture.h"
#include "engine/image/HEIFItems.h"

#include <map>
#include <tuple>

namespace nullprint::image {

class ItemSource final : public ByteSource {
public:
    // The parts must lie within `whole`; both must outlive this.
    ItemSource(ByteSource& whole, const std::vector<ByteRange>& parts);

    std::uint64_t size() const override { return total; }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override;
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override;

    // Where a range of the data, which must lie within it, is in the whole source.
    std::vector<ByteRange> placesOf(ByteRange range) const;

private:
    ByteSource& whole;
    const std::vector<ByteRange>& parts;
    std::vector<std::uint64_t> starts; // Of the parts, in the data.
    std::uint64_t total = 0;
    Bytes joined; // A view across parts.
};

// The data of picture items, each run of it looked into once: items may share one, as the tiles of
// a clear sky often do.
class PictureData {
public:
    // What a run consists of, in its order and by its places in the file. Of the kinds that the
    // policy keeps is all that a decoder reads; a JPEG is split as one.
    struct Run {
        const Item* item; // The first that has it.
        std::vector<Block> blocks;
    };

    // Items of NAL units: the property and the place in it that say how long their lengths are.
    struct UnitRow {
        std::uint32_t type;
        UnitCoding coding;
        std::uint32_t configuration;
        std::uint64_t lengthPlace;
        unsigned lengthShift;
    };

    PictureData(ByteSource& source, const HEIFItems& items)
        : source(source)
        , items(items)
    {
    }

    // Yields the number of the item's run. Fails on a derivation that is cut short, on data that
    // does not consist of what its coding says, and on runs that overlap to more than the file.
    Result<std::size_t> add(const Item& item);

    const std::vector<Run>& runs() const { return all; }

private:
    // What decides how data is split: its type, its configuration or number of inputs, its places.
    using Key = std::tuple<bool,
                           std::uint32_t,
                           std::uint64_t,
                           std::vector<std::pair<std::uint64_t, std::uint64_t>>>;

    Key keyOf(const Item& item) const;
    Result<std::vector<Block>> split(const Item& item);
    Result<Blocks> splitData(ItemSource& data, const Item& item);
    Result<Blocks> splitLayers(ItemSource& data, const Item& item);
    Result<unsigned> lengthBytes(const Item& item, const UnitRow& row);

    ByteSource& source;
    const HEIFItems& items;
    std::map<Key, std::size_t> known;
    std::map<std::uint64_t, unsigned> lengths; // Of NAL units' lengths, by configuration.
    std::vector<Run> all;
    std::uint64_t totalBytes = 0;
    std::size_t totalBlocks = 0;
};

} // namespace nullprint::image
