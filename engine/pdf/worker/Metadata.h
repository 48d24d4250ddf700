// Taking out of a document what tells of its origin.
#pragma once

#include "engine/pdf/worker/PDFFile.h"

namespace nullprint::pdf {

// The information dictionary, metadata streams and private data of applications, wherever they
// hang, and who wrote annotations when. Pages, form fields, attachments and the rest stay.
void removeMetadata(PDFFile& file);

} // namespace nullprint::pdf
