// The data of one item of an HEIF file, as if it stood in one piece.
#pragma once

#include "engine/image/Blocks.h"
#include "engine/image/HEIFItems.h"

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

// What the data of a picture item consists of, in its order and by its places in `source`. Of the
// kinds that the policy keeps is all that a decoder reads; a JPEG is split as one.
// Fails on a derivation that is cut short, and on a damaged JPEG.
Result<std::vector<Block>>
splitPictureData(ByteSource& source, const HEIFItems& items, const Item& item);

} // namespace nullprint::image
