// Exif: a TIFF structure inside another file, with camera (Exif) and position (GPS) directories.
// Exif 2.32 (CIPA DC-008-2019), clauses 4.5 and 4.6.
#pragma once

#include "engine/image/IFD.h"

namespace nullprint::image {

// Stands before the structure in a JPEG (4.5.4), and where writers of other formats copy it.
inline constexpr std::string_view exifMark("Exif\0\0", 6);

// Adds what the structure in `source` says: its first directory (group tiff), the Exif and the GPS
// directory. Coordinates become decimal degrees. Whatever cannot be read is left out.
void readEXIF(ByteSource& source, Properties& properties);

// The same, beginning at one directory of a structure whose header has been read already.
void readEXIFDirectories(const IFDReader& reader,
                         ByteSource& source,
                         std::uint64_t directory,
                         Properties& properties);

// The same for a block that may have the mark before the structure.
void readEXIFBlock(ByteSource& source, ByteRange block, Properties& properties);

// The orientation, when there is one and it is not the normal one: 2 to 8.
std::optional<std::uint16_t> turnedOrientation(const Properties& properties);

// Samples per `unit` (TIFF 6.0: 1 none, 2 inch, 3 centimetre).
struct Resolution {
    double x;
    double y;
    std::uint16_t unit;
};

// The resolution in the group tiff, when it is complete, finite and not next to nothing. A missing
// unit is the inch.
std::optional<Resolution> storedResolution(const Properties& properties);

// A TIFF structure that holds these fields and nothing else. Each may be absent; with both absent
// it is still well-formed.
Bytes freshEXIF(std::optional<std::uint16_t> orientation, std::optional<Resolution> resolution);

} // namespace nullprint::image
