// The promises about PDFs, as a check of any bytes at all.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint::fuzz {

// Describes and cleans `bytes` as the worker does with a file, and ends the program when a promise
// is broken: what checkCopyOfDocument asks for, a copy with the pages of its original, drawn by the
// same instructions, that tells nothing.
void checkDocument(ByteSpan bytes);

// Ends the program unless no dictionary of the copy has metadata, and its own copy is the same, as
// far as it can be: what is encrypted with AES begins with random bytes, in each text and stream.
void checkCopyOfDocument(ByteSpan copy, ByteSpan again);

// The same for the copy of a file, which has been looked over: where that blanked anything, the
// copy is what was written with spaces in it, and its own copy may have lost what was referred to.
void checkCopyOfFile(ByteSpan original, ByteSpan copy, ByteSpan again);

} // namespace nullprint::fuzz
