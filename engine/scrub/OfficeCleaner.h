// Cleaning Word, Excel and PowerPoint documents: every part goes into a new archive, XML by the
// rules of XMLPart, pictures without their metadata, anything else as it is.
#pragma once

#include "engine/scrub/ScrubReport.h"

namespace nullprint {

// Called by scrubFile for a file with an Office package's name.
Status scrubOffice(const FileURL& input);

} // namespace nullprint
