// Colour profiles as far as a picture format looks into them.
#pragma once

#include "engine/support/Bytes.h"

#include <string>

namespace nullprint::tests {

// `size` bytes that begin like an ICC profile: its own size, and "acsp" at 36.
inline std::string sampleProfile(std::size_t size)
{
    Bytes head;
    append32(head, static_cast<std::uint32_t>(size), ByteOrder::big);
    std::string profile(asText(head));
    for (std::size_t index = profile.size(); index < size; ++index)
        profile.push_back(static_cast<char>('a' + index % 26));
    return profile.replace(36, 4, "acsp");
}

} // namespace nullprint::tests
