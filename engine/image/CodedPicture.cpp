#include "engine/image/CodedPicture.h"

#include "engine/support/ByteCursor.h"

#include <algorithm>

namespace nullprint::image {
namespace {

// ITU-T H.264 and H.265, annex D, which give the two standards' messages one numbering.
constexpr std::array displayMessages{
    45U,  // Frame packing arrangement
    47U,  // Display orientation
    137U, // Mastering display colour volume
    144U, // Content light level
    147U, // Alternative transfer characteristics
    148U, // Ambient viewing environment
    149U, // Content colour volume
    150U, // Equirectangular projection
    151U, // Cubemap projection
    154U, // Sphere rotation
    155U, // Region-wise packing
    165U, // Alpha channel
};

// H.265, 7.4.2: the bytes without those that keep start codes from occurring.
Bytes withoutEmulation(ByteSpan unit)
{
    Bytes raw;
    unsigned zeros = 0;
    for (const Byte byte : unit) {
        const bool isGuard = zeros >= 2 && byte == 3;
        if (!isGuard)
            raw.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return raw;
}

// H.265, 7.3.5: a number in units of 255.
Result<std::uint64_t> readMessageNumber(ByteCursor& cursor)
{
    std::uint64_t number = 0;
    while (true) {
        const std::uint8_t byte = NP_TRY(cursor.u8());
        number += byte;
        if (byte != 0xFF)
            return number;
    }
}

Result<bool> hasOnlyDisplayMessages(ByteSpan payload)
{
    const Bytes raw = withoutEmulation(payload);
    MemorySource source(raw);
    ByteCursor cursor(source);
    while (cursor.remaining() > 1) { // The last byte is the stop bit's.
        const std::uint64_t type = NP_TRY(readMessageNumber(cursor));
        const std::uint64_t size = NP_TRY(readMessageNumber(cursor));
        NP_TRY(cursor.skip(size));
        if (std::ranges::find(displayMessages, type) == displayMessages.end())
            return false;
    }
    return cursor.peek() == std::optional<Byte>(0x80);
}

bool isDisplayPayload(ByteSpan payload)
{
    if (payload.size() > limits::messageBytes)
        return false;
    const auto only = hasOnlyDisplayMessages(payload);
    return only.ok() && only.value();
}

// The first and the last of some types that follow each other; none when the last is the lower.
struct TypeRange {
    unsigned first = 1;
    unsigned last = 0;
};
using TypeRanges = std::array<TypeRange, 3>;

// The types of units, of which decoders pass over those that are not named here: what is reserved,
// unspecified, padding, or only a mark between pictures.
struct UnitTypes {
    std::uint64_t headBytes;
    TypeRanges slices;
    TypeRanges parameters;
    TypeRange messages;
};

// H.264, table 7-1; H.265, table 7-1; H.266, table 5.
constexpr UnitTypes avcTypes{1,
                             {{{1, 5}, {14, 14}, {19, 21}}},
                             {{{7, 8}, {13, 13}, {15, 15}}},
                             {6, 6}};
constexpr UnitTypes hevcTypes{2, {{{0, 9}, {16, 21}}}, {{{32, 34}}}, {39, 40}};
constexpr UnitTypes vvcTypes{2, {{{0, 3}, {7, 10}, {19, 19}}}, {{{12, 18}}}, {23, 24}};

const UnitTypes& typesOf(UnitCoding coding)
{
    switch (coding) {
    case UnitCoding::avc:
        return avcTypes;
    case UnitCoding::hevc:
        return hevcTypes;
    case UnitCoding::vvc:
        break;
    }
    return vvcTypes;
}

bool isIn(const TypeRange& range, unsigned type)
{
    return type >= range.first && type <= range.last;
}

bool isIn(const TypeRanges& ranges, unsigned type)
{
    return std::ranges::any_of(ranges, [type](const TypeRange& each) { return isIn(each, type); });
}

// H.264, 7.3.1; H.265, 7.3.1.2; H.266, 7.3.1.2. Nothing for a unit that is not even a header.
std::optional<unsigned> typeOf(UnitCoding coding, ByteSource& source, ByteRange unit)
{
    const std::uint64_t headBytes = typesOf(coding).headBytes;
    if (unit.length < headBytes)
        return std::nullopt;
    const auto head = source.view(unit.offset, static_cast<std::size_t>(headBytes));
    if (!head.ok())
        return std::nullopt;
    switch (coding) {
    case UnitCoding::avc:
        return head.value()[0] & 0x1FU;
    case UnitCoding::hevc:
        return head.value()[0] >> 1 & 0x3FU;
    case UnitCoding::vvc:
        break;
    }
    return head.value()[1] >> 3U;
}

bool isDisplaySEI(ByteSource& source, ByteRange unit, std::uint64_t headBytes)
{
    if (unit.length <= headBytes || unit.length > limits::messageBytes)
        return false;
    const auto bytes = source.copyOf(unit);
    return bytes.ok() && isDisplayPayload(ByteSpan(bytes.value()).subspan(headBytes));
}

BlockKind kindOfUnit(UnitCoding coding, ByteSource& source, ByteRange unit)
{
    const UnitTypes& types = typesOf(coding);
    const std::optional<unsigned> type = typeOf(coding, source, unit);
    if (!type)
        return BlockKind::filler;
    if (isIn(types.messages, *type))
        return isDisplaySEI(source, unit, types.headBytes) ? BlockKind::pixels : BlockKind::text;
    return isIn(types.slices, *type) || isIn(types.parameters, *type) ? BlockKind::pixels
                                                                      : BlockKind::filler;
}

Result<std::uint64_t> readLength(ByteCursor& cursor, unsigned lengthBytes)
{
    std::uint64_t length = 0;
    for (unsigned index = 0; index < lengthBytes; ++index)
        length = length << 8 | NP_TRY(cursor.u8());
    return length;
}

// AV1, 4.10.5: seven bits a byte, the lowest first.
Result<std::uint64_t> readLEB128(ByteCursor& cursor)
{
    std::uint64_t value = 0;
    for (unsigned index = 0; index < 8; ++index) {
        const std::uint8_t byte = NP_TRY(cursor.u8());
        value |= static_cast<std::uint64_t>(byte & 0x7F) << (7 * index);
        if ((byte & 0x80) == 0)
            return value;
    }
    return cursor.fail("number of more than eight bytes");
}

// AV1, 6.2.2 and 6.7.1. Light levels, colour volumes and layers are kept of the metadata; time
// codes and the private types are not.
Result<BlockKind> kindOfOBU(unsigned type, ByteCursor payload)
{
    constexpr unsigned last = 8;
    if (type == 0 || type > last)
        return BlockKind::filler;
    if (type != obu::metadata)
        return BlockKind::pixels;
    const std::uint64_t what = NP_TRY(readLEB128(payload));
    return what >= 1 && what <= 3 ? BlockKind::pixels : BlockKind::text;
}

} // namespace

Result<OBU> readOBU(ByteCursor& cursor)
{
    const std::uint64_t start = cursor.position();
    const std::uint8_t head = NP_TRY(cursor.u8());
    if ((head & 0x80) != 0)
        return cursor.fail("OBU with its forbidden bit set");
    if ((head & 4) != 0)
        NP_TRY(cursor.skip(1));
    const std::uint64_t size = (head & 2) != 0 ? NP_TRY(readLEB128(cursor)) : cursor.remaining();
    const ByteCursor payload = NP_TRY(cursor.sub(size));
    const unsigned type = head >> 3 & 0xF;
    const BlockKind kind = NP_TRY(kindOfOBU(type, payload));
    return OBU{type, kind, {start, cursor.position() - start}};
}

bool isForConfiguration(UnitCoding coding, ByteSource& source, ByteRange unit)
{
    const UnitTypes& types = typesOf(coding);
    const std::optional<unsigned> type = typeOf(coding, source, unit);
    if (!type)
        return false;
    return isIn(types.parameters, *type) ||
           (isIn(types.messages, *type) && isDisplaySEI(source, unit, types.headBytes));
}

bool isDisplaySEI(ByteSpan unit)
{
    MemorySource source(unit);
    const std::optional<unsigned> type = typeOf(UnitCoding::hevc, source, {0, unit.size()});
    return type && isIn(hevcTypes.messages, *type) &&
           isDisplaySEI(source, {0, unit.size()}, hevcTypes.headBytes);
}

Result<Blocks> splitUnits(ByteSource& source, UnitCoding coding, unsigned lengthBytes)
{
    ByteCursor cursor(source);
    Blocks blocks;
    while (cursor.remaining() >= lengthBytes) {
        const std::uint64_t start = cursor.position();
        const std::uint64_t length = NP_TRY(readLength(cursor, lengthBytes));
        const ByteRange unit = NP_TRY(cursor.skip(length));
        NP_TRY(blocks.add(kindOfUnit(coding, source, unit), {start, unit.end() - start}));
    }
    // No unit begins there, so whoever shows the picture passes over it.
    NP_TRY(blocks.add(BlockKind::filler, cursor.rest()));
    return blocks;
}

Result<Blocks> splitAV1(ByteSource& source)
{
    ByteCursor cursor(source);
    Blocks blocks;
    while (!cursor.atEnd()) {
        const OBU unit = NP_TRY(readOBU(cursor));
        NP_TRY(blocks.add(unit.kind, unit.whole));
    }
    return blocks;
}

} // namespace nullprint::image
