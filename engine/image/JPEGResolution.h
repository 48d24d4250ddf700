// Resolution and orientation of a clean JPEG: the JFIF and Exif segments that are written fresh.
#pragma once

#include "engine/image/EXIF.h"
#include "engine/image/OutputPlan.h"

namespace nullprint::image {

// What decides how a decoder turns components into colours, and what else the copy is made from.
struct JPEGFacts {
    Byte frameMarker = 0;
    std::uint8_t precision = 0; // Bits a sample.
    std::uint8_t components = 0;
    bool hasScan = false;
    bool isHierarchical = false;      // There will be several frames (B.3.2).
    bool hasUsualNames = false;       // The components are called 1, 2, 3 or 0, 1, 2.
    std::optional<Byte> transform;    // T.872, 6.5.3; of the last Adobe segment.
    std::optional<ByteRange> density; // JFIF 10.1: units, then two 16-bit densities.
    std::vector<ByteRange> profile;   // Payloads of the segments that are called one.
};

// Adds a segment with a marker that has a length.
void writeSegment(OutputPlan& plan, Byte code, ByteSpan payload);

// Resolution and orientation, in the few bytes that are written fresh. A density in JFIF stays as
// it is. What Exif says of the resolution moves into JFIF where that said nothing, unless that
// would change the colours or the numbers; otherwise it stays in Exif, which many readers prefer,
// as long as it says something else.
Result<Done> planFreshSegments(ByteSource& source,
                               const Properties& properties,
                               const JPEGFacts& facts,
                               OutputPlan& plan);

} // namespace nullprint::image
