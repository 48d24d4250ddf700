// What a PDF gives away.
#pragma once

#include "engine/reveal/RevealReport.h"

namespace nullprint {

// Called by revealFile for a file with a PDF's name. Pages are not rendered.
RevealReport inspectPDF(const FileURL& url);

} // namespace nullprint
