#include "engine/image/HEIFItems.h"

#include <algorithm>
#include <map>

namespace nullprint::image {
namespace {

struct FullBoxHead {
    std::uint8_t version;
    std::uint32_t flags;
};

Result<FullBoxHead> readHead(ByteCursor& cursor)
{
    const std::uint32_t word = NP_TRY(cursor.u32());
    return FullBoxHead{static_cast<std::uint8_t>(word >> 24), word & 0xFFFFFF};
}

// Many tables have identifiers of 16 bits in old versions and of 32 in new ones.
Result<std::uint32_t> readIdentifier(ByteCursor& cursor, bool isWide)
{
    if (isWide)
        return cursor.u32();
    return static_cast<std::uint32_t>(NP_TRY(cursor.u16()));
}

// 14496-12, 8.11.3.3: fields of 0, 4 or 8 bytes.
Result<std::uint64_t> readSized(ByteCursor& cursor, unsigned bytes)
{
    switch (bytes) {
    case 0:
        return std::uint64_t{0};
    case 4:
        return static_cast<std::uint64_t>(NP_TRY(cursor.u32()));
    case 8:
        return cursor.u64();
    default:
        return cursor.fail("iloc with another field size");
    }
}

struct Extent {
    std::uint64_t index; // Of an "iloc" reference, from 1; 0 is taken for 1.
    std::uint64_t offset;
    std::uint64_t length; // 0: all there is.
};

enum class Construction : std::uint8_t { file = 0, idat = 1, item = 2 };

// An item's data as "iloc" describes it, before it is resolved.
struct Location {
    std::uint32_t id = 0;
    std::uint8_t construction = 0;
    bool isElsewhere = false; // In another file.
    std::vector<Extent> extents;
};

class MetaReader {
public:
    MetaReader(ByteSource& source, const Box& meta)
        : source(source)
        , meta(meta)
    {
    }

    Result<HEIFItems> read()
    {
        ByteCursor cursor(source, meta.content);
        NP_TRY(readHead(cursor));
        while (!cursor.atEnd()) {
            const Box box = NP_TRY(readBox(cursor));
            NP_TRY(readChild(box));
        }
        if (!isPictures)
            return Error{"meta box without pictures", meta.whole.offset};
        NP_TRY(orderItems());
        for (Item& item : result.items)
            resolve(item);
        return std::move(result);
    }

private:
    Result<Done> readChild(const Box& box)
    {
        ByteCursor cursor(source, box.content);
        switch (box.type) {
        case fourCC("hdlr"):
            return readHandler(cursor);
        case fourCC("pitm"):
            return readPrimary(cursor);
        case fourCC("iloc"):
            return readLocations(cursor);
        case fourCC("iinf"):
            return readInformation(cursor);
        case fourCC("iref"):
            return readReferences(cursor);
        case fourCC("iprp"):
            return readProperties(cursor);
        case fourCC("grpl"):
            return readGroups(cursor);
        case fourCC("idat"):
            idat = box.content;
            return Done{};
        default:
            return Done{};
        }
    }

    Result<Done> readHandler(ByteCursor cursor) // 8.4.3
    {
        NP_TRY(cursor.skip(8));
        isPictures = NP_TRY(cursor.u32()) == fourCC("pict");
        return Done{};
    }

    Result<Done> readPrimary(ByteCursor cursor) // 8.11.4
    {
        const FullBoxHead head = NP_TRY(readHead(cursor));
        result.primary = NP_TRY(readIdentifier(cursor, head.version > 0));
        return Done{};
    }

    Result<Done> readInformation(ByteCursor cursor) // 8.11.6
    {
        const FullBoxHead head = NP_TRY(readHead(cursor));
        NP_TRY(readIdentifier(cursor, head.version > 0)); // The number of entries; they are boxes.
        while (!cursor.atEnd()) {
            const Box entry = NP_TRY(readBox(cursor));
            if (entry.type == fourCC("infe"))
                NP_TRY(readEntry(ByteCursor(source, entry.content)));
        }
        return Done{};
    }

    Result<Done> readEntry(ByteCursor cursor)
    {
        Item item;
        const FullBoxHead head = NP_TRY(readHead(cursor));
        item.isHidden = (head.flags & 1) != 0;
        item.id = NP_TRY(readIdentifier(cursor, head.version >= 3));
        item.isReadable = NP_TRY(cursor.u16()) == 0; // Not protected.
        if (head.version >= 2)
            item.type = NP_TRY(cursor.u32());
        if (result.items.size() == limits::items)
            return cursor.fail("too many items");
        result.items.push_back(std::move(item));
        return Done{};
    }

    // The tables may come in any order; now all of them are there.
    Result<Done> orderItems()
    {
        std::ranges::stable_sort(result.items, {}, &Item::id);
        if (std::ranges::adjacent_find(result.items, {}, &Item::id) != result.items.end())
            return Error{"two items of one identifier", meta.whole.offset};
        for (const auto& [id, association] : associations) {
            const auto place = std::ranges::lower_bound(result.items, id, {}, &Item::id);
            if (place != result.items.end() && place->id == id)
                place->properties.push_back(association);
        }
        for (const Reference& reference : result.references) {
            if (reference.type == fourCC("iloc"))
                sourceItems.emplace(reference.from, &reference);
        }
        return Done{};
    }

