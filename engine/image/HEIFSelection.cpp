#include "engine/image/HEIFSelection.h"

#include "engine/image/HEIFProperties.h"

#include <algorithm>
#include <map>

namespace nullprint::image {
namespace {

// 23008-12: coded pictures (annexes B, E, H, L; others by their own bindings) and derived ones
// (6.6).
constexpr std::array pictureTypes{
    fourCC("hvc1"), // Annex B
    fourCC("avc1"), // Annex E
    fourCC("jpeg"), // Annex H
    fourCC("j2k1"), // ISO/IEC 15444-16
    fourCC("vvc1"), // Annex L
    fourCC("av01"), // AV1 Image File Format, 2.1
    fourCC("unci"), // ISO/IEC 23001-17
    fourCC("iden"), // 6.6.2.1
    fourCC("iovl"), // 6.6.2.2
    fourCC("grid"), // 6.6.2.3
};

// Items that are about pictures and never part of one.
constexpr std::array metadataTypes{fourCC("Exif"), fourCC("mime"), fourCC("uri "), fourCC("iptc")};

template <typename Range> bool isIn(const Range& range, std::uint32_t value)
{
    return std::ranges::find(range, value) != std::ranges::end(range);
}

// What pictures of one kind are made of, and what has been walked to find that.
struct Parts {
    std::set<std::uint32_t> ids;
    std::set<std::uint32_t> walked;
};

class Selector {
public:
    Selector(ByteSource& source, const HEIFItems& items)
        : source(source)
        , items(items)
    {
    }

    Result<Selection> select()
    {
        if (items.isAmbiguous)
            return Error{"tables that can be read in two ways"};
        markSides();
        selection.primary = basePictureOf(items.primary);
        NP_TRY(show(selection.primary));
        for (const Item& item : items.items) {
            if (!item.isHidden && !isAside(item.id))
                NP_TRY(showIfPicture(item));
        }
        // An alpha that belongs to none of them would be a picture of its own.
        std::set<std::uint32_t> alphasInUse;
        for (const auto& [master, alpha] : alphasOf) {
            if (selection.kept.contains(master))
                alphasInUse.insert(alpha);
        }
        for (const std::uint32_t id : selection.kept) {
            if (!shown.contains(id) && (items.find(id)->isHidden || !alphasInUse.contains(id)))
                selection.hidden.insert(id);
        }
        return std::move(selection);
    }

private:
    // Thumbnails, auxiliary pictures and gain maps are there for another picture's sake, and so is
    // what they are made of, hidden or not.
    void markSides()
    {
        for (const Reference& reference : items.references) {
            const bool isAuxiliary = reference.type == fourCC("auxl");
            if (isAuxiliary || reference.type == fourCC("thmb")) {
                sides.insert(reference.from);
                masters.insert(reference.to.begin(), reference.to.end());
            }
            if (isAuxiliary)
                markParts(reference.from, auxiliaryParts);
            else if (reference.type == fourCC("thmb"))
                markParts(reference.from, otherParts);
            else if (reference.type == fourCC("dimg") && isToneMapped(reference.from))
                markGainMaps(reference);
            if (isAuxiliary && isAlpha(reference.from))
                markAlpha(reference);
        }
    }

    // A tone-mapped picture is its first input, seen through the gain map that is its second.
    void markGainMaps(const Reference& inputs)
    {
        for (std::size_t index = 1; index < inputs.to.size(); ++index) {
            sides.insert(inputs.to[index]);
            markParts(inputs.to[index], otherParts);
        }
    }

    // Nothing is walked twice, however many references say that it is there for another's sake.
    void markParts(std::uint32_t id, Parts& parts) const
    {
        std::vector<std::uint32_t> waiting{id};
        while (!waiting.empty()) {
            const std::uint32_t next = waiting.back();
            waiting.pop_back();
            const Reference* inputs = items.inputsOf(next);
            if (inputs == nullptr || !parts.walked.insert(next).second)
                continue;
            parts.ids.insert(inputs->to.begin(), inputs->to.end());
            waiting.insert(waiting.end(), inputs->to.begin(), inputs->to.end());
        }
    }

    // Every item's properties are gone through once, however many references come from it.
    bool isAlpha(std::uint32_t id)
    {
        const auto [place, isNew] = alphas.try_emplace(id, false);
        const Item* item = isNew ? items.find(id) : nullptr;
        if (item != nullptr)
            place->second = std::ranges::any_of(item->properties, [&](const Association& each) {
                const Box* property = items.property(each);
                return property != nullptr && isAlphaProperty(each.index, *property);
            });
        return place->second;
    }

    // Every property is looked into once, however many items have it.
    bool isAlphaProperty(std::uint16_t index, const Box& property)
    {
        if (property.type != fourCC("auxC"))
            return false;
        const auto [place, isNew] = alphaProperties.try_emplace(index, false);
        if (isNew)
            place->second = image::isAlphaProperty(source, property);
        return place->second;
    }

    void markAlpha(const Reference& reference)
    {
        for (const std::uint32_t master : reference.to)
            alphasOf.emplace(master, reference.from);
    }

    bool isAside(std::uint32_t id) const
    {
        return sides.contains(id) || auxiliaryParts.ids.contains(id) ||
               (otherParts.ids.contains(id) && !masters.contains(id));
    }

    bool isToneMapped(std::uint32_t id) const
    {
        const Item* item = items.find(id);
        return item != nullptr && item->type == fourCC("tmap");
    }

    std::uint32_t basePictureOf(std::uint32_t id) const
    {
        const Reference* inputs = isToneMapped(id) ? items.inputsOf(id) : nullptr;
        return inputs != nullptr && !inputs->to.empty() ? inputs->to[0] : id;
    }

