// The one answer to "what survives cleaning", for every picture format.
#pragma once

#include "engine/image/Blocks.h"

#include <algorithm>

namespace nullprint::image {

// Kinds of block that a cleaned copy keeps, byte for byte. What is not named here goes: also what
// nobody has heard of yet.
inline constexpr std::array keptKinds{
    BlockKind::structure,
    BlockKind::codingTables,
    BlockKind::palette,
    BlockKind::transparency,
    BlockKind::pixels,
    BlockKind::colourTransform,
    BlockKind::colourProfile,
    BlockKind::resolution,
    BlockKind::orientation,
    BlockKind::animation,
};

constexpr bool isKept(BlockKind kind)
{
    return std::ranges::find(keptKinds, kind) != keptKinds.end();
}

} // namespace nullprint::image
