// HEIF files: HEIC, AVIF and others, pictures as items of an ISO base media file.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

Result<Blocks> splitHEIF(ByteSource& source);

extern const ImageFormat heifFormat;

} // namespace nullprint::image
