// The one table of TIFF's tags: what each is for, and in which form a copy takes it over.
// Clauses are sections of TIFF 6.0, unless another document is named.
#pragma once

#include "engine/image/Blocks.h"
#include "engine/image/IFD.h"

namespace nullprint::image {

namespace tag {
inline constexpr std::uint16_t newSubfileType = 254;
inline constexpr std::uint16_t imageWidth = 256;
inline constexpr std::uint16_t imageLength = 257;
inline constexpr std::uint16_t bitsPerSample = 258;
inline constexpr std::uint16_t compression = 259;
inline constexpr std::uint16_t photometric = 262;
inline constexpr std::uint16_t stripOffsets = 273;
inline constexpr std::uint16_t samplesPerPixel = 277;
inline constexpr std::uint16_t rowsPerStrip = 278;
inline constexpr std::uint16_t stripByteCounts = 279;
inline constexpr std::uint16_t planarConfiguration = 284;
inline constexpr std::uint16_t tileWidth = 322;
inline constexpr std::uint16_t tileLength = 323;
inline constexpr std::uint16_t tileOffsets = 324;
inline constexpr std::uint16_t tileByteCounts = 325;
inline constexpr std::uint16_t subIFDs = 330;
inline constexpr std::uint16_t jpegTables = 347;
inline constexpr std::uint16_t jpegStream = 513;
inline constexpr std::uint16_t jpegStreamLength = 514;
inline constexpr std::uint16_t jpegQTables = 519;
inline constexpr std::uint16_t jpegDCTables = 520;
inline constexpr std::uint16_t jpegACTables = 521;
inline constexpr std::uint16_t subSampling = 530;
inline constexpr std::uint16_t imageDepth = 32997;
inline constexpr std::uint16_t tileDepth = 32998;
inline constexpr std::uint16_t iptc = 33723;
inline constexpr std::uint16_t photoshop = 34377;
inline constexpr std::uint16_t interoperabilityIFD = 40965;
inline constexpr std::uint16_t dngVersion = 50706;
} // namespace tag

// The types that a kept field may have, so that none can hold text.
enum class Form : std::uint8_t {
    none,     // The field is not taken over as it is.
    integers, // None of them negative
    numbers,  // Of any kind
    opaque,   // Bytes with a structure of their own
};

// How many values a kept field has. More than the standard allows are cut off.
enum class Amount : std::uint8_t {
    none,
    one,
    two,
    three,
    six,
    perSample,      // One for every sample of a pixel, or fewer
    twicePerSample, // Likewise
    colourMap,      // 3 * 2^bits
    transfer,       // 2^bits, once or three times
    profile,        // As many bytes as the profile says it has
    any,
};

// With which compressions a field means anything.
enum class Use : std::uint8_t { always, jpeg, oldJPEG };

struct TagRow {
    std::uint16_t tag;
    BlockKind kind;
    Form form = Form::none;
    Amount amount = Amount::none;
    bool isVital = false; // Without it, or with another value, the pixels are not the same.
    Use use = Use::always;
};

// nullptr for a tag that is not in the table; nothing is kept of such a field.
const TagRow* rowOf(std::uint16_t tag);

// `unknown` for a tag that is not in the table.
BlockKind kindOfTag(std::uint16_t tag);

} // namespace nullprint::image
