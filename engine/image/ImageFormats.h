// The registry of picture formats: everything that reveals, lists or cleans goes through a row.
#pragma once

#include "engine/image/Blocks.h"
#include "engine/image/OutputPlan.h"
#include "engine/image/Properties.h"

namespace nullprint::image {

enum class ImageType : std::uint8_t { jpeg, png, gif, webp, tiff, bmp, heif };

// How many bytes from a file's start tell its type.
inline constexpr std::size_t signatureBytes = 16;

struct ImageFormat {
    ImageType type;
    std::string_view name;

    // Whether the file's first bytes (up to signatureBytes of them) are this format's.
    bool (*hasSignature)(ByteSpan head);

    // Fails when what follows the signature does not describe a picture.
    Result<Done> (*checkHeader)(ByteSource& source);

    // The frames (of an animation) or pages that a viewer shows. May walk the whole file.
    Result<std::uint32_t> (*countFrames)(ByteSource& source);

    // What is told of one frame, as far as the file can be read; never reads coded pixels.
    Properties (*readProperties)(ByteSource& source, std::uint32_t frame);

    // The whole file as blocks. Fails on a file that is damaged or cut short.
    Result<Blocks> (*split)(ByteSource& source);

    // The copy that holds nothing but what CleaningPolicy keeps. Fails on a picture without frames
    // and on one that cannot be carried over with certainty.
    Result<OutputPlan> (*planCleanCopy)(ByteSource& source);
};

// The format that the bytes are in, whatever the file is called; nullptr when it is none of these.
const ImageFormat* formatOf(ByteSource& source);

} // namespace nullprint::image
