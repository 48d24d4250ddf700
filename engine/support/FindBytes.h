// Searching long runs of bytes at memory speed.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint {

// The first index at which `isHit(bytes[i], bytes[i + 1])` holds, or bytes.size() when there is
// none; the last byte alone is never a hit. `isHit` looks at two bytes and must not branch: whole
// stretches are tested before one is looked at closely, which the compiler turns into wide
// instructions.
template <typename IsHit> std::size_t findBytePair(ByteSpan bytes, IsHit isHit)
{
    constexpr std::size_t stretch = 64;
    std::size_t start = 0;
    for (; start + stretch < bytes.size(); start += stretch) {
        const std::span<const Byte, stretch> first(bytes.subspan(start, stretch));
        const std::span<const Byte, stretch> second(bytes.subspan(start + 1, stretch));
        Byte any = 0;
        for (std::size_t index = 0; index < stretch; ++index)
            any |= static_cast<Byte>(isHit(first[index], second[index]));
        if (any != 0)
            break;
    }
    for (std::size_t index = start; index + 1 < bytes.size(); ++index) {
        if (isHit(bytes[index], bytes[index + 1]))
            return index;
    }
    return bytes.size();
}

} // namespace nullprint
