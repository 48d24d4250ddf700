// Windows and OS/2 bitmap files.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

Result<Blocks> splitBMP(ByteSource& source);

extern const ImageFormat bmpFormat;

} // namespace nullprint::image
