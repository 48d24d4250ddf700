// Names that nobody else has.
#pragma once

#include <string>

namespace nullprint {

// A new random (version 4) UUID in canonical upper-case form, 36 characters (RFC 9562, 5.4).
std::string randomUUID();

} // namespace nullprint
