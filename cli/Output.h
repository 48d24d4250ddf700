// Standard output, the only thing the command line writes to.
#pragma once

#include <string_view>

namespace nullprint {

// Prints a text and a line feed. A terminal is shown U+FFFD for control characters, so that a
// value from a file cannot drive it; pipes and files get the exact bytes.
void printLine(std::string_view text);

} // namespace nullprint
