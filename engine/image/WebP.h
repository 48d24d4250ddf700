// WebP files: lossy, lossless, and animated.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

Result<Blocks> splitWebP(ByteSource& source);

extern const ImageFormat webpFormat;

} // namespace nullprint::image
