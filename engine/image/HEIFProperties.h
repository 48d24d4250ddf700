// The properties of HEIF's pictures: which of them a copy keeps, and what is written of those.
// ISO/IEC 23008-12, clause 6.5, unless a table says otherwise.
#pragma once

#include "engine/image/HEIFItems.h"

namespace nullprint::image {

enum class PropertyFate : std::uint8_t {
    kept,
    dropped, // Says nothing that the picture's look depends on.
    unclear, // Unknown or damaged. A picture that cannot be shown without it cannot be carried
             // over.
};

// `isEssential` is what the picture's association says.
PropertyFate fateOf(ByteSource& source, const Box& property, bool isEssential);

// Whether an "auxC" property says that the picture is another's alpha plane.
bool isAlphaProperty(ByteSource& source, const Box& property);

// The content of a property as it stands in the copy: its fields, without user data in them and
// without anything behind them. Empty when the copy does not have the property. Fails when the
// property is damaged or of another version.
Result<Bytes> freshContent(ByteSource& source, const Box& property);

} // namespace nullprint::image
