// Encryption that does not need the document's first identifier any more.
#pragma once

#include "engine/pdf/worker/PDFFile.h"

#include <memory>

namespace nullprint::pdf {

// Up to revision 4, the key is made from the identifier (ISO 32000-2, 7.6.4.3.2). This is a
// document without content that has the passwords and permissions of another one, and `identifier`;
// nothing when that cannot be made.
std::unique_ptr<QPDF> encryptedAlike(QPDF& document, const std::string& identifier);

} // namespace nullprint::pdf
