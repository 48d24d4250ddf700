// Laying out an HEIF file anew, with the pictures that a viewer shows and what they are made of.
#pragma once

#include "engine/image/HEIFItems.h"
#include "engine/image/OutputPlan.h"

#include <set>

namespace nullprint::image {

// Whether the item is a picture, coded or derived, of a type that the copy can carry.
bool isPictureType(std::uint32_t type);

struct Selection {
    std::uint32_t primary = 0;
    std::vector<std::uint32_t> shown; // The primary first.
    std::set<std::uint32_t> kept;     // The shown ones, what they derive from, and their alpha.
};

// Fails when the primary picture, or something that a shown one needs, cannot be carried over.
Result<Selection> selectPictures(ByteSource& source, const HEIFItems& items);

// "ftyp", "meta" and "mdat" with the selected items and nothing else.
Result<OutputPlan> planHEIF(ByteSource& source, const HEIFFile& file, const HEIFItems& items);

} // namespace nullprint::image
