// Pictures on pages that are files of their own kind, with metadata of their own.
#pragma once

#include "engine/pdf/worker/PDFFile.h"

namespace nullprint::pdf {

// Has every JPEG of the document written with its pixels alone.
void cleanPictures(PDFFile& file);

} // namespace nullprint::pdf
