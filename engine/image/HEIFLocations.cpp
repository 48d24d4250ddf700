#include "engine/image/HEIFLocations.h"

#include <algorithm>

namespace nullprint::image {
namespace {

// 8.11.3.3: fields of 0, 4 or 8 bytes.
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

} // namespace

Result<Done> ItemLocations::read(ByteCursor cursor)
{
    const std::uint8_t version = NP_TRY(cursor.u8());
    NP_TRY(cursor.skip(3));
    if (version > 2)
        return cursor.fail("iloc of another version");
    hasConstruction = version > 0;
    const std::uint16_t sizes = NP_TRY(cursor.u16());
    const std::uint32_t count = NP_TRY(readIdentifier(cursor, version == 2));
    if (count > limits::items)
        return cursor.fail("too many items");
    for (std::uint32_t index = 0; index < count; ++index) {
        Location location;
        location.id = NP_TRY(readIdentifier(cursor, version == 2));
        if (hasConstruction)
            location.construction = NP_TRY(cursor.u16()) & 0xF;
        location.isElsewhere = NP_TRY(cursor.u16()) != 0;
        NP_TRY(readExtents(cursor, sizes, location));
        locations.push_back(std::move(location));
    }
    return Done{};
}

Result<Done> ItemLocations::readExtents(ByteCursor& cursor, std::uint16_t sizes, Location& location)
{
    const std::uint64_t base = NP_TRY(readSized(cursor, sizes >> 4 & 0xF));
    const std::uint16_t count = NP_TRY(cursor.u16());
    // Only a single extent may leave out what it says; more of them would cost no bytes at all.
    const bool isStated = (sizes >> 12) != 0 && (sizes >> 8 & 0xF) != 0;
    if (count > 1 && !isStated)
        return cursor.fail("extents without offset or length");
    for (std::uint16_t index = 0; index < count; ++index) {
        Extent extent{};
        extent.index = NP_TRY(readSized(cursor, hasConstruction ? sizes & 0xF : 0U));
        extent.offset = NP_TRY(readSized(cursor, sizes >> 12));
        extent.length = NP_TRY(readSized(cursor, sizes >> 8 & 0xF));
        if (extent.offset > UINT64_MAX - base)
            return cursor.fail("iloc offset too large");
        extent.offset += base;
        if (++extentCount > limits::itemLinks)
            return cursor.fail("too many extents");
        location.extents.push_back(extent);
    }
    return Done{};
}

const ItemLocations::Location* ItemLocations::find(std::uint32_t id) const
{
    const auto place = std::ranges::lower_bound(locations, id, {}, &Location::id);
    return place != locations.end() && place->id == id ? &*place : nullptr;
}

void ItemLocations::resolve(HEIFItems& items)
{
    idat = items.idat;
    stepsLeft = limits::itemLinks;
    std::ranges::stable_sort(locations, {}, &Location::id);
    const auto repeat = std::ranges::adjacent_find(locations, {}, &Location::id);
    items.isAmbiguous = items.isAmbiguous || repeat != locations.end();
    for (const Reference& reference : items.references) {
        if (reference.type == fourCC("iloc"))
            sourceItems.emplace(reference.from, &reference);
    }
    for (Item& item : items.items)
        resolve(item);
}

// An item without a place has no data, as an identity derivation has none.
void ItemLocations::resolve(Item& item)
{
    const Location* location = find(item.id);
    Ranges data = location != nullptr ? resolved(*location, 0) : Ranges(std::in_place);
    item.isWhole = data.has_value();
    item.isInIdat = location != nullptr &&
                    location->construction == static_cast<std::uint8_t>(Construction::idat);
    if (data)
        item.data = std::move(*data);
}

namespace {

// Adds a stretch of ranges that are thought of as laid end to end. False when it is not all there.
bool addPart(const std::vector<ByteRange>& whole, ByteRange stretch, std::vector<ByteRange>& data)
{
    std::uint64_t skip = stretch.offset;
    std::uint64_t left = stretch.length == 0 ? UINT64_MAX : stretch.length;
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
    return stretch.length == 0 && skip == 0;
}

} // namespace

// The places in the file; nothing when they are not all in it. Every extent costs a step, so that
// items that are made of each other end soon.
ItemLocations::Ranges ItemLocations::resolved(const Location& location, unsigned depth)
{
    if (location.isElsewhere || depth > limits::itemNesting)
        return std::nullopt;
    std::vector<ByteRange> data;
    for (const Extent& extent : location.extents) {
        if (stepsLeft == 0)
            return std::nullopt;
        --stepsLeft;
        const auto whole = sourceOf(location, extent, depth);
        if (!whole || whole->size() > stepsLeft ||
            !addPart(*whole, {extent.offset, extent.length}, data))
            return std::nullopt;
        stepsLeft -= whole->size();
    }
    return data;
}

// What an extent is a part of: the file, "idat", or another item's data. No item is all of a file
// that it is listed in, though the standard would read an extent of length 0 so.
ItemLocations::Ranges
ItemLocations::sourceOf(const Location& location, const Extent& extent, unsigned depth)
{
    switch (static_cast<Construction>(location.construction)) {
    case Construction::file:
        if (extent.length == 0)
            return std::nullopt;
        return std::vector{ByteRange{0, source.size()}};
    case Construction::idat:
        return idat ? Ranges(std::vector{*idat}) : std::nullopt;
    case Construction::item:
        break;
    default:
        return std::nullopt;
    }
    const auto reference = sourceItems.find(location.id);
    const std::uint64_t index = extent.index == 0 ? 0 : extent.index - 1;
    if (reference == sourceItems.end() || index >= reference->second->to.size())
        return std::nullopt;
    const Location* target = find(reference->second->to[static_cast<std::size_t>(index)]);
    return target != nullptr ? resolved(*target, depth + 1) : std::nullopt;
}

} // namespace nullprint::image
