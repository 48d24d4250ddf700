// JPEG and JFIF files.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

Result<Blocks> splitJPEG(ByteSource& source);

extern const ImageFormat jpegFormat;

} // namespace nullprint::image
