// A picture that is being looked at.
#pragma once

#include "engine/image/ImageFormats.h"

namespace nullprint::image {

class ImageSource {
public:
    // Tells the picture's type from its content. `bytes` is borrowed for the life of the source.
    // Fails when the content is of no known type or its header does not describe a picture.
    static Result<ImageSource> open(ByteSource& bytes);

    ImageType type() const { return format->type; }
    Result<std::uint32_t> frameCount() const { return format->countFrames(*bytes); }
    Properties properties(std::uint32_t frame) const
    {
        return format->readProperties(*bytes, frame);
    }

private:
    friend Result<Done> writeCleanImage(const ImageSource&, ImageType, ByteSink&);

    ImageSource(ByteSource& bytes, const ImageFormat& format)
        : bytes(&bytes)
        , format(&format)
    {
    }

    ByteSource* bytes;
    const ImageFormat* format;
};

// What a file's first picture says of itself, as far as it can be read. More is told than can be
// opened: a picture that is cut short in the middle of its metadata gives them away all the same.
// Nothing when the content is of no known type.
Properties propertiesOf(ByteSource& bytes);

// Writes the picture to `destination` with the pixels, frames, timing, profile, resolution and
// orientation it has, and nothing else. `type` must be the source's own: nothing is converted. On
// failure the destination holds an unfinished picture, which the caller throws away.
Result<Done> writeCleanImage(const ImageSource& source, ImageType type, ByteSink& destination);

} // namespace nullprint::image
