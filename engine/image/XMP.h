// Finding an XMP packet by its text, wherever in a file it stands.
#pragma once

#include "engine/support/ByteSource.h"

namespace nullprint::image {

// The element that every packet is wrapped in (ISO 16684-1, 7.3.2).
inline constexpr std::string_view xmpElement = "xmpmeta";
// The start of the basic schema's namespace (ISO 16684-1, 8.4), which packets without that element
// still have.
inline constexpr std::string_view xmpBasicNamespace = "ns.adobe.com/xap";

// Whether one of `texts`, each of 2 to 64 bytes, stands anywhere in the source. False when it
// cannot be read.
bool containsAny(ByteSource& source, std::span<const std::string_view> texts);

} // namespace nullprint::image
