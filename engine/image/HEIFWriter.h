// Laying out an HEIF file anew, with the pictures that are shown and what they are made of.
#pragma once

#include "engine/image/HEIFSelection.h"
#include "engine/image/OutputPlan.h"

namespace nullprint::image {

// "ftyp", "meta" and "mdat" with the selected items and nothing else.
Result<OutputPlan> planHEIF(ByteSource& source,
                            const HEIFFile& file,
                            const HEIFItems& items,
                            const Selection& selection);

} // namespace nullprint::image
