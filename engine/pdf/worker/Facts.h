// Reading what a document tells.
#pragma once

#include "engine/pdf/DocumentFacts.h"
#include "engine/pdf/worker/PDFFile.h"

namespace nullprint::pdf {

DocumentFacts factsOf(PDFFile& file);

} // namespace nullprint::pdf
