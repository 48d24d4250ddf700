#include "engine/image/HEIFData.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/JPEG.h"
#include "engine/image/JPEG2000.h"

#include <algorithm>

namespace nullprint::image {

ItemSource::ItemSource(ByteSource& whole, const std::vector<ByteRange>& parts)
    : whole(whole)
    , parts(parts)
{
    for (const ByteRange& part : parts) {
        starts.push_back(total);
        total += part.length;
    }
}

std::vector<ByteRange> ItemSource::placesOf(ByteRange range) const
{
    std::vector<ByteRange> places;
    const auto after = std::ranges::upper_bound(starts, range.offset);
    auto index = static_cast<std::size_t>(after - starts.begin());
    std::uint64_t at = range.offset;
    while (at < range.end()) {
        const ByteRange& part = parts[index - 1];
        const std::uint64_t within = at - starts[index - 1];
        const std::uint64_t take = std::min(part.length - within, range.end() - at);
        if (take > 0)
            places.push_back({part.offset + within, take});
        at += take;
        ++index;
    }
    return places;
}

Result<ByteSpan> ItemSource::view(std::uint64_t offset, std::size_t length)
{
    if (!holds({offset, length}))
        return Error{"bytes past the end of an item", offset};
    const std::vector<ByteRange> places = placesOf({offset, length});
    if (places.empty())
        return ByteSpan();
    if (places.size() == 1)
        return whole.view(places[0].offset, length);
    joined.resize(length);
    NP_TRY(read(offset, joined));
    return ByteSpan(joined);
}

Result<Done> ItemSource::read(std::uint64_t offset, std::span<Byte> target)
{
    if (!holds({offset, target.size()}))
        return Error{"bytes past the end of an item", offset};
    for (const ByteRange& place : placesOf({offset, target.size()})) {
        const auto length = static_cast<std::size_t>(place.length);
        NP_TRY(whole.read(place.offset, target.first(length)));
        target = target.subspan(length);
    }
    return Done{};
}

namespace {

// 23008-12, 6.6.2.3.2: a grid's version, flags, rows, columns, and its size in 16 or 32 bits.
// 6.6.2.2.2: an overlay's version, flags, background, size, and a place for each input.
Result<std::uint64_t> derivationBytes(ItemSource& data, const HEIFItems& items, const Item& item)
{
    if (item.type == fourCC("iden"))
        return std::uint64_t{0};
    ByteCursor cursor(data);
    NP_TRY(cursor.u8());
    const std::uint64_t numberBytes = (NP_TRY(cursor.u8()) & 1) != 0 ? 4 : 2;
    if (item.type == fourCC("grid"))
        return 4 + 2 * numberBytes;
    const Reference* inputs = items.inputsOf(item.id);
    const std::uint64_t count = inputs == nullptr ? 0 : inputs->to.size();
    return 10 + 2 * numberBytes + count * 2 * numberBytes;
}

Result<Blocks> splitDerivation(ItemSource& data, const HEIFItems& items, const Item& item)
{
    const std::uint64_t length = NP_TRY(derivationBytes(data, items, item));
    if (length > data.size())
        return Error{"a derivation that is cut short", item.id};
    Blocks blocks;
    NP_TRY(blocks.add(BlockKind::pixels, {0, length}));
    NP_TRY(blocks.add(BlockKind::filler, {length, data.size() - length}));
    return blocks;
}

bool isDerivation(std::uint32_t type)
{
    return type == fourCC("grid") || type == fourCC("iovl") || type == fourCC("iden");
}

constexpr std::array unitRows{
    PictureData::UnitRow{fourCC("hvc1"), UnitCoding::hevc, fourCC("hvcC"), 21, 0}, // 8.3.3.1
    PictureData::UnitRow{fourCC("avc1"), UnitCoding::avc, fourCC("avcC"), 4, 0},   // 5.3.3.1
    PictureData::UnitRow{fourCC("vvc1"), UnitCoding::vvc, fourCC("vvcC"), 4, 1},   // 11.2.4.2
};

} // namespace

// 14496-15: how long the lengths of NAL units are, from two bits of the decoder's configuration.
Result<unsigned> PictureData::lengthBytes(const Item& item, const UnitRow& row)
{
    const Box* configuration = items.property(item, row.configuration);
    if (configuration == nullptr || configuration->content.length <= row.lengthPlace)
        return Error{"a coded picture without its configuration", item.id};
    const std::uint64_t offset = configuration->content.offset + row.lengthPlace;
    const auto known = lengths.find(offset);
    if (known != lengths.end())
        return known->second;
    const ByteSpan byte = NP_TRY(source.view(offset, 1));
    const unsigned bytes = 1U + (unsigned{byte[0]} >> row.lengthShift & 3U);
    lengths.emplace(offset, bytes);
    return bytes;
}

// Where layers are told apart by their sizes, nothing of them can go.
Result<Blocks> PictureData::splitLayers(ItemSource& data, const Item& item)
{
    const Blocks units = NP_TRY(splitAV1(data));
    const bool isBound = items.property(item, fourCC("a1lx")) != nullptr;
    if (isBound && !std::ranges::all_of(units, isKept, &Block::kind))
        return Error{"layers with user data", item.id};
    return units;
}

Result<Blocks> PictureData::splitData(ItemSource& data, const Item& item)
{
    if (isDerivation(item.type))
        return splitDerivation(data, items, item);
    const auto* row = std::ranges::find(unitRows, item.type, &UnitRow::type);
    if (row != unitRows.end())
        return splitUnits(data, row->coding, NP_TRY(lengthBytes(item, *row)));
    switch (item.type) {
    case fourCC("jpeg"):
        // A search for markers would put many pieces together again and again.
        if (item.data.size() != 1)
            return Error{"a JPEG item in pieces", item.id};
        return splitJPEG(data);
    case fourCC("av01"):
        return splitLayers(data, item);
    case fourCC("j2k1"):
        return splitCodestream(data);
    default:
        break;
    }
    Blocks samples; // Uncompressed, or compressed by themselves.
    NP_TRY(samples.add(BlockKind::pixels, {0, data.size()}));
    return samples;
}

Result<std::vector<Block>> PictureData::split(const Item& item)
{
    ItemSource data(source, item.data);
    const Blocks blocks = NP_TRY(splitData(data, item));
    std::vector<Block> placed;
    for (const Block& block : blocks) {
        for (const ByteRange& place : data.placesOf(block.range))
            placed.push_back({block.kind, place});
    }
    return placed;
}

PictureData::Key PictureData::keyOf(const Item& item) const
{
    std::uint64_t variant = 0;
    for (const auto type : {fourCC("hvcC"), fourCC("avcC"), fourCC("vvcC"), fourCC("a1lx")}) {
        const Box* configuration = items.property(item, type);
        if (configuration != nullptr)
            variant = configuration->whole.offset;
    }
    const Reference* inputs = isDerivation(item.type) ? items.inputsOf(item.id) : nullptr;
    if (inputs != nullptr)
        variant = inputs->to.size();
    Key key{item.isInIdat, item.type, variant, {}};
    for (const ByteRange& range : item.data)
        std::get<3>(key).emplace_back(range.offset, range.length);
    return key;
}

Result<std::size_t> PictureData::add(const Item& item)
{
    const auto [place, isNew] = known.try_emplace(keyOf(item), all.size());
    if (!isNew)
        return place->second;
    for (const ByteRange& range : item.data)
        totalBytes += range.length; // Of limits::itemLinks ranges in a file at the most.
    if (totalBytes > source.size() + limits::windowBytes)
        return Error{"items that hold more than the file", item.id};
    all.push_back({&item, NP_TRY(split(item))});
    totalBlocks += all.back().blocks.size();
    if (totalBlocks > limits::itemLinks)
        return Error{"too many blocks", item.id};
    return place->second;
}

} // namespace nullprint::image
