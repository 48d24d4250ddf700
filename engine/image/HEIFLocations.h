// Where the data of an HEIF file's items is. ISO/IEC 14496-12, 8.11.3 ("iloc").
#pragma once

#include "engine/image/HEIFItems.h"

#include <map>

namespace nullprint::image {

class ItemLocations {
public:
    explicit ItemLocations(ByteSource& source)
        : source(source)
    {
    }

    // Reads the content of an "iloc" box.
    Result<Done> read(ByteCursor cursor);

    // Sets `data`, `isWhole` and `isInIdat` of all items, which have their other fields. Of an item
    // that stands in the table more than once, the first entry counts.
    void resolve(HEIFItems& items);

private:
    struct Extent {
        std::uint64_t index; // Of an "iloc" reference, from 1; 0 is taken for 1.
        std::uint64_t offset;
        std::uint64_t length; // 0: all there is.
    };

    enum class Construction : std::uint8_t { file = 0, idat = 1, item = 2 };

    struct Location {
        std::uint32_t id = 0;
        std::uint8_t construction = 0;
        bool isElsewhere = false; // In another file.
        std::vector<Extent> extents;
    };

    using Ranges = std::optional<std::vector<ByteRange>>;

    Result<Done> readExtents(ByteCursor& cursor, std::uint16_t sizes, Location& location);
    const Location* find(std::uint32_t id) const;
    void resolve(Item& item);
    Ranges resolved(const Location& location, unsigned depth);
    Ranges sourceOf(const Location& location, const Extent& extent, unsigned depth);

    ByteSource& source;
    std::vector<Location> locations;
    bool hasConstruction = false;
    std::size_t extentCount = 0;
    std::optional<ByteRange> idat;
    std::map<std::uint32_t, const Reference*> sourceItems; // Of items that are made of items.
    std::size_t stepsLeft = 0;
};

} // namespace nullprint::image
