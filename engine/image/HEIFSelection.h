// Which pictures of an HEIF file a viewer shows, and what they are made of.
#pragma once

#include "engine/image/HEIFItems.h"

#include <set>

namespace nullprint::image {

// Whether the item is a picture, coded or derived, of a type that the copy can carry.
bool isPictureType(std::uint32_t type);

struct Selection {
    std::uint32_t primary = 0;
    std::vector<std::uint32_t> shown; // The primary first.
    std::set<std::uint32_t> kept;     // The shown ones, what they derive from, and their alpha.
    std::set<std::uint32_t> hidden;   // The kept ones that are not shown for themselves.
};

// Fails when a shown picture, or something that it needs, cannot be carried over.
Result<Selection> selectPictures(ByteSource& source, const HEIFItems& items);

// Fails when data of the selected items is also metadata, or not where data belongs.
Result<Done> checkData(const HEIFFile& file, const HEIFItems& items, const Selection& selection);

} // namespace nullprint::image
