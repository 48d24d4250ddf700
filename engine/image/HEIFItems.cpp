#include "engine/image/HEIFItems.h"

#include "engine/image/HEIFLocations.h"

#include <algorithm>
#include <set>

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

class MetaReader {
public:
    MetaReader(ByteSource& source, const Box& meta, HEIFItems& items)
        : source(source)
        , meta(meta)
        , result(items)
        , locations(source)
    {
    }

    // The tables may come in any order; what needs several of them waits until all are there.
    Result<Done> read()
    {
        const Result<Done> outcome = readChildren();
        for (const auto& [id, association] : associations)
            associate(id, association);
        indexReferences();
        locations.resolve(result);
        return outcome;
    }

private:
    Result<Done> readChildren()
    {
        ByteCursor cursor(source, meta.content);
        NP_TRY(readHead(cursor));
        while (!cursor.atEnd()) {
            const Box box = NP_TRY(readBox(cursor));
            if (isFirst(box.type))
                NP_TRY(readChild(box));
        }
        return isPictures ? Result<Done>(Done{})
                          : Error{"meta box without pictures", meta.whole.offset};
    }

    // Whether this is the first of its kind, of those that there may be one of.
    bool isFirst(std::uint32_t type)
    {
        constexpr std::array single{fourCC("hdlr"),
                                    fourCC("pitm"),
                                    fourCC("iloc"),
                                    fourCC("iinf"),
                                    fourCC("iref"),
                                    fourCC("iprp"),
                                    fourCC("ipco"),
                                    fourCC("grpl"),
                                    fourCC("idat")};
        if (std::ranges::find(single, type) == single.end())
            return true;
        const bool isNew = std::ranges::find(seen, type) == seen.end();
        isNew ? seen.push_back(type) : void(result.isAmbiguous = true);
        return isNew;
    }

    Result<Done> readChild(const Box& box)
    {
        ByteCursor cursor(source, box.content);
        switch (box.type) {
        case fourCC("hdlr"):
            return readHandler(cursor);
        case fourCC("pitm"):
            return readPrimary(cursor);
        case fourCC("iloc"):
            return locations.read(cursor);
        case fourCC("iinf"):
            return readInformation(cursor);
        case fourCC("iref"):
            return readReferences(cursor);
        case fourCC("iprp"):
            return readProperties(cursor);
        case fourCC("grpl"):
            return readGroups(cursor);
        case fourCC("idat"):
            result.idat = box.content;
            return Done{};
        default:
            return Done{};
        }
    }

    // A bound on what the tables together may list.
    Result<Done> countLinks(const ByteCursor& cursor, std::uint64_t more)
    {
        if (more > limits::itemLinks - links)
            return cursor.fail("too many links between items");
        links += static_cast<std::size_t>(more);
        return Done{};
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
        std::vector<Item> items;
        Result<Done> outcome = Done{};
        while (outcome.ok() && !cursor.atEnd())
            outcome = readEntry(cursor, items);
        std::ranges::stable_sort(items, {}, &Item::id);
        const auto repeats = std::unique(items.begin(),
                                         items.end(),
                                         [](const Item& a, const Item& b) { return a.id == b.id; });
        result.isAmbiguous = result.isAmbiguous || repeats != items.end();
        items.erase(repeats, items.end());
        result.items = std::move(items);
        return outcome;
    }

