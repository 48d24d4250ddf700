// What a Word, Excel or PowerPoint document gives away.
#pragma once

#include "engine/reveal/RevealReport.h"

namespace nullprint {

// Called by revealFile for a file with an Office package's name. Values are shown as they stand in
// the XML. Of embedded pictures no more is unpacked than tells whether they have a position.
RevealReport inspectOfficeDocument(const FileURL& url);

} // namespace nullprint
