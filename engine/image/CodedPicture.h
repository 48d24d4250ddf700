// What the coded data of a picture consists of, for codings that let a writer put in data of its
// own. Nothing is decoded: units are named, and those that no decoder needs are not `pixels`.
#pragma once

#include "engine/image/Blocks.h"

namespace nullprint::image {

// NAL units, each behind its length in `lengthBytes` bytes (1, 2 or 4). ISO/IEC 14496-15.
// User data, which encoders fill with their name and settings, is `text`; padding is `filler`.
Result<Blocks> splitHEVC(ByteSource& source, unsigned lengthBytes);
Result<Blocks> splitAVC(ByteSource& source, unsigned lengthBytes);

// Open bitstream units. AV1 Bitstream & Decoding Process, 5.3.
Result<Blocks> splitAV1(ByteSource& source);

// An HEVC decoder's configuration without the units that `splitHEVC` does not call pixels; as it
// is when it has none. Fails when it is damaged. ISO/IEC 14496-15, 8.3.3.1.
Result<Bytes> cleanHEVCConfiguration(ByteSource& source);

// Whether an HEVC NAL unit from its header on is supplemental information that says how to show
// the picture, and nothing else.
bool isDisplaySEI(ByteSpan unit);

} // namespace nullprint::image
