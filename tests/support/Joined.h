// Putting bytes together, for the builders of sample files.
#pragma once

#include "engine/support/Bytes.h"

#include <initializer_list>

namespace nullprint::tests {

inline Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts)
        append(all, part);
    return all;
}

inline Bytes bytesOf(std::string_view text)
{
    return Bytes(text.begin(), text.end());
}

} // namespace nullprint::tests
