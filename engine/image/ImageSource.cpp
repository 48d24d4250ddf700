#include "engine/image/ImageSource.h"

namespace nullprint::image {

Result<ImageSource> ImageSource::open(ByteSource& bytes)
{
    const ImageFormat* format = formatOf(bytes);
    if (format == nullptr)
        return Error{"no known picture format"};
    NP_TRY(format->checkHeader(bytes));
    return ImageSource(bytes, *format);
}

Properties propertiesOf(ByteSource& bytes)
{
    const ImageFormat* format = formatOf(bytes);
    return format == nullptr ? Properties() : format->readProperties(bytes, 0);
}

Result<Done> writeCleanImage(const ImageSource& source, ImageType type, ByteSink& destination)
{
    if (type != source.type())
        return Error{"pictures are not converted"};
    const OutputPlan plan = NP_TRY(source.format->planCleanCopy(*source.bytes));
    return plan.writeTo(destination, *source.bytes);
}

} // namespace nullprint::image
