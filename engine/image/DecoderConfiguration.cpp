#include "engine/image/DecoderConfiguration.h"

#include "engine/image/CodedPicture.h"

#include <algorithm>

namespace nullprint::image {
namespace {

// Units behind their lengths, and how many they are.
struct Units {
    std::uint16_t count = 0;
    Bytes bytes;
};

// Those of the next `count` units that a copy has.
Result<Units>
readUnits(ByteSource& content, ByteCursor& cursor, UnitCoding coding, std::uint16_t count)
{
    Units units;
    for (std::uint16_t index = 0; index < count; ++index) {
        const std::uint16_t length = NP_TRY(cursor.u16());
        const ByteRange unit = NP_TRY(cursor.skip(length));
        if (!isForConfiguration(coding, content, unit))
            continue;
        append16(units.bytes, length, ByteOrder::big);
        append(units.bytes, NP_TRY(content.copyOf(unit)));
        ++units.count;
    }
    return units;
}

// For AVC, which counts in the low bits of a byte whose others are reserved.
Result<Done> copyFewUnits(ByteSource& content, ByteCursor& cursor, unsigned reserved, Bytes& out)
{
    const std::uint8_t count = NP_TRY(cursor.u8()) & ~reserved & 0xFF;
    const Units units = NP_TRY(readUnits(content, cursor, UnitCoding::avc, count));
    out.push_back(static_cast<Byte>(reserved | units.count));
    append(out, units.bytes);
    return Done{};
}

// What the profiles after the first three have behind the rest: the sampling of the colours and
// the bits of samples, below reserved bits that are ones, and more parameters.
Result<Bytes> readExtension(ByteSource& content, ByteCursor& cursor)
{
    Bytes out = NP_TRY(cursor.bytes(3));
    const bool isExtension =
        (out[0] & 0xFC) == 0xFC && (out[1] & 0xF8) == 0xF8 && (out[2] & 0xF8) == 0xF8;
    if (!isExtension)
        return cursor.fail("no extension");
    NP_TRY(copyFewUnits(content, cursor, 0, out));
    return out;
}

// Arrays of HEVC and VVC, each of a type of units. Empty ones go.
Result<Done> copyArrays(ByteSource& content, ByteCursor& cursor, UnitCoding coding, Bytes& out)
{
    // Of these two units there is one each, so that it is not counted. H.266, table 5.
    constexpr std::array single{12U, 13U};
    const std::size_t countPlace = out.size();
    const std::uint8_t count = NP_TRY(cursor.u8());
    out.push_back(0);
    for (std::uint8_t index = 0; index < count; ++index) {
        const std::uint8_t head = NP_TRY(cursor.u8());
        const bool isCounted =
            coding != UnitCoding::vvc || std::ranges::find(single, head & 0x1FU) == single.end();
        const std::uint16_t unitCount =
            isCounted ? NP_TRY(cursor.u16()) : static_cast<std::uint16_t>(1);
        const Units units = NP_TRY(readUnits(content, cursor, coding, unitCount));
        if (units.count == 0)
            continue;
        out.push_back(head);
        if (isCounted)
            append16(out, units.count, ByteOrder::big);
        append(out, units.bytes);
        ++out[countPlace];
    }
    return Done{};
}

// 11.2.4.2.2: what a decoder must be able to do, for each of the layers in time.
Result<Done> skipLevels(ByteCursor& cursor, unsigned layers)
{
    const unsigned constraintBytes = NP_TRY(cursor.u8()) & 0x3F;
    if (constraintBytes == 0)
        return cursor.fail("VVC configuration without constraints");
    NP_TRY(cursor.skip(2 + constraintBytes)); // Profile and level before them.
    const unsigned present = layers > 1 ? NP_TRY(cursor.u8()) : 0U;
    for (unsigned layer = 1; layer < layers; ++layer) {
        if ((present >> (8 - layer) & 1) != 0)
            NP_TRY(cursor.skip(1));
    }
    const std::uint8_t subProfiles = NP_TRY(cursor.u8());
    NP_TRY(cursor.skip(std::uint64_t{4} * subProfiles));
    return Done{};
}

} // namespace

Result<Bytes> cleanAVCConfiguration(ByteSource& content)
{
    constexpr std::uint64_t fixedBytes = 5;
    constexpr std::array plainProfiles{66, 77, 88};
    ByteCursor cursor(content);
    Bytes out = NP_TRY(cursor.bytes(fixedBytes));
    NP_TRY(copyFewUnits(content, cursor, 0xE0, out));
    NP_TRY(copyFewUnits(content, cursor, 0, out));
    if (std::ranges::find(plainProfiles, out[1]) != plainProfiles.end())
        return out;
    const auto extension = readExtension(content, cursor); // Many writers leave it out.
    if (extension.ok())
        append(out, extension.value());
    return out;
}

Result<Bytes> cleanHEVCConfiguration(ByteSource& content)
{
    constexpr std::uint64_t fixedBytes = 22;
    ByteCursor cursor(content);
    Bytes out = NP_TRY(cursor.bytes(fixedBytes));
    NP_TRY(copyArrays(content, cursor, UnitCoding::hevc, out));
    return out;
}

Result<Bytes> cleanVVCConfiguration(ByteSource& content)
{
    constexpr std::uint64_t sizeAndRateBytes = 6;
    ByteCursor cursor(content);
    if (NP_TRY(cursor.u32()) != 0)
        return cursor.fail("VVC configuration of another version");
    const bool hasLevels = (NP_TRY(cursor.u8()) & 1) != 0;
    if (hasLevels) {
        const std::uint16_t word = NP_TRY(cursor.u16()); // A set, layers, rate and sampling.
        NP_TRY(cursor.skip(1));                          // The bits of samples.
        NP_TRY(skipLevels(cursor, word >> 4 & 7));
        NP_TRY(cursor.skip(sizeAndRateBytes));
    }
    Bytes out = NP_TRY(content.copyOf({0, cursor.position()}));
    NP_TRY(copyArrays(content, cursor, UnitCoding::vvc, out));
    return out;
}

Result<Bytes> cleanAV1Configuration(ByteSource& content)
{
    constexpr std::uint64_t fixedBytes = 4;
    ByteCursor cursor(content);
    Bytes out = NP_TRY(cursor.bytes(fixedBytes));
    while (!cursor.atEnd()) {
        const OBU unit = NP_TRY(readOBU(cursor));
        const bool belongs = unit.type == obu::sequenceHeader || unit.type == obu::metadata;
        if (belongs && unit.kind == BlockKind::pixels)
            append(out, NP_TRY(content.copyOf(unit.whole)));
    }
    return out;
}

} // namespace nullprint::image
