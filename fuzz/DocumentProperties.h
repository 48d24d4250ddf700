// The promises about PDFs, as a check of any bytes at all.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint::fuzz {

// Ends the program when a promise is broken.
void checkDocument(ByteSpan bytes);

} // namespace nullprint::fuzz
