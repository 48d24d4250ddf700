// Cleaning pictures: the coded pixels move to a new file, the metadata stays behind.
#pragma once

#include "engine/scrub/ScrubReport.h"

namespace nullprint {

// Called by scrubFile for a file with a picture's name. Its content decides what is written.
Status scrubImage(const FileURL& input);

} // namespace nullprint
