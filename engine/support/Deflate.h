// Unpacking deflated data, and the checksum that goes with its containers.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint {

// What a zlib stream (RFC 1950) unpacks to, as far as it is whole and at most `most` bytes of it.
Bytes inflate(ByteSpan deflated, std::size_t most);

// CRC-32 as PNG, ZIP and gzip use it (ISO 3309).
std::uint32_t checksum(ByteSpan bytes);

} // namespace nullprint
