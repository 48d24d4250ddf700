// TIFF and BigTIFF files.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

Result<Blocks> splitTIFF(ByteSource& source);

extern const ImageFormat tiffFormat;

} // namespace nullprint::image
