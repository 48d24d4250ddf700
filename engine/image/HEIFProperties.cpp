#include "engine/image/HEIFProperties.h"

#include "engine/image/CodedPicture.h"
#include "engine/image/ICC.h"

#include <algorithm>
#include <string>

namespace nullprint::image {
namespace {

struct PropertyRow {
    std::uint32_t type;
    PropertyFate fate;
    std::uint64_t contentBytes = 0; // 0 for a size that varies.
};

// What a decoder or a viewer needs, and what is known to be for people and other programs. A
// property that is not named here is not written either, nor is a picture that depends on it.
constexpr std::array properties{
    PropertyRow{fourCC("hvcC"), PropertyFate::kept},     // B.2.3.1
    PropertyRow{fourCC("avcC"), PropertyFate::kept},     // E.2.3.1
    PropertyRow{fourCC("vvcC"), PropertyFate::kept},     // L.2.3.1
    PropertyRow{fourCC("av1C"), PropertyFate::kept},     // AV1 Image File Format, 2.2.1
    PropertyRow{fourCC("j2kH"), PropertyFate::kept},     // ISO/IEC 15444-16, 6.5
    PropertyRow{fourCC("uncC"), PropertyFate::kept},     // ISO/IEC 23001-17, 5.2
    PropertyRow{fourCC("cmpd"), PropertyFate::kept},     // ISO/IEC 23001-17, 5.1
    PropertyRow{fourCC("cmpC"), PropertyFate::kept},     // ISO/IEC 23001-17, Amendment 2
    PropertyRow{fourCC("icef"), PropertyFate::kept},     // ISO/IEC 23001-17, Amendment 2
    PropertyRow{fourCC("cpat"), PropertyFate::kept},     // ISO/IEC 23001-17, 6.1.3
    PropertyRow{fourCC("splz"), PropertyFate::kept},     // ISO/IEC 23001-17, 6.1.4
    PropertyRow{fourCC("cloc"), PropertyFate::kept},     // ISO/IEC 23001-17, 6.1.7
    PropertyRow{fourCC("disi"), PropertyFate::kept},     // ISO/IEC 23001-17, 6.1.6
    PropertyRow{fourCC("ispe"), PropertyFate::kept, 12}, // 6.5.3
    PropertyRow{fourCC("pasp"), PropertyFate::kept, 8},  // 6.5.4
    PropertyRow{fourCC("colr"), PropertyFate::kept},     // 6.5.5
    PropertyRow{fourCC("pixi"), PropertyFate::kept},     // 6.5.6
    PropertyRow{fourCC("rloc"), PropertyFate::kept, 12}, // 6.5.7
    PropertyRow{fourCC("auxC"), PropertyFate::kept},     // 6.5.8
    PropertyRow{fourCC("clap"), PropertyFate::kept, 32}, // 6.5.9
    PropertyRow{fourCC("irot"), PropertyFate::kept, 1},  // 6.5.10
    PropertyRow{fourCC("lsel"), PropertyFate::kept, 2},  // 6.5.11
    PropertyRow{fourCC("imir"), PropertyFate::kept, 1},  // 6.5.12
    PropertyRow{fourCC("a1op"), PropertyFate::kept, 1},  // AV1 Image File Format, 2.3.2
    PropertyRow{fourCC("a1lx"), PropertyFate::kept},     // AV1 Image File Format, 2.3.3
    PropertyRow{fourCC("clli"), PropertyFate::kept, 4},  // ISO/IEC 14496-12, 12.1.6
    PropertyRow{fourCC("mdcv"), PropertyFate::kept, 24}, // ISO/IEC 14496-12, 12.1.7
    PropertyRow{fourCC("cclv"), PropertyFate::kept},     // ISO/IEC 14496-12, 12.1.8
    PropertyRow{fourCC("amve"), PropertyFate::kept, 8},  // ISO/IEC 14496-12, 12.1.9
    PropertyRow{fourCC("udes"), PropertyFate::dropped},  // 6.5.20
    PropertyRow{fourCC("altt"), PropertyFate::dropped},  // 6.5.21
    PropertyRow{fourCC("crtt"), PropertyFate::dropped},  // 6.5.18
    PropertyRow{fourCC("mdft"), PropertyFate::dropped},  // 6.5.19
    PropertyRow{fourCC("cmin"), PropertyFate::dropped},  // A camera's lens and place
    PropertyRow{fourCC("cmex"), PropertyFate::dropped},
};

// 23008-12, 6.5.8 with B.2.4.2 and E.2.4; ISO/IEC 23091-2. Depth maps, gain maps and mattes have
// other names.
constexpr std::array<std::string_view, 3> alphaNames{
    "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha",
    "urn:mpeg:hevc:2015:auxid:1",
    "urn:mpeg:avc:2015:auxid:1",
};

// An "auxC" property: what the picture is to another one, and what the coding says more of that.
struct Auxiliary {
    std::string name;
    Bytes subtype;
};

Auxiliary readAuxiliary(ByteSource& source, const Box& property)
{
    constexpr std::uint64_t headBytes = 4;
    if (property.content.length < headBytes)
        return {};
    const std::uint64_t length =
        std::min(property.content.length - headBytes, limits::auxiliaryBytes);
    const auto raw = source.copyOf({property.content.offset + headBytes, length});
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

Bytes cleanAuxiliary(const Auxiliary& auxiliary)
{
    Bytes content(4); // Version and flags.
    append(content, auxiliary.name);
    content.push_back(0);
    const auto isNeeded = holdsDisplaySEI(auxiliary.subtype);
    if (isNeeded.ok() && isNeeded.value())
        append(content, auxiliary.subtype);
    return content;
}

// 14496-12, 12.1.5: the place of a profile, with the size that it says it has.
std::optional<ByteRange> profileIn(ByteSource& source, const Box& property)
{
    ByteCursor cursor(source, property.content);
    const auto type = cursor.u32();
    if (!type.ok() || (type.value() != fourCC("prof") && type.value() != fourCC("rICC")))
        return std::nullopt;
    const auto size = profileBytes(cursor);
    return size ? std::optional(ByteRange{cursor.position(), *size}) : std::nullopt;
}

// 14496-12, 12.1.5: the colour types that say how to show; others are somebody's own.
PropertyFate fateOfColour(ByteSource& source, const Box& property)
{
    constexpr std::uint64_t codedColoursBytes = 11;
    const auto type = ByteCursor(source, property.content).u32();
    if (!type.ok())
        return PropertyFate::unclear;
    if (type.value() == fourCC("nclx"))
        return property.content.length == codedColoursBytes ? PropertyFate::kept
                                                            : PropertyFate::unclear;
    return profileIn(source, property) ? PropertyFate::kept : PropertyFate::dropped;
}

// With its profile, and nothing behind that.
std::optional<Bytes> cutColour(ByteSource& source, const Box& property)
{
    const auto profile = profileIn(source, property);
    if (!profile || profile->end() >= property.content.end())
        return std::nullopt;
    auto cut = source.copyOf({property.content.offset, profile->end() - property.content.offset});
    return cut.ok() ? std::optional(std::move(cut).value()) : std::nullopt;
}

} // namespace

bool isAlphaProperty(ByteSource& source, const Box& property)
{
    const std::string name = readAuxiliary(source, property).name;
    return std::ranges::find(alphaNames, name) != alphaNames.end();
}

PropertyFate fateOf(ByteSource& source, const Box& property, bool isEssential)
{
    const auto* row = std::ranges::find(properties, property.type, &PropertyRow::type);
    if (row == properties.end())
        return isEssential ? PropertyFate::unclear : PropertyFate::dropped;
    if (property.type == fourCC("colr"))
        return fateOfColour(source, property);
    if (property.type == fourCC("auxC"))
        return isAlphaProperty(source, property) ? PropertyFate::kept : PropertyFate::dropped;
    const bool isSized = row->contentBytes == 0 || row->contentBytes == property.content.length;
    return isSized || row->fate == PropertyFate::dropped ? row->fate : PropertyFate::unclear;
}

std::optional<Bytes> freshContent(ByteSource& source, const Box& property)
{
    if (property.type == fourCC("auxC"))
        return cleanAuxiliary(readAuxiliary(source, property));
    if (property.type == fourCC("colr"))
        return cutColour(source, property);
    if (property.type != fourCC("hvcC") || property.content.length > limits::windowBytes)
        return std::nullopt;
    PartSource content(source, property.content);
    auto clean = cleanHEVCConfiguration(content);
    return clean.ok() ? std::optional(std::move(clean).value()) : std::nullopt;
}

} // namespace nullprint::image
