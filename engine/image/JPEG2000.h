// JPEG 2000 as far as a copy looks into it: the headers of a codestream, and the boxes that say
// what its components mean. ISO/IEC 15444-1, annexes A and I. Nothing is decoded.
#pragma once

#include "engine/image/Blocks.h"

namespace nullprint::image {

// Comments are `text`, what stands behind the end is `filler`, all else `pixels`. Fails on what is
// not a codestream, on segments that are not known, and on comments within a tile-part, whose
// length stands elsewhere too.
Result<Blocks> splitCodestream(ByteSource& source);

// Boxes that say what components mean: the known ones up to the end of their fields.
Result<Bytes> cleanJ2KHeader(ByteSource& content);

} // namespace nullprint::image
