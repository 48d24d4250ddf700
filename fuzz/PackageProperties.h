// What must hold of any bytes that are taken for an Office document.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint::fuzz {

// Reads and cleans `archive` as the cleaner does with a file, and ends the program, saying what is
// broken, unless: a document is cleaned or there is a reason why not; the copy can be read, has the
// parts of its original in their order, and of those that are neither XML nor pictures the content.
void checkPackage(ByteSpan archive);

// The same with an archive around the bytes, as XML, as a picture and as neither.
void checkParts(ByteSpan content);

} // namespace nullprint::fuzz
