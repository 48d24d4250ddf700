#include "engine/image/HEIFProperties.h"

#include "engine/image/CodedPicture.h"
#include "engine/image/DecoderConfiguration.h"
#include "engine/image/ICC.h"
#include "engine/image/JPEG2000.h"

#include <algorithm>
#include <string>

namespace nullprint::image {
namespace {

// Of a box whose fields take so many bytes.
template <std::uint64_t Length> Result<Done> bytes(ByteCursor& cursor)
{
    NP_TRY(cursor.skip(Length));
    return Done{};
}

// 6.5.6: for each channel its bits. What a flag says to be behind them, among it names, is for
// channels that a coding does not know, and goes with the flag.
Result<Done> pixelBits(ByteCursor& cursor)
{
    const std::uint8_t channels = NP_TRY(cursor.u8());
    NP_TRY(cursor.skip(channels));
    return Done{};
}

// 14496-12, 12.1.8: primaries and three luminances, as bits say.
Result<Done> colourVolume(ByteCursor& cursor)
{
    constexpr std::uint64_t primariesBytes = 24;
    const std::uint8_t present = NP_TRY(cursor.u8());
    if ((present & 0x20) != 0)
        NP_TRY(cursor.skip(primariesBytes));
    for (const unsigned luminance : {0x10U, 0x08U, 0x04U}) {
        if ((present & luminance) != 0)
            NP_TRY(cursor.skip(4));
    }
    return Done{};
}

// AV1 Image File Format, 2.3.3: three sizes in 16 or 32 bits.
Result<Done> layerSizes(ByteCursor& cursor)
{
    const bool isLarge = (NP_TRY(cursor.u8()) & 1) != 0;
    NP_TRY(cursor.skip(isLarge ? 12 : 6));
    return Done{};
}

// 23001-17, 5.2: the profile, the components, and how the samples lie.
Result<Done> samplesLayout(ByteCursor& cursor)
{
    constexpr std::uint64_t componentBytes = 5;
    constexpr std::uint64_t layoutBytes = 24;
    NP_TRY(cursor.skip(4));
    const std::uint32_t components = NP_TRY(cursor.u32());
    NP_TRY(cursor.skip(componentBytes * components));
    NP_TRY(cursor.skip(layoutBytes));
    return Done{};
}

// 23001-17, 5.1. A type that only a name tells is a text, without which the type means nothing.
Result<Done> componentTypes(ByteCursor& cursor)
{
    const std::uint32_t count = NP_TRY(cursor.u32());
    for (std::uint32_t index = 0; index < count; ++index) {
        if ((NP_TRY(cursor.u16()) & 0x8000) != 0)
            return cursor.fail("component of a type with a name");
    }
    return Done{};
}

// 23001-17, Amendment 2: the places and sizes of compressed units, in bytes as codes say.
Result<Done> compressedUnits(ByteCursor& cursor)
{
    constexpr std::array offsetBytes{0U, 2U, 3U, 4U, 8U};
    constexpr std::array sizeBytes{1U, 2U, 3U, 4U, 8U};
    const std::uint8_t codes = NP_TRY(cursor.u8());
    const unsigned offsetCode = codes >> 5;
    const unsigned sizeCode = codes >> 2 & 7;
    if (offsetCode >= offsetBytes.size() || sizeCode >= sizeBytes.size())
        return cursor.fail("compressed units of unknown sizes");
    const std::uint64_t unitBytes = offsetBytes[offsetCode] + sizeBytes[sizeCode];
    const std::uint32_t units = NP_TRY(cursor.u32());
    NP_TRY(cursor.skip(unitBytes * units));
    return Done{};
}

// A pattern's width and height, and so many bytes for each of its places.
Result<Done> pattern(ByteCursor& cursor, std::uint64_t placeBytes)
{
    const std::uint64_t width = NP_TRY(cursor.u16());
    const std::uint64_t height = NP_TRY(cursor.u16());
    NP_TRY(cursor.skip(width * height * placeBytes));
    return Done{};
}

Result<Done> colourFilter(ByteCursor& cursor) // 23001-17, 6.1.3: components and their gain.
{
    return pattern(cursor, 8);
}

Result<Done> polarization(ByteCursor& cursor) // 23001-17, 6.1.4: components, then angles.
{
    const std::uint32_t components = NP_TRY(cursor.u32());
    NP_TRY(cursor.skip(std::uint64_t{4} * components));
    return pattern(cursor, 4);
}

using Fields = Result<Done> (*)(ByteCursor& cursor);

// The fields, without what stands behind them.
template <Fields Skip> Result<Bytes> cut(ByteSource& content)
{
    ByteCursor cursor(content);
    NP_TRY(Skip(cursor));
    return content.copyOf({0, cursor.position()});
}

// The same behind version 0 and flags, which mean nothing.
template <Fields Skip> Result<Bytes> cutFull(ByteSource& content)
{
    ByteCursor cursor(content);
    if (NP_TRY(cursor.u8()) != 0)
        return cursor.fail("property of another version");
    NP_TRY(cursor.skip(3));
    const std::uint64_t start = cursor.position();
    NP_TRY(Skip(cursor));
    Bytes out(4);
    append(out, NP_TRY(content.copyOf({start, cursor.position() - start})));
    return out;
}

// 23001-17, 5.2: of version 1 is a profile alone.
Result<Bytes> cleanLayout(ByteSource& content)
{
    ByteCursor cursor(content);
    if (NP_TRY(cursor.u8()) != 1)
        return cutFull<samplesLayout>(content);
    NP_TRY(cursor.skip(3));
    Bytes out{1, 0, 0, 0};
    append(out, NP_TRY(cursor.bytes(4)));
    return out;
}

// 23008-12, 6.5.8 with B.2.4.2 and E.2.4; ISO/IEC 23091-2. Depth maps, gain maps and mattes have
// other names.
constexpr std::array<std::string_view, 3> alphaNames{
    "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha",
    "urn:mpeg:hevc:2015:auxid:1",
    "urn:mpeg:avc:2015:auxid:1",
};

bool isAlphaName(std::string_view name)
{
    return std::ranges::find(alphaNames, name) != alphaNames.end();
}

// An "auxC" property: what the picture is to another one, and what the coding says more of that.
struct Auxiliary {
    std::string name;
    Bytes subtype;
};

Auxiliary readAuxiliary(ByteSource& content)
{
    constexpr std::uint64_t headBytes = 4;
    if (content.size() < headBytes)
        return {};
    const std::uint64_t length = std::min(content.size() - headBytes, limits::auxiliaryBytes);
    const auto raw = content.copyOf({headBytes, length});
    if (!raw.ok())
        return {};
    const std::string_view text = asText(raw.value());
    const std::size_t end = text.find('\0');
    if (end == text.npos)
        return {std::string(text), {}};
    return {std::string(text.substr(0, end)),
            Bytes(raw.value().begin() + static_cast<std::ptrdiff_t>(end) + 1, raw.value().end())};
}

// B.2.4.2: the length of what follows, and units that say how the alpha plane is meant.
Result<bool> holdsDisplaySEI(ByteSpan subtype)
{
    MemorySource source(subtype);
    ByteCursor cursor(source);
    const std::uint32_t all = NP_TRY(cursor.u32());
    if (all != cursor.remaining() || all == 0)
        return false;
    while (!cursor.atEnd()) {
        const std::uint32_t length = NP_TRY(cursor.u32());
        const Bytes unit = NP_TRY(cursor.bytes(length));
        if (!isDisplaySEI(unit))
            return false;
    }
    return true;
}

// A picture that is not alpha is not kept as such.
Result<Bytes> cleanAuxiliary(ByteSource& source)
{
    const Auxiliary auxiliary = readAuxiliary(source);
    if (!isAlphaName(auxiliary.name))
        return Bytes();
    Bytes content(4); // Version and flags.
    append(content, auxiliary.name);
    content.push_back(0);
    const auto isNeeded = holdsDisplaySEI(auxiliary.subtype);
    if (isNeeded.ok() && isNeeded.value())
        append(content, auxiliary.subtype);
    return content;
}

// 14496-12, 12.1.5: the colour types that say how to show; others are somebody's own. A profile
// has the size that it says it has.
Result<Bytes> cleanColour(ByteSource& content)
{
    constexpr std::uint64_t codedColoursBytes = 11;
    ByteCursor cursor(content);
    const std::uint32_t type = NP_TRY(cursor.u32());
    if (type == fourCC("nclx"))
        return cut<bytes<codedColoursBytes>>(content);
    const bool isProfile = type == fourCC("prof") || type == fourCC("rICC");
    const auto size = isProfile ? profileBytes(cursor) : std::nullopt;
    return size ? content.copyOf({0, cursor.position() + *size}) : Bytes();
}

struct PropertyRow {
    std::uint32_t type;
    Result<Bytes> (*clean)(ByteSource& content); // What a copy has of it; nullptr for nothing.
};

// What a decoder or a viewer needs, and what is known to be for people and other programs. A
// property that is not named here is not written either, nor is a picture that depends on it.
constexpr std::array properties{
    PropertyRow{fourCC("hvcC"), cleanHEVCConfiguration},   // B.2.3.1
    PropertyRow{fourCC("avcC"), cleanAVCConfiguration},    // E.2.3.1
    PropertyRow{fourCC("vvcC"), cleanVVCConfiguration},    // L.2.3.1
    PropertyRow{fourCC("av1C"), cleanAV1Configuration},    // AV1 Image File Format, 2.2.1
    PropertyRow{fourCC("j2kH"), cleanJ2KHeader},           // ISO/IEC 15444-16, 6.5
    PropertyRow{fourCC("uncC"), cleanLayout},              // ISO/IEC 23001-17, 5.2
    PropertyRow{fourCC("cmpd"), cut<componentTypes>},      // ISO/IEC 23001-17, 5.1
    PropertyRow{fourCC("cmpC"), cutFull<bytes<5>>},        // ISO/IEC 23001-17, Amendment 2
    PropertyRow{fourCC("icef"), cutFull<compressedUnits>}, // ISO/IEC 23001-17, Amendment 2
    PropertyRow{fourCC("cpat"), cutFull<colourFilter>},    // ISO/IEC 23001-17, 6.1.3
    PropertyRow{fourCC("splz"), cutFull<polarization>},    // ISO/IEC 23001-17, 6.1.4
    PropertyRow{fourCC("cloc"), cutFull<bytes<1>>},        // ISO/IEC 23001-17, 6.1.7
    PropertyRow{fourCC("ispe"), cutFull<bytes<8>>},        // 6.5.3
    PropertyRow{fourCC("pasp"), cut<bytes<8>>},            // 6.5.4
    PropertyRow{fourCC("colr"), cleanColour},              // 6.5.5
    PropertyRow{fourCC("pixi"), cutFull<pixelBits>},       // 6.5.6
    PropertyRow{fourCC("rloc"), cutFull<bytes<8>>},        // 6.5.7
    PropertyRow{fourCC("auxC"), cleanAuxiliary},           // 6.5.8
    PropertyRow{fourCC("clap"), cut<bytes<32>>},           // 6.5.9
    PropertyRow{fourCC("irot"), cut<bytes<1>>},            // 6.5.10
    PropertyRow{fourCC("lsel"), cut<bytes<2>>},            // 6.5.11
    PropertyRow{fourCC("imir"), cut<bytes<1>>},            // 6.5.12
    PropertyRow{fourCC("a1op"), cut<bytes<1>>},            // AV1 Image File Format, 2.3.2
    PropertyRow{fourCC("a1lx"), cut<layerSizes>},          // AV1 Image File Format, 2.3.3
    PropertyRow{fourCC("clli"), cut<bytes<4>>},            // ISO/IEC 14496-12, 12.1.6
    PropertyRow{fourCC("mdcv"), cut<bytes<24>>},           // ISO/IEC 14496-12, 12.1.7
    PropertyRow{fourCC("cclv"), cut<colourVolume>},        // ISO/IEC 14496-12, 12.1.8
    PropertyRow{fourCC("amve"), cut<bytes<8>>},            // ISO/IEC 14496-12, 12.1.9
    PropertyRow{fourCC("udes"), nullptr},                  // 6.5.20
    PropertyRow{fourCC("altt"), nullptr},                  // 6.5.21
    PropertyRow{fourCC("crtt"), nullptr},                  // 6.5.18
    PropertyRow{fourCC("mdft"), nullptr},                  // 6.5.19
    PropertyRow{fourCC("cmin"), nullptr},                  // A camera's lens and place
    PropertyRow{fourCC("cmex"), nullptr},
};

} // namespace

bool isAlphaProperty(ByteSource& source, const Box& property)
{
    PartSource content(source, property.content);
    return isAlphaName(readAuxiliary(content).name);
}

Result<Bytes> freshContent(ByteSource& source, const Box& property)
{
    const auto* row = std::ranges::find(properties, property.type, &PropertyRow::type);
    if (row == properties.end() || row->clean == nullptr)
        return Bytes();
    PartSource content(source, property.content);
    return row->clean(content);
}

PropertyFate fateOf(ByteSource& source, const Box& property, bool isEssential)
{
    const auto* row = std::ranges::find(properties, property.type, &PropertyRow::type);
    if (row == properties.end())
        return isEssential ? PropertyFate::unclear : PropertyFate::dropped;
    const auto fresh = freshContent(source, property);
    if (!fresh.ok())
        return PropertyFate::unclear;
    return fresh.value().empty() ? PropertyFate::dropped : PropertyFate::kept;
}

} // namespace nullprint::image
