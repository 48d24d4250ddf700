// What the coded data of a picture consists of, for codings that let a writer put in data of its
// own. Nothing is decoded: units are named, and those that no decoder needs are not `pixels`.
#pragma once

#include "engine/image/Blocks.h"
#include "engine/support/ByteCursor.h"

namespace nullprint::image {

// Codings whose data are NAL units.
enum class UnitCoding : std::uint8_t { avc, hevc, vvc };

// NAL units, each behind its length in `lengthBytes` bytes (1 to 4). ISO/IEC 14496-15. User data,
// which encoders fill with their name and settings, is `text`; padding is `filler`, and so is an
// end that is too short for a length. Fails on a unit that is longer than what is there.
Result<Blocks> splitUnits(ByteSource& source, UnitCoding coding, unsigned lengthBytes);

// Whether a NAL unit may stand in a decoder's configuration of the copy: a set of parameters, or
// supplemental information that says how to show the picture, and nothing else.
bool isForConfiguration(UnitCoding coding, ByteSource& source, ByteRange unit);

// Whether an HEVC NAL unit from its header on is such supplemental information.
bool isDisplaySEI(ByteSpan unit);

namespace obu {
inline constexpr unsigned sequenceHeader = 1;
inline constexpr unsigned metadata = 5;
} // namespace obu

// An open bitstream unit. AV1 Bitstream & Decoding Process, 5.3.
struct OBU {
    unsigned type;
    BlockKind kind;
    ByteRange whole;
};

Result<OBU> readOBU(ByteCursor& cursor);
Result<Blocks> splitAV1(ByteSource& source);

} // namespace nullprint::image
