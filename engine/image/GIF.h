// GIF files, still and animated.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

Result<Blocks> splitGIF(ByteSource& source);

extern const ImageFormat gifFormat;

} // namespace nullprint::image
