// IPTC captions: IIM datasets, by themselves or in a Photoshop resource block.
// IPTC-NAA Information Interchange Model 4.2, chapter 3; Photoshop File Formats, "Image Resources".
#pragma once

#include "engine/image/Properties.h"
#include "engine/support/Bytes.h"

namespace nullprint::image {

// Adds the datasets of an IIM stream, up to the first byte that is not one.
void readIIM(ByteSpan stream, Properties& properties);

// Adds the datasets of every IIM resource (0x0404) in a run of image resource blocks.
void readPhotoshopResources(ByteSpan resources, Properties& properties);

} // namespace nullprint::image
