// PNG and APNG files.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

Result<Blocks> splitPNG(ByteSource& source);

extern const ImageFormat pngFormat;

} // namespace nullprint::image
