// What a picture gives away.
#pragma once

#include "engine/reveal/RevealReport.h"

namespace nullprint {

// Called by revealFile for a file with a picture's name. Pixels are not read, but for the search
// for XMP, which passes over the whole file.
RevealReport inspectImage(const FileURL& url);

} // namespace nullprint
