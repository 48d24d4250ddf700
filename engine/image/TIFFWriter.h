// Laying out a TIFF file anew.
#pragma once

#include "engine/image/OutputPlan.h"
#include "engine/image/TIFFData.h"

namespace nullprint::image {

// A compact file in the byte order and offset size of `reader`: header, the directories with their
// values, then all data. Fails when it would be larger than offsets can tell.
Result<OutputPlan> planTIFF(const IFDReader& reader,
                            ByteSource& source,
                            std::span<const TIFFPage> pages,
                            TIFFData data);

} // namespace nullprint::image
