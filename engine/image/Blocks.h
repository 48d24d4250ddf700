// What a picture file consists of: named stretches that, laid end to end, are the file.
#pragma once

#include "engine/support/ByteSource.h"

namespace nullprint::image {

// What a stretch of a file is for. CleaningPolicy says which kinds a copy keeps.
enum class BlockKind : std::uint8_t {
    structure,       // Headers, frame descriptions, end marks
    codingTables,    // Quantisation and entropy coding
    palette,         // Colour tables
    transparency,    // Alpha planes and transparent colours
    pixels,          // Coded samples
    colourTransform, // How components become colours (JPEG's Adobe segment)
    colourProfile,   // ICC profiles and colour space tags
    resolution,      // Samples per length
    orientation,     // Which way is up
    animation,       // Frame timing and loop counts
    exif,
    xmp,
    iptc,    // Photoshop resources, with the IIM captions among them
    text,    // Comments and key-value texts
    time,    // Dates of change
    display, // Gamma, chromaticities and hints that a profile supersedes
    thumbnail,
    extraImage,  // Previews, depth and gain maps, frames that are not shown
    application, // Other programs' own data
    filler,      // Padding and bytes between blocks
    trailer,     // Bytes after the picture's end
    unknown,
};

struct Block {
    BlockKind kind;
    ByteRange range;
};

// Blocks in file order. A block that continues the one before, in kind and place, extends it.
class Blocks {
public:
    // Does nothing when `range` is empty. Fails when there are more than limits::blocks.
    Result<Done> add(BlockKind kind, ByteRange range);

    auto begin() const { return blocks.begin(); }
    auto end() const { return blocks.end(); }
    std::size_t size() const { return blocks.size(); }

private:
    std::vector<Block> blocks;
};

} // namespace nullprint::image
