// The table of contents of a ZIP archive, checked against the archive but for what is packed in it.
#pragma once

#include "engine/support/ByteSource.h"

#include <string>

namespace nullprint::zip {

struct Entry {
    std::string name; // As stored: any bytes.
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t checksum = 0;
    std::uint64_t sizeBytes = 0; // Unpacked, as announced.
    ByteRange stored;            // In the archive.
};

// The entries in their order. Errors are clauses for the user.
Result<std::vector<Entry>> readDirectory(ByteSource& archive);

} // namespace nullprint::zip
