// The items of an HEIF file: what its "meta" box says of pictures and the data around them.
// ISO/IEC 14496-12 (boxes, clauses 4.2 and 8.11) and ISO/IEC 23008-12 (properties, clause 9).
#pragma once

#include "engine/support/ByteCursor.h"

#include <map>
#include <optional>
#include <vector>

namespace nullprint::image {

struct Box {
    std::uint32_t type = 0;
    ByteRange whole;
    ByteRange content; // Behind size, type, and a "uuid" box's own identifier.
};

// 14496-12, 4.2: sizes of 32 and 64 bits, and 0 for all that is left.
Result<Box> readBox(ByteCursor& cursor);

// Many tables have identifiers of 16 bits in old versions and of 32 in new ones.
Result<std::uint32_t> readIdentifier(ByteCursor& cursor, bool isWide);

// A property's place in "ipco", counted from 1, and whether a reader that does not know the
// property may show the item all the same.
struct Association {
    std::uint16_t index;
    bool isEssential;
};

struct Item {
    std::uint32_t id = 0;
    std::uint32_t type = 0;
    bool isHidden = false;
    bool isProtected = false;
    bool isWhole = false; // All of its data lies within the file.
    bool isInIdat = false;
    std::vector<ByteRange> data;
    std::vector<Association> properties;
};

struct Reference {
    std::uint32_t type;
    std::uint32_t from;
    std::vector<std::uint32_t> to;
};

struct EntityGroup {
    std::uint32_t type;
    std::uint32_t id;
    std::vector<std::uint32_t> members;
};

struct HEIFItems {
    std::uint32_t primary = 0;
    std::vector<Item> items;           // Ordered by identifier.
    std::vector<Reference> references; // Ordered by origin.
    // Where in `references` an item's first "dimg" is. An item may have any number of others.
    std::map<std::uint32_t, std::size_t> inputs;
    std::vector<Box> properties;
    std::vector<EntityGroup> groups;
    std::optional<ByteRange> idat;
    // Something that there may be once is there again, and readers differ in what they make of it.
    // Here the first one counts.
    bool isAmbiguous = false;

    const Item* find(std::uint32_t id) const;
    const Box* property(const Association& association) const;
    // The first property of the type that the item has, or nullptr.
    const Box* property(const Item& item, std::uint32_t type) const;
    std::span<const Reference> referencesFrom(std::uint32_t id) const;
    // What a derived picture is made of ("dimg"), or nullptr.
    const Reference* inputsOf(std::uint32_t id) const;
};

// The top of a file: its brands and the boxes that matter.
struct HEIFFile {
    ByteRange brands; // Content of "ftyp".
    std::optional<Box> meta;
    std::vector<Box> boxes; // All boxes of the top level.
    ByteRange trailer;      // Bytes behind the last box that are none.
    bool hasTracks = false;
};

// Fails on a file that is cut within a box; `file` holds what stands before the cut.
Result<Done> readHEIFFile(ByteSource& source, HEIFFile& file);

// Fails on a "meta" box that is not one of pictures, or whose tables are damaged; `items` holds
// what could be read.
Result<Done> readHEIFItems(ByteSource& source, const Box& meta, HEIFItems& items);

} // namespace nullprint::image
