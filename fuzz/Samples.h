// Whether a cleaned picture is the same picture, without decoding it.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint::fuzz {

// Ends the program unless coded samples, and the tables and palettes that they are decoded with,
// are in the copy as they are in the original. In an HEIF this is so of each item.
void checkSamples(ByteSpan original, ByteSpan copy);

// Whether a picture holds the mark of an XMP packet anywhere but among those and in a colour
// profile, where any text may stand by chance.
bool holdsPacket(ByteSpan picture);

} // namespace nullprint::fuzz
