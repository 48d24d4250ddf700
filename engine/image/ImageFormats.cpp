#include "engine/image/ImageFormats.h"

#include "engine/image/BMP.h"
#include "engine/image/GIF.h"
#include "engine/image/HEIF.h"
#include "engine/image/JPEG.h"
#include "engine/image/PNG.h"
#include "engine/image/TIFF.h"
#include "engine/image/WebP.h"

#include <algorithm>

namespace nullprint::image {
namespace {

constexpr std::array
    formats{&jpegFormat, &pngFormat, &gifFormat, &webpFormat, &tiffFormat, &bmpFormat, &heifFormat};

} // namespace

const ImageFormat* formatOf(ByteSource& source)
{
    const auto length = std::min<std::uint64_t>(source.size(), signatureBytes);
    const auto head = source.view(0, static_cast<std::size_t>(length));
    if (!head.ok())
        return nullptr;
    for (const ImageFormat* format : formats) {
        if (format->hasSignature(head.value()))
            return format;
    }
    return nullptr;
}

} // namespace nullprint::image
