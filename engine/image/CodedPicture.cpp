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

BlockKind kindOfSEI(ByteSource& source, ByteRange unit, std::uint64_t headBytes)
{
    if (unit.length <= headBytes || unit.length > limits::messageBytes)
        return BlockKind::text;
    const auto bytes = source.copyOf(unit);
    if (!bytes.ok())
        return BlockKind::text;
    return isDisplayPayload(ByteSpan(bytes.value()).subspan(headBytes)) ? BlockKind::pixels
                                                                        : BlockKind::text;
}

// H.265, table 7-1. Decoders pass over what is reserved or unspecified.
BlockKind kindOfHEVCUnit(ByteSource& source, ByteRange unit, Byte head)
{
    const unsigned type = head >> 1 & 0x3F;
    if (type == 39 || type == 40)
        return kindOfSEI(source, unit, 2);
    return type <= 34 ? BlockKind::pixels : BlockKind::filler;
}

// H.264, table 7-1.
BlockKind kindOfAVCUnit(ByteSource& source, ByteRange unit, Byte head)
{
    const unsigned type = head & 0x1F;
    if (type == 6)
        return kindOfSEI(source, unit, 1);
    const bool isNeeded =
        (type >= 1 && type <= 8) || type == 13 || type == 15 || (type >= 19 && type <= 21);
    return isNeeded || type == 14 ? BlockKind::pixels : BlockKind::filler;
}

Result<std::uint64_t> readLength(ByteCursor& cursor, unsigned lengthBytes)
{
    std::uint64_t length = 0;
    for (unsigned index = 0; index < lengthBytes; ++index)
        length = length << 8 | NP_TRY(cursor.u8());
    return length;
}

template <typename KindOf>
Result<Blocks> splitUnits(ByteSource& source, unsigned lengthBytes, KindOf kindOf)
{
    ByteCursor cursor(source);
    Blocks blocks;
    while (!cursor.atEnd()) {
        const std::uint64_t start = cursor.position();
        const std::uint64_t length = NP_TRY(readLength(cursor, lengthBytes));
        const std::optional<Byte> head = cursor.peek();
        const ByteRange unit = NP_TRY(cursor.skip(length));
        const BlockKind kind = length > 0 && head ? kindOf(source, unit, *head) : BlockKind::filler;
        NP_TRY(blocks.add(kind, {start, unit.end() - start}));
    }
    return blocks;
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
    constexpr unsigned metadata = 5;
    constexpr unsigned last = 8;
    if (type == 0 || type > last)
        return BlockKind::filler;
    if (type != metadata)
        return BlockKind::pixels;
    const std::uint64_t what = NP_TRY(readLEB128(payload));
    return what >= 1 && what <= 3 ? BlockKind::pixels : BlockKind::text;
}

Result<Done> addOBU(ByteCursor& cursor, Blocks& blocks)
{
    const std::uint64_t start = cursor.position();
    const std::uint8_t head = NP_TRY(cursor.u8());
    if ((head & 0x80) != 0)
        return cursor.fail("OBU with its forbidden bit set");
    if ((head & 4) != 0)
        NP_TRY(cursor.skip(1));
    const std::uint64_t size = (head & 2) != 0 ? NP_TRY(readLEB128(cursor)) : cursor.remaining();
    const ByteCursor payload = NP_TRY(cursor.sub(size));
    const BlockKind kind = NP_TRY(kindOfOBU(head >> 3 & 0xF, payload));
    return blocks.add(kind, {start, cursor.position() - start});
}

// Copies the array's units that are needed. False when there is none.
Result<bool> copyArray(ByteSource& source, ByteCursor& cursor, Bytes& out)
{
    const std::uint8_t head = NP_TRY(cursor.u8());
    const std::uint16_t count = NP_TRY(cursor.u16());
    std::uint16_t kept = 0;
    Bytes units;
    for (std::uint16_t index = 0; index < count; ++index) {
        const std::uint16_t length = NP_TRY(cursor.u16());
        const std::optional<Byte> unitHead = cursor.peek();
        const ByteRange unit = NP_TRY(cursor.skip(length));
        if (length == 0 || kindOfHEVCUnit(source, unit, *unitHead) != BlockKind::pixels)
            continue;
        append16(units, length, ByteOrder::big);
        append(units, NP_TRY(source.copyOf(unit)));
        ++kept;
    }
    if (kept == 0)
        return false;
    out.push_back(head);
    append16(out, kept, ByteOrder::big);
    append(out, units);
    return true;
}

} // namespace

bool isDisplaySEI(ByteSpan unit)
{
    constexpr std::size_t headBytes = 2;
    const unsigned type = unit.empty() ? 0 : unit[0] >> 1 & 0x3F;
    return (type == 39 || type == 40) && unit.size() > headBytes &&
           isDisplayPayload(unit.subspan(headBytes));
}

Result<Blocks> splitHEVC(ByteSource& source, unsigned lengthBytes)
{
    return splitUnits(source, lengthBytes, kindOfHEVCUnit);
}

Result<Blocks> splitAVC(ByteSource& source, unsigned lengthBytes)
{
    return splitUnits(source, lengthBytes, kindOfAVCUnit);
}

Result<Blocks> splitAV1(ByteSource& source)
{
    ByteCursor cursor(source);
    Blocks blocks;
    while (!cursor.atEnd())
        NP_TRY(addOBU(cursor, blocks));
    return blocks;
}

Result<Bytes> cleanHEVCConfiguration(ByteSource& source)
{
    constexpr std::uint64_t fixedBytes = 22;
    ByteCursor cursor(source);
    Bytes out = NP_TRY(cursor.bytes(fixedBytes));
    const std::size_t countPlace = out.size();
    const std::uint8_t count = NP_TRY(cursor.u8());
    out.push_back(0);
    for (std::uint8_t index = 0; index < count; ++index) {
        if (NP_TRY(copyArray(source, cursor, out)))
            ++out[countPlace];
    }
    return out;
}

} // namespace nullprint::image
