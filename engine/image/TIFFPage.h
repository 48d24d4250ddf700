// A page of a TIFF file: what its directory says about samples, and where its coded data is.
#pragma once

#include "engine/image/IFD.h"

#include <functional>

namespace nullprint::image {

// How the data of strips and tiles is coded, as far as it matters to somebody who does not decode.
enum class TIFFCoding : std::uint8_t {
    plain,   // Samples as they are, so many that their length is known
    packed,  // Nothing but samples, coded or subsampled
    jpeg,    // A JPEG stream each
    oldJPEG, // The same, or parts of one stream (TIFF 6.0, section 22)
    webp,    // A WebP file each
    foreign, // Anything else, which may carry metadata of its own
};

// Offsets of tables, for old-style JPEG: JPEGQTables and its like.
struct TIFFTables {
    std::uint16_t tag = 0;
    std::vector<ByteRange> tables; // Without length where there is no table.
};

struct TIFFPage {
    TIFFCoding coding = TIFFCoding::plain;
    bool isTiled = false;
    bool isPreview = false; // The picture proper is in a sub-directory, or told of in DNG's tags.
    std::vector<Field> fields;           // Those that a copy has too; each tag once, ascending.
    std::vector<ByteRange> data;         // Strips or tiles. Without length where there is none.
    std::optional<ByteRange> jpegStream; // JPEGInterchangeFormat
    std::vector<TIFFTables> tables;
};

bool hasStripsOrTiles(const Directory& directory);

// Whether the directory describes a picture that a viewer shows as a page.
bool describesPicture(const IFDReader& reader, const Directory& directory);

// Fails on a page that is damaged, or not described plainly enough to be carried over. `effort` is
// how many numbers have been read for all pages; it grows with each, and never past limits::blocks.
Result<TIFFPage> readTIFFPage(const IFDReader& reader,
                              ByteSource& source,
                              const Directory& directory,
                              std::uint64_t& effort);

// Calls `visit` for each directory of the main chain, until it answers false. Fails on a chain that
// comes back to itself, is too long, or has directories that overlap.
using VisitDirectory = std::function<Result<bool>(const Directory&)>;
Result<Done>
walkDirectories(const IFDReader& reader, ByteSource& source, const VisitDirectory& visit);

} // namespace nullprint::image
