// Whether a cleaned picture is the same picture, without decoding it.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint::fuzz {

// Ends the program unless coded samples, and the tables and palettes that they are decoded with,
// are in the copy as they are in the original. In an HEIF this is so of each item.
void checkSamples(ByteSpan original, ByteSpan copy);

// Whether a picture holds an XMP packet anywhere but among those, in a colour profile, or in a
// header of nothing but numbers, where any text may stand by chance.
bool holdsPacket(ByteSpan picture);

} // namespace nullprint::fuzz