    Result<Done> readLocations(ByteCursor cursor) // 8.11.3
    {
        const FullBoxHead head = NP_TRY(readHead(cursor));
        const std::uint16_t sizes = NP_TRY(cursor.u16());
        const bool hasConstruction = head.version == 1 || head.version == 2;
        const std::uint32_t count = NP_TRY(readIdentifier(cursor, head.version == 2));
        for (std::uint32_t index = 0; index < count; ++index) {
            Location location;
            location.id = NP_TRY(readIdentifier(cursor, head.version == 2));
            if (hasConstruction)
                location.construction = NP_TRY(cursor.u16()) & 0xF;
            location.isElsewhere = NP_TRY(cursor.u16()) != 0;
            NP_TRY(readExtents(cursor, sizes, hasConstruction, location));
            locations.push_back(std::move(location));
        }
        std::ranges::stable_sort(locations, {}, &Location::id);
        return Done{};
    }

    Result<Done>
    readExtents(ByteCursor& cursor, std::uint16_t sizes, bool hasIndex, Location& location)
    {
        const std::uint64_t base = NP_TRY(readSized(cursor, sizes >> 4 & 0xF));
        const std::uint16_t count = NP_TRY(cursor.u16());
        for (std::uint16_t index = 0; index < count; ++index) {
            Extent extent{};
            extent.index = NP_TRY(readSized(cursor, hasIndex ? sizes & 0xF : 0U));
            extent.offset = NP_TRY(readSized(cursor, sizes >> 12));
            extent.length = NP_TRY(readSized(cursor, sizes >> 8 & 0xF));
            if (extent.offset > UINT64_MAX - base)
                return cursor.fail("iloc offset too large");
            extent.offset += base;
            if (++extentCount > limits::blocks)
                return cursor.fail("too many extents");
            location.extents.push_back(extent);
        }
        return Done{};
    }

    Result<Done> readReferences(ByteCursor cursor) // 8.11.12
    {
        const FullBoxHead head = NP_TRY(readHead(cursor));
        while (!cursor.atEnd()) {
            const Box box = NP_TRY(readBox(cursor));
            ByteCursor inner(source, box.content);
            Reference reference{box.type, NP_TRY(readIdentifier(inner, head.version > 0)), {}};
            const std::uint16_t count = NP_TRY(inner.u16());
            for (std::uint16_t index = 0; index < count; ++index)
                reference.to.push_back(NP_TRY(readIdentifier(inner, head.version > 0)));
            result.references.push_back(std::move(reference));
        }
        return Done{};
    }

    Result<Done> readProperties(ByteCursor cursor) // 23008-12, 9.3.1
    {
        while (!cursor.atEnd()) {
            const Box box = NP_TRY(readBox(cursor));
            ByteCursor inner(source, box.content);
            if (box.type == fourCC("ipco")) {
                while (!inner.atEnd())
                    result.properties.push_back(NP_TRY(readBox(inner)));
            } else if (box.type == fourCC("ipma")) {
                NP_TRY(readAssociations(inner));
            }
        }
        return Done{};
    }

    Result<Done> readAssociations(ByteCursor cursor)
    {
        const FullBoxHead head = NP_TRY(readHead(cursor));
        const bool isWide = (head.flags & 1) != 0;
        const std::uint32_t count = NP_TRY(cursor.u32());
        for (std::uint32_t index = 0; index < count; ++index) {
            const std::uint32_t id = NP_TRY(readIdentifier(cursor, head.version > 0));
            const std::uint8_t itsCount = NP_TRY(cursor.u8());
            for (std::uint8_t each = 0; each < itsCount; ++each) {
                const std::uint16_t word = isWide ? NP_TRY(cursor.u16()) : NP_TRY(cursor.u8());
                const unsigned top = isWide ? 0x8000 : 0x80;
                associations.push_back(
                    {id, {static_cast<std::uint16_t>(word & (top - 1)), (word & top) != 0}});
            }
        }
        return Done{};
    }

    Result<Done> readGroups(ByteCursor cursor) // 14496-12, 8.18
    {
        while (!cursor.atEnd()) {
            const Box box = NP_TRY(readBox(cursor));
            ByteCursor inner(source, box.content);
            NP_TRY(readHead(inner));
            EntityGroup group{box.type, NP_TRY(inner.u32()), {}};
            const std::uint32_t count = NP_TRY(inner.u32());
            for (std::uint32_t index = 0; index < count; ++index)
                group.members.push_back(NP_TRY(inner.u32()));
            result.groups.push_back(std::move(group));
        }
        return Done{};
    }

    const Location* locationOf(std::uint32_t id) const
    {
        const auto place = std::ranges::lower_bound(locations, id, {}, &Location::id);
        return place != locations.end() && place->id == id ? &*place : nullptr;
    }

