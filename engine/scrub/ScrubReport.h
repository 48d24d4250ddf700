// Cleaning: the one call that writes a cleaned copy of a file.
#pragma once

#include "engine/support/FileURL.h"

#include <string>
#include <variant>

namespace nullprint {

// What became of a file. Messages are whole sentences for the user.
struct Cleaned {
    FileURL output;
};
struct Unsupported {
    std::string message;
};
struct Failed {
    std::string message;
};
using Status = std::variant<Cleaned, Unsupported, Failed>;

struct ScrubReport {
    FileURL input;
    Status status;
};

// Writes a cleaned copy beside the file, which is only read. Runs on the caller's thread; several
// calls may run at once. Whatever fails, no partial copy stays.
ScrubReport scrubFile(const FileURL& url);

} // namespace nullprint