    Result<Done> showIfPicture(const Item& item)
    {
        const std::uint32_t base = basePictureOf(item.id);
        if (base != item.id)
            return isAside(base) ? Result<Done>(Done{}) : show(base);
        if (isPictureType(item.type))
            return show(item.id);
        // Pictures have a size, whatever their type is, and derived ones have inputs. One that is
        // an alternative to another may have more to show than that: samples of more bits.
        const bool isPicture =
            items.property(item, fourCC("ispe")) != nullptr || items.inputsOf(item.id) != nullptr;
        const bool isLost = isPicture && item.type != fourCC("tmap");
        return isLost ? Error{"a picture of an unknown type", item.id} : Result<Done>(Done{});
    }

    Result<Done> show(std::uint32_t id)
    {
        if (!shown.insert(id).second)
            return Done{};
        selection.shown.push_back(id);
        std::vector<std::uint32_t> waiting{id};
        while (!waiting.empty()) {
            const std::uint32_t next = waiting.back();
            waiting.pop_back();
            if (!selection.kept.insert(next).second)
                continue;
            NP_TRY(checkCarriable(next));
            const Reference* inputs = items.inputsOf(next);
            if (inputs != nullptr)
                waiting.insert(waiting.end(), inputs->to.begin(), inputs->to.end());
            const auto [begin, end] = alphasOf.equal_range(next);
            for (auto each = begin; each != end; ++each)
                waiting.push_back(each->second);
        }
        return Done{};
    }

    Result<Done> checkCarriable(std::uint32_t id)
    {
        const Item* item = items.find(id);
        if (item == nullptr || id == 0 || !isPictureType(item->type) || item->isProtected)
            return Error{"a picture that cannot be carried over", id};
        const bool hasData = item->isWhole && !item->data.empty();
        if (!hasData && item->type != fourCC("iden"))
            return Error{"a picture without its data", id};
        for (const Reference& reference : items.referencesFrom(id)) {
            if (isIn(dependencies, reference.type))
                return Error{"a picture that is coded with the help of another", id};
        }
        for (const Association& association : item->properties) {
            if (association.index != 0 && fate(association) == PropertyFate::unclear)
                return Error{"a picture with a property that cannot be carried over", id};
        }
        return Done{};
    }

    PropertyFate fate(const Association& association)
    {
        const Box* property = items.property(association);
        if (property == nullptr)
            return PropertyFate::unclear;
        const auto [place, isNew] = fates.try_emplace({association.index, association.isEssential});
        if (isNew)
            place->second = fateOf(source, *property, association.isEssential);
        return place->second;
    }

    // 23008-12, 6.4.9 and B.4; ISO/IEC 14496-12, 8.11.12: predictions and layers between items.
    static constexpr std::array dependencies{fourCC("pred"),
                                             fourCC("exbl"),
                                             fourCC("tbas"),
                                             fourCC("dpnd")};

    ByteSource& source;
    const HEIFItems& items;
    std::set<std::uint32_t> sides;
    std::set<std::uint32_t> masters; // Pictures that have a thumbnail or an auxiliary picture.
    Parts auxiliaryParts;
    Parts otherParts;
    std::map<std::uint32_t, bool> alphas; // Whether what has been asked about is an alpha plane.
    std::multimap<std::uint32_t, std::uint32_t> alphasOf; // By the picture that they belong to.
    std::set<std::uint32_t> shown;
    std::map<std::uint16_t, bool> alphaProperties;
    std::map<std::pair<std::uint16_t, bool>, PropertyFate> fates;
    Selection selection;
};

// Where one item's data is, and whether that item is a kept one.
struct Stretch {
    ByteRange range;
    bool isKept;
};

// Ordered by place: the data of kept items, and of those that must not be in the copy.
std::vector<Stretch> stretchesOf(const HEIFItems& items, const Selection& selection)
{
    std::vector<Stretch> stretches;
    for (const Item& item : items.items) {
        const bool isKept = selection.kept.contains(item.id);
        if (!isKept && !isIn(metadataTypes, item.type))
            continue;
        for (const ByteRange& range : item.data)
            stretches.push_back({range, isKept});
    }
    std::ranges::sort(stretches, {}, [](const Stretch& each) { return each.range.offset; });
    return stretches;
}

// "idat" or a top-level box of data.
bool isDataPlace(const HEIFFile& file, const HEIFItems& items, const ByteRange& range)
{
    const auto lies = [&](const ByteRange& box) {
        return range.offset >= box.offset && range.end() <= box.end();
    };
    if (items.idat && lies(*items.idat))
        return true;
    const auto after = std::ranges::upper_bound(file.boxes, range.offset, {}, [](const Box& box) {
        return box.whole.offset;
    });
    if (after == file.boxes.begin())
        return false;
    const Box& box = *std::prev(after);
    return (box.type == fourCC("mdat") || box.type == fourCC("imda")) && lies(box.content);
}

} // namespace

bool isPictureType(std::uint32_t type)
{
    return isIn(pictureTypes, type);
}

Result<Selection> selectPictures(ByteSource& source, const HEIFItems& items)
{
    return Selector(source, items).select();
}

Result<Done> checkData(const HEIFFile& file, const HEIFItems& items, const Selection& selection)
{
    std::uint64_t keptEnd = 0;
    std::uint64_t otherEnd = 0;
    for (const auto& [range, isKept] : stretchesOf(items, selection)) {
        if (range.offset < (isKept ? otherEnd : keptEnd))
            return Error{"a picture that shares its data with metadata", range.offset};
        if (isKept && !isDataPlace(file, items, range))
            return Error{"a picture whose data is not where data belongs", range.offset};
        std::uint64_t& end = isKept ? keptEnd : otherEnd;
        end = std::max(end, range.end());
    }
    return Done{};
}

} // namespace nullprint::image
