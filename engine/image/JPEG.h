// JPEG and JFIF files.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

// The mark that a stream begins with.
inline constexpr std::string_view jpegStart = "\xFF\xD8";

Result<Blocks> splitJPEG(ByteSource& source);

// The blocks of a stream that is part of another file, as TIFF has them: it may consist of tables
// alone, lack its tables or its end, or begin with entropy-coded data. The file around it tells its
// colours and resolution; of application segments only Adobe's is of a kept kind.
Result<Blocks> splitJPEGStream(ByteSource& source);

extern const ImageFormat jpegFormat;

} // namespace nullprint::image