    Result<Done> readEntry(ByteCursor& list, std::vector<Item>& items)
    {
        const Box entry = NP_TRY(readBox(list));
        if (entry.type != fourCC("infe"))
            return Done{};
        ByteCursor cursor(source, entry.content);
        Item item;
        const FullBoxHead head = NP_TRY(readHead(cursor));
        item.isHidden = (head.flags & 1) != 0;
        item.id = NP_TRY(readIdentifier(cursor, head.version >= 3));
        item.isProtected = NP_TRY(cursor.u16()) != 0;
        if (head.version >= 2)
            item.type = NP_TRY(cursor.u32());
        if (items.size() == limits::items)
            return cursor.fail("too many items");
        items.push_back(std::move(item));
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
            NP_TRY(countLinks(cursor, count + 1U));
            for (std::uint16_t index = 0; index < count; ++index)
                reference.to.push_back(NP_TRY(readIdentifier(inner, head.version > 0)));
            result.references.push_back(std::move(reference));
        }
        return Done{};
    }

    void indexReferences()
    {
        std::ranges::stable_sort(result.references, {}, &Reference::from);
        for (std::size_t index = 0; index < result.references.size(); ++index) {
            if (result.references[index].type == fourCC("dimg"))
                result.inputs.try_emplace(result.references[index].from, index);
        }
    }

    Result<Done> readProperties(ByteCursor cursor) // 23008-12, 9.3.1
    {
        while (!cursor.atEnd()) {
            const Box box = NP_TRY(readBox(cursor));
            const ByteCursor inner(source, box.content);
            if (box.type == fourCC("ipco") && isFirst(box.type)) {
                NP_TRY(readPropertyBoxes(inner));
            } else if (box.type == fourCC("ipma")) {
                NP_TRY(readAssociations(inner));
            }
        }
        return Done{};
    }

    Result<Done> readPropertyBoxes(ByteCursor cursor)
    {
        constexpr std::size_t most = 0x7FFF; // An index has 15 bits.
        while (!cursor.atEnd()) {
            if (result.properties.size() == most)
                return cursor.fail("more properties than can be numbered");
            result.properties.push_back(NP_TRY(readBox(cursor)));
        }
        return Done{};
    }

    // There may be several such tables, but each item stands in one, once.
    Result<Done> readAssociations(ByteCursor cursor)
    {
        const FullBoxHead head = NP_TRY(readHead(cursor));
        const bool isWide = (head.flags & 1) != 0;
        const unsigned top = isWide ? 0x8000 : 0x80;
        const std::uint32_t count = NP_TRY(cursor.u32());
        for (std::uint32_t index = 0; index < count; ++index) {
            const std::uint32_t id = NP_TRY(readIdentifier(cursor, head.version > 0));
            const std::uint8_t itsCount = NP_TRY(cursor.u8());
            NP_TRY(countLinks(cursor, itsCount + 1U));
            const bool isNew = associated.insert(id).second;
            result.isAmbiguous = result.isAmbiguous || !isNew;
            for (std::uint8_t each = 0; each < itsCount; ++each) {
                const std::uint16_t word = isWide ? NP_TRY(cursor.u16()) : NP_TRY(cursor.u8());
                const auto place = static_cast<std::uint16_t>(word & (top - 1));
                if (isNew)
                    associations.push_back({id, {place, (word & top) != 0}});
            }
        }
        return Done{};
    }

    void associate(std::uint32_t id, const Association& association)
    {
        const auto place = std::ranges::lower_bound(result.items, id, {}, &Item::id);
        if (place != result.items.end() && place->id == id)
            place->properties.push_back(association);
    }

    Result<Done> readGroups(ByteCursor cursor) // 14496-12, 8.18
    {
        while (!cursor.atEnd()) {
            const Box box = NP_TRY(readBox(cursor));
            ByteCursor inner(source, box.content);
            NP_TRY(readHead(inner));
            EntityGroup group{box.type, NP_TRY(inner.u32()), {}};
            const std::uint32_t count = NP_TRY(inner.u32());
            NP_TRY(countLinks(cursor, count + 1ULL));
            for (std::uint32_t index = 0; index < count; ++index)
                group.members.push_back(NP_TRY(inner.u32()));
            result.groups.push_back(std::move(group));
        }
        return Done{};
    }

    ByteSource& source;
    const Box meta;
    HEIFItems& result;
    bool isPictures = false;
    std::vector<std::uint32_t> seen; // Types of boxes that there may be one of.
    ItemLocations locations;
    std::vector<std::pair<std::uint32_t, Association>> associations;
    std::set<std::uint32_t> associated;
    std::size_t links = 0;
};

} // namespace

Result<std::uint32_t> readIdentifier(ByteCursor& cursor, bool isWide)
{
    if (isWide)
        return cursor.u32();
    return static_cast<std::uint32_t>(NP_TRY(cursor.u16()));
}

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

const Box* HEIFItems::property(const Item& item, std::uint32_t type) const
{
    for (const Association& each : item.properties) {
        const Box* box = property(each);
        if (box != nullptr && box->type == type)
            return box;
    }
    return nullptr;
}

std::span<const Reference> HEIFItems::referencesFrom(std::uint32_t id) const
{
    const auto begin = std::ranges::lower_bound(references, id, {}, &Reference::from);
    const auto end = std::ranges::upper_bound(references, id, {}, &Reference::from);
    return {begin, end};
}

const Reference* HEIFItems::inputsOf(std::uint32_t id) const
{
    const auto place = inputs.find(id);
    return place != inputs.end() ? &references[place->second] : nullptr;
}

namespace {

// What stands behind the last box may be anything: other programs append their own data. But a
// box of a kind that belongs there is one that has been cut.
bool isTrailer(ByteCursor rest)
{
    constexpr std::array topLevel{fourCC("ftyp"),
                                  fourCC("meta"),
                                  fourCC("mdat"),
                                  fourCC("moov"),
                                  fourCC("free"),
                                  fourCC("skip"),
                                  fourCC("uuid"),
                                  fourCC("imda"),
                                  fourCC("mpvd")};
    if (rest.remaining() < 8)
        return true;
    const auto size = rest.u32();
    const auto type = rest.u32();
    return size.ok() && type.ok() && std::ranges::find(topLevel, type.value()) == topLevel.end();
}

} // namespace

Result<Done> readHEIFFile(ByteSource& source, HEIFFile& file)
{
    ByteCursor cursor(source);
    while (!cursor.atEnd()) {
        const ByteCursor before = cursor;
        const auto read = readBox(cursor);
        if (!read.ok() && !file.boxes.empty() && isTrailer(before)) {
            file.trailer = before.rest();
            return Done{};
        }
        const Box box = NP_TRY(read);
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

Result<Done> readHEIFItems(ByteSource& source, const Box& meta, HEIFItems& items)
{
    return MetaReader(source, meta, items).read();
}

} // namespace nullprint::image
