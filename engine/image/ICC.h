// Colour profiles as far as a copy looks into them. ICC.1 is their standard. All formats have one
// rule: what begins like a profile stays up to the size that it says it has, anything else goes.
#pragma once

#include "engine/support/ByteCursor.h"

namespace nullprint::image {

// The size that a profile says it has; nothing when what `cursor` is at does not begin like one.
std::optional<std::uint32_t> profileBytes(ByteCursor cursor);

} // namespace nullprint::image
