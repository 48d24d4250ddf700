// What the worker does with a document. Nothing that the PDF library throws leaves these.
#pragma once

#include "engine/pdf/DocumentFacts.h"
#include "engine/pdf/Outcome.h"

namespace nullprint::pdf {

Outcome describe(ByteSource& source, DocumentFacts& facts);

// On failure the sink holds an unfinished document.
Outcome writeClean(ByteSource& source, ByteSink& sink);

} // namespace nullprint::pdf