    void resolve(Item& item)
    {
        const Location* location = locationOf(item.id);
        std::optional<std::vector<ByteRange>> data;
        if (location != nullptr)
            data = resolved(*location, 0);
        item.isReadable = item.isReadable && data;
        item.isInIdat = location != nullptr &&
                        location->construction == static_cast<std::uint8_t>(Construction::idat);
        if (data)
            item.data = std::move(*data);
    }

    // The places in the file; nothing when they are not all in it.
    std::optional<std::vector<ByteRange>> resolved(const Location& location, unsigned depth)
    {
        constexpr unsigned deepest = 4; // Items made of items made of items: nobody writes them.
        if (location.isElsewhere || depth > deepest)
            return std::nullopt;
        std::vector<ByteRange> data;
        for (const Extent& extent : location.extents) {
            const auto whole = sourceOf(location, extent, depth);
            if (!whole || whole->size() > stepsLeft || !addPart(*whole, extent, data))
                return std::nullopt;
            stepsLeft -= whole->size();
        }
        return data;
    }

    // What an extent is a part of: the file, "idat", or another item's data.
    std::optional<std::vector<ByteRange>>
    sourceOf(const Location& location, const Extent& extent, unsigned depth)
    {
        switch (static_cast<Construction>(location.construction)) {
        case Construction::file:
            return std::vector{ByteRange{0, source.size()}};
        case Construction::idat:
            return idat ? std::optional(std::vector{*idat}) : std::nullopt;
        case Construction::item:
            break;
        default:
            return std::nullopt;
        }
        const auto reference = sourceItems.find(location.id);
        const std::uint64_t index = extent.index == 0 ? 0 : extent.index - 1;
        if (reference == sourceItems.end() || index >= reference->second->to.size())
            return std::nullopt;
        const Location* target = locationOf(reference->second->to[static_cast<std::size_t>(index)]);
        return target != nullptr ? resolved(*target, depth + 1) : std::nullopt;
    }

    // Adds the stretch that an extent names, of ranges that are thought of as laid end to end.
    static bool
    addPart(const std::vector<ByteRange>& whole, const Extent& extent, std::vector<ByteRange>& data)
    {
        std::uint64_t skip = extent.offset;
        std::uint64_t left = extent.length == 0 ? UINT64_MAX : extent.length;
        for (const ByteRange& range : whole) {
            if (skip >= range.length) {
                skip -= range.length;
                continue;
            }
            const std::uint64_t take = std::min(range.length - skip, left);
            data.push_back({range.offset + skip, take});
            skip = 0;
            left -= take;
            if (left == 0)
                return true;
        }
        return extent.length == 0 && skip == 0;
    }

    ByteSource& source;
    const Box meta;
    HEIFItems result;
    bool isPictures = false;
    std::optional<ByteRange> idat;
    std::vector<Location> locations; // Ordered by identifier.
    std::size_t extentCount = 0;
    std::vector<std::pair<std::uint32_t, Association>> associations;
    std::map<std::uint32_t, const Reference*> sourceItems; // Of items that are made of items.
    std::size_t stepsLeft = limits::blocks;                // Of resolving, for all items together.
};

} // namespace

Result<Box> readBox(ByteCursor& cursor)
{
    const std::uint64_t start = cursor.position();
    const std::uint64_t available = cursor.remaining();
    Box box;
    std::uint64_t size = NP_TRY(cursor.u32());
    box.type = NP_TRY(cursor.u32());
    if (size == 1)
        size = NP_TRY(cursor.u64());
    if (size == 0)
        size = available;
    if (box.type == fourCC("uuid"))
        NP_TRY(cursor.skip(16));
    const std::uint64_t head = cursor.position() - start;
    if (size < head || size > available)
        return cursor.fail("box longer than what holds it");
    box.content = NP_TRY(cursor.skip(size - head));
    box.whole = {start, size};
    return box;
}

const Item* HEIFItems::find(std::uint32_t id) const
{
    const auto place = std::ranges::lower_bound(items, id, {}, &Item::id);
    return place != items.end() && place->id == id ? &*place : nullptr;
}

const Box* HEIFItems::property(const Association& association) const
{
    return association.index == 0 || association.index > properties.size()
               ? nullptr
               : &properties[association.index - 1U];
}

Result<Done> readHEIFFile(ByteSource& source, HEIFFile& file)
{
    ByteCursor cursor(source);
    while (!cursor.atEnd()) {
        const Box box = NP_TRY(readBox(cursor));
        if (file.boxes.size() == limits::items)
            return cursor.fail("too many boxes");
        if (file.boxes.empty())
            file.brands = box.content;
        if (box.type == fourCC("meta") && !file.meta)
            file.meta = box;
        file.hasTracks = file.hasTracks || box.type == fourCC("moov");
        file.boxes.push_back(box);
    }
    return Done{};
}

Result<HEIFItems> readHEIFItems(ByteSource& source, const Box& meta)
{
    return MetaReader(source, meta).read();
}

} // namespace nullprint::image
