#include "engine/image/HEIFCopy.h"

#include "engine/image/ImageFormats.h"
#include "engine/image/JPEG.h"

#include <algorithm>
#include <map>

namespace nullprint::image {
namespace {

// 23008-12: coded pictures (annexes B, E, F, G, H, L; AV1 by its own binding) and derived ones
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

struct PropertyRow {
    std::uint32_t type;
    std::uint64_t contentBytes; // 0 for a size that varies.
};

// What a decoder or a viewer needs. A property that is not named here is not written.
constexpr std::array keptProperties{
    PropertyRow{fourCC("hvcC"), 0},  PropertyRow{fourCC("avcC"), 0},
    PropertyRow{fourCC("vvcC"), 0},  PropertyRow{fourCC("av1C"), 0},
    PropertyRow{fourCC("jpgC"), 0},  PropertyRow{fourCC("j2kH"), 0},
    PropertyRow{fourCC("uncC"), 0},  PropertyRow{fourCC("cmpd"), 0},
    PropertyRow{fourCC("cmpC"), 0},  PropertyRow{fourCC("icef"), 0},
    PropertyRow{fourCC("cpat"), 0},  PropertyRow{fourCC("splz"), 0},
    PropertyRow{fourCC("cloc"), 0},  PropertyRow{fourCC("disi"), 0},
    PropertyRow{fourCC("ispe"), 12}, PropertyRow{fourCC("pasp"), 8},
    PropertyRow{fourCC("colr"), 0},  PropertyRow{fourCC("pixi"), 0},
    PropertyRow{fourCC("rloc"), 12}, PropertyRow{fourCC("clap"), 32},
    PropertyRow{fourCC("irot"), 1},  PropertyRow{fourCC("imir"), 1},
    PropertyRow{fourCC("lsel"), 2},  PropertyRow{fourCC("a1op"), 1},
    PropertyRow{fourCC("a1lx"), 0},  PropertyRow{fourCC("clli"), 4},
    PropertyRow{fourCC("mdcv"), 24}, PropertyRow{fourCC("cclv"), 0},
    PropertyRow{fourCC("amve"), 8},  PropertyRow{fourCC("auxC"), 0},
};

// 23008-12, 6.5.8 with B.2.4.2 and E.2.4; ISO/IEC 23091-2. Depth maps, gain maps and mattes have
// other names.
constexpr std::array<std::string_view, 3> alphaNames{
    "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha",
    "urn:mpeg:hevc:2015:auxid:1",
    "urn:mpeg:avc:2015:auxid:1",
};

// Brands that promise what the copy does not have: tracks, and tone-mapped pictures.
constexpr std::array droppedBrands{fourCC("msf1"),
                                   fourCC("hevc"),
                                   fourCC("hevx"),
                                   fourCC("hevm"),
                                   fourCC("hevs"),
                                   fourCC("avcs"),
                                   fourCC("avis"),
                                   fourCC("jpgs"),
                                   fourCC("vvcs"),
                                   fourCC("tmap")};

template <typename Range> bool isIn(const Range& range, std::uint32_t value)
{
    return std::ranges::find(range, value) != std::ranges::end(range);
}

// The name in an "auxC" property, without what may follow it. Empty when it has none.
std::string auxiliaryName(ByteSource& source, const Box& property)
{
    constexpr std::uint64_t longest = 256;
    if (property.content.length < 4)
        return {};
    const auto raw = source.copyOf(
        {property.content.offset + 4, std::min(property.content.length - 4, longest)});
    if (!raw.ok())
        return {};
    const std::string_view text = asText(raw.value());
    return std::string(text.substr(0, text.find('\0')));
}

bool isAlpha(ByteSource& source, const HEIFItems& items, const Item& item)
{
    return std::ranges::any_of(item.properties, [&](const Association& each) {
        const Box* property = items.property(each);
        if (property == nullptr || property->type != fourCC("auxC"))
            return false;
        const std::string name = auxiliaryName(source, *property);
        return std::ranges::find(alphaNames, name) != alphaNames.end();
    });
}

class Selector {
public:
    Selector(ByteSource& source, const HEIFItems& items)
        : source(source)
        , items(items)
    {
        for (const Reference& reference : items.references) {
            byOrigin.emplace(reference.from, &reference);
            for (const std::uint32_t target : reference.to)
                byTarget.emplace(target, &reference);
        }
    }

    Result<Selection> select()
    {
        selection.primary = basePictureOf(items.primary);
        NP_TRY(show(selection.primary));
        for (const Item& item : items.items) {
            if (item.id != selection.primary && isShown(item))
                NP_TRY(show(item.id));
        }
        return std::move(selection);
    }

private:
    // A tone-mapped picture is its first input, seen through a gain map, which goes.
    std::uint32_t basePictureOf(std::uint32_t id) const
    {
        const Item* item = items.find(id);
        const Reference* inputs = derivation(id);
        const bool isToneMapped = item != nullptr && item->type == fourCC("tmap");
        return isToneMapped && inputs != nullptr && !inputs->to.empty() ? inputs->to[0] : id;
    }

    const Reference* derivation(std::uint32_t id) const
    {
        const auto [begin, end] = byOrigin.equal_range(id);
        for (auto each = begin; each != end; ++each) {
            if (each->second->type == fourCC("dimg"))
                return each->second;
        }
        return nullptr;
    }

    // 23008-12, 6.4.2: a picture that is not hidden and not there for another picture's sake.
    bool isShown(const Item& item) const
    {
        if (item.isHidden || !isPictureType(item.type))
            return false;
        const auto [begin, end] = byOrigin.equal_range(item.id);
        for (auto each = begin; each != end; ++each) {
            if (each->second->type == fourCC("thmb") || each->second->type == fourCC("auxl"))
                return false;
        }
        return !isGainMap(item.id);
    }

    bool isGainMap(std::uint32_t id) const
    {
        const auto [begin, end] = byTarget.equal_range(id);
        for (auto each = begin; each != end; ++each) {
            const Reference& reference = *each->second;
            const Item* origin = items.find(reference.from);
            if (reference.type == fourCC("dimg") && origin != nullptr &&
                origin->type == fourCC("tmap") && reference.to[0] != id)
                return true;
        }
        return false;
    }

    Result<Done> show(std::uint32_t id)
    {
        selection.shown.push_back(id);
        std::vector<std::uint32_t> waiting{id};
        while (!waiting.empty()) {
            const std::uint32_t next = waiting.back();
            waiting.pop_back();
            if (!selection.kept.insert(next).second)
                continue;
            NP_TRY(checkCarriable(next));
            const Reference* inputs = derivation(next);
            if (inputs != nullptr)
                waiting.insert(waiting.end(), inputs->to.begin(), inputs->to.end());
            addAlpha(next, waiting);
        }
        return Done{};
    }

    void addAlpha(std::uint32_t id, std::vector<std::uint32_t>& waiting) const
    {
        const auto [begin, end] = byTarget.equal_range(id);
        for (auto each = begin; each != end; ++each) {
            const Item* origin = items.find(each->second->from);
            if (each->second->type == fourCC("auxl") && origin != nullptr &&
                isPictureType(origin->type) && isAlpha(source, items, *origin))
                waiting.push_back(origin->id);
        }
    }

    Result<Done> checkCarriable(std::uint32_t id) const
    {
        const Item* item = items.find(id);
        if (item == nullptr || !isPictureType(item->type) || !item->isReadable)
            return Error{"a picture that cannot be carried over", id};
        for (const Association& association : item->properties) {
            const Box* property = items.property(association);
            const bool isMissing = association.index != 0 && property == nullptr;
            const bool isUnknown =
                property != nullptr && association.isEssential && !isKeptProperty(*property);
            if (isMissing || isUnknown)
                return Error{"a picture with a property that cannot be carried over", id};
        }
        return Done{};
    }

public:
    static bool isKeptProperty(const Box& property)
    {
        const auto* row = std::ranges::find(keptProperties, property.type, &PropertyRow::type);
        return row != keptProperties.end() &&
               (row->contentBytes == 0 || row->contentBytes == property.content.length);
    }

private:
    ByteSource& source;
    const HEIFItems& items;
    std::multimap<std::uint32_t, const Reference*> byOrigin;
    std::multimap<std::uint32_t, const Reference*> byTarget;
    Selection selection;
};

void append16(OutputPlan& plan, std::uint64_t value)
{
    Bytes bytes;
    nullprint::append16(bytes, static_cast<std::uint16_t>(value), ByteOrder::big);
    plan.write(bytes);
}

void append32(OutputPlan& plan, std::uint64_t value)
{
    Bytes bytes;
    nullprint::append32(bytes, static_cast<std::uint32_t>(value), ByteOrder::big);
    plan.write(bytes);
}

void append64(OutputPlan& plan, std::uint64_t value)
{
    Bytes bytes;
    nullprint::append64(bytes, value, ByteOrder::big);
    plan.write(bytes);
}

void appendBox(OutputPlan& plan, std::uint32_t type, const OutputPlan& content)
{
    append32(plan, content.size() + 8);
    append32(plan, type);
    plan.append(content, 0);
}

OutputPlan fullBoxHead(unsigned version, std::uint32_t flags)
{
    OutputPlan plan;
    append32(plan, version << 24 | flags);
    return plan;
}

// The data of one kept item, and where it goes.
struct Payload {
    const Item* item;
    OutputPlan plan;
    std::uint64_t offset = 0; // In "idat", or in the file.
    std::uint64_t origin = 0; // Where it stood: the copy keeps the order.
};

class Writer {
public:
    Writer(ByteSource& source, const HEIFFile& file, const HEIFItems& items, Selection selection)
        : source(source)
        , file(file)
        , items(items)
        , selection(std::move(selection))
    {
        isWide = *this->selection.kept.rbegin() > 0xFFFF;
    }

    Result<OutputPlan> plan()
    {
        NP_TRY(gatherPayloads());
        OutputPlan out;
        NP_TRY(writeBrands(out));
        const OutputPlan before = planBefore();
        const OutputPlan after = NP_TRY(planAfter());
        hasLongOffsets = file.boxes.back().whole.end() > 0xF0000000U;
        const std::uint64_t metaBytes = 12 + before.size() + locationBytes() + after.size();
        const std::uint64_t mdatHead = hasLongOffsets ? 16 : 8;
        std::uint64_t place = out.size() + metaBytes + mdatHead;
        for (Payload* payload : inMdat) {
            payload->offset = place;
            place += payload->plan.size();
        }
        append32(out, metaBytes);
        append32(out, fourCC("meta"));
        append32(out, 0);
        out.append(before, 0);
        writeLocations(out);
        out.append(after, 0);
        writeMdat(out, mdatTotal(), mdatHead);
        return out;
    }

private:
    std::uint64_t mdatTotal() const
    {
        std::uint64_t total = 0;
        for (const Payload* payload : inMdat)
            total += payload->plan.size();
        return total;
    }

    Result<Done> gatherPayloads()
    {
        std::uint64_t total = 0;
        for (const std::uint32_t id : selection.kept) {
            const Item& item = *items.find(id);
            Payload payload{&item, NP_TRY(dataOf(item)), 0, 0};
            payload.origin = item.data.empty() ? 0 : item.data.front().offset;
            total += payload.plan.size();
            // Items may share bytes, but only so many copies of a file are worth writing.
            if (total > source.size() + limits::windowBytes)
                return Error{"items that hold more than the file", item.id};
            payloads.push_back(std::move(payload));
        }
        for (Payload& payload : payloads)
            (payload.item->isInIdat ? inIdat : inMdat).push_back(&payload);
        std::ranges::stable_sort(inMdat, {}, &Payload::origin);
        std::uint64_t place = 0;
        for (Payload* payload : inIdat) {
            payload->offset = place;
            place += payload->plan.size();
        }
        return Done{};
    }

    // Coded data as it is. A JPEG has metadata of its own inside.
    Result<OutputPlan> dataOf(const Item& item)
    {
        OutputPlan plan;
        for (const ByteRange& range : item.data)
            plan.copy(range);
        if (item.type != fourCC("jpeg"))
            return plan;
        if (item.data.size() != 1)
            return Error{"a JPEG item in pieces", item.id};
        PartSource part(source, item.data[0]);
        const OutputPlan cleaned = NP_TRY(jpegFormat.planCleanCopy(part));
        OutputPlan whole;
        whole.append(cleaned, item.data[0].offset);
        return whole;
    }

    Result<Done> writeBrands(OutputPlan& out) const // 14496-12, 4.3
    {
        ByteCursor cursor(source, file.brands);
        std::uint32_t major = NP_TRY(cursor.u32());
        NP_TRY(cursor.skip(4)); // The major brand's minor version says nothing of the copy.
        OutputPlan compatible;
        constexpr std::uint64_t most = 64;
        for (std::uint64_t left = std::min(cursor.remaining() / 4, most); left > 0; --left) {
            const std::uint32_t brand = NP_TRY(cursor.u32());
            if (!isIn(droppedBrands, brand))
                append32(compatible, brand);
        }
        if (isIn(droppedBrands, major))
            major = major == fourCC("avis") ? fourCC("avif") : fourCC("mif1");
        OutputPlan content;
        append32(content, major);
        append32(content, 0);
        content.append(compatible, 0);
        appendBox(out, fourCC("ftyp"), content);
        return Done{};
    }

    void appendIdentifier(OutputPlan& plan, std::uint32_t id) const
    {
        isWide ? append32(plan, id) : append16(plan, id);
    }

    OutputPlan planBefore() const
    {
        OutputPlan out;
        OutputPlan handler = fullBoxHead(0, 0);
        append32(handler, 0);
        append32(handler, fourCC("pict"));
        handler.write(Bytes(13)); // Reserved, and an empty name.
        appendBox(out, fourCC("hdlr"), handler);
        OutputPlan primary = fullBoxHead(isWide ? 1 : 0, 0);
        appendIdentifier(primary, selection.primary);
        appendBox(out, fourCC("pitm"), primary);
        return out;
    }

    // 8.11.3: version 1 with 16-bit identifiers or 2 with 32-bit ones; one extent an item.
    std::uint64_t locationBytes() const
    {
        const std::uint64_t offsetBytes = hasLongOffsets ? 8 : 4;
        const std::uint64_t identifierBytes = isWide ? 4 : 2;
        return 8 + 4 + 2 + identifierBytes +
               payloads.size() * (identifierBytes + 6 + 2 * offsetBytes);
    }

    void writeLocations(OutputPlan& out) const
    {
        OutputPlan content = fullBoxHead(isWide ? 2 : 1, 0);
        append16(content, hasLongOffsets ? 0x8800 : 0x4400);
        appendIdentifier(content, static_cast<std::uint32_t>(payloads.size()));
        for (const Payload& payload : payloads) {
            appendIdentifier(content, payload.item->id);
            append16(content, payload.item->isInIdat ? 1 : 0);
            append16(content, 0); // This file.
            append16(content, 1); // One extent.
            hasLongOffsets ? append64(content, payload.offset) : append32(content, payload.offset);
            hasLongOffsets ? append64(content, payload.plan.size())
                           : append32(content, payload.plan.size());
        }
        appendBox(out, fourCC("iloc"), content);
        assert(content.size() + 8 == locationBytes());
    }

    Result<OutputPlan> planAfter()
    {
        OutputPlan out;
        writeInformation(out);
        writeReferences(out);
        NP_TRY(writeProperties(out));
        if (!inIdat.empty()) {
            OutputPlan content;
            for (const Payload* payload : inIdat)
                content.append(payload->plan, 0);
            appendBox(out, fourCC("idat"), content);
        }
        writeGroups(out);
        return out;
    }

    void writeInformation(OutputPlan& out) const
    {
        OutputPlan content = fullBoxHead(isWide ? 1 : 0, 0);
        appendIdentifier(content, static_cast<std::uint32_t>(payloads.size()));
        for (const Payload& payload : payloads) {
            OutputPlan entry = fullBoxHead(isWide ? 3 : 2, payload.item->isHidden ? 1 : 0);
            appendIdentifier(entry, payload.item->id);
            append16(entry, 0); // Not protected.
            append32(entry, payload.item->type);
            entry.write(Bytes(1)); // An empty name.
            appendBox(content, fourCC("infe"), entry);
        }
        appendBox(out, fourCC("iinf"), content);
    }

    bool isKeptItem(std::uint32_t id) const { return selection.kept.contains(id); }

    void writeReferences(OutputPlan& out) const
    {
        constexpr std::array keptReferences{fourCC("dimg"), fourCC("auxl"), fourCC("prem")};
        OutputPlan content = fullBoxHead(isWide ? 1 : 0, 0);
        const std::uint64_t empty = content.size();
        for (const Reference& reference : items.references) {
            std::vector<std::uint32_t> targets = reference.to;
            std::erase_if(targets, [this](std::uint32_t id) { return !isKeptItem(id); });
            if (!isIn(keptReferences, reference.type) || !isKeptItem(reference.from) ||
                targets.empty())
                continue;
            OutputPlan box;
            appendIdentifier(box, reference.from);
            append16(box, targets.size());
            for (const std::uint32_t target : targets)
                appendIdentifier(box, target);
            appendBox(content, reference.type, box);
        }
        if (content.size() > empty)
            appendBox(out, fourCC("iref"), content);
    }

    // 12.1.5: the colour types that say how to show; others are somebody's own.
    bool isWritten(const Box& property) const
    {
        if (!Selector::isKeptProperty(property))
            return false;
        if (property.type == fourCC("auxC")) {
            const std::string name = auxiliaryName(source, property);
            return std::ranges::find(alphaNames, name) != alphaNames.end();
        }
        if (property.type != fourCC("colr"))
            return true;
        const auto type = ByteCursor(source, property.content).u32();
        constexpr std::array colours{fourCC("nclx"), fourCC("prof"), fourCC("rICC")};
        return type.ok() && isIn(colours, type.value());
    }

    void writeProperty(OutputPlan& out, const Box& property) const
    {
        OutputPlan content;
        if (property.type == fourCC("auxC")) {
            content = fullBoxHead(0, 0);
            content.write(auxiliaryName(source, property));
            content.write(Bytes(1));
        } else {
            content.copy(property.content);
        }
        appendBox(out, property.type, content);
    }

    // Numbers the properties anew, in their old order; some readers go by it.
    Result<Done> writeProperties(OutputPlan& out)
    {
        std::vector<bool> isUsed(items.properties.size() + 1);
        for (const Payload& payload : payloads) {
            for (const Association& each : payload.item->properties) {
                const Box* property = items.property(each);
                if (property != nullptr)
                    isUsed[each.index] = isUsed[each.index] || isWritten(*property);
            }
        }
        OutputPlan container;
        std::vector<std::uint16_t> newIndex(isUsed.size());
        std::uint16_t count = 0;
        for (std::size_t index = 1; index < isUsed.size(); ++index) {
            if (!isUsed[index])
                continue;
            newIndex[index] = ++count;
            writeProperty(container, items.properties[index - 1]);
        }
        OutputPlan content;
        appendBox(content, fourCC("ipco"), container);
        appendBox(content, fourCC("ipma"), NP_TRY(planAssociations(newIndex)));
        appendBox(out, fourCC("iprp"), content);
        return Done{};
    }

    Result<OutputPlan> planAssociations(const std::vector<std::uint16_t>& newIndex) const
    {
        const bool hasWideIndex = std::ranges::max(newIndex) > 0x7F;
        OutputPlan content = fullBoxHead(isWide ? 1 : 0, hasWideIndex ? 1 : 0);
        append32(content, payloads.size());
        for (const Payload& payload : payloads) {
            appendIdentifier(content, payload.item->id);
            OutputPlan list;
            std::uint8_t count = 0;
            for (const Association& each : payload.item->properties) {
                if (each.index == 0 || newIndex[each.index] == 0)
                    continue;
                if (++count == 0)
                    return Error{"too many properties for one item", payload.item->id};
                const unsigned top = hasWideIndex ? 0x8000 : 0x80;
                const unsigned word = newIndex[each.index] | (each.isEssential ? top : 0);
                hasWideIndex ? append16(list, word) : list.write(Bytes{static_cast<Byte>(word)});
            }
            content.write(Bytes{count});
            content.append(list, 0);
        }
        return content;
    }

    // 14496-12, 8.18.3: alternatives, and pairs for the two eyes.
    void writeGroups(OutputPlan& out) const
    {
        constexpr std::array keptGroups{fourCC("altr"), fourCC("ster")};
        OutputPlan content;
        for (const EntityGroup& group : items.groups) {
            std::vector<std::uint32_t> members = group.members;
            std::erase_if(members, [this](std::uint32_t id) { return !isKeptItem(id); });
            if (!isIn(keptGroups, group.type) || members.size() < 2)
                continue;
            OutputPlan box = fullBoxHead(0, 0);
            append32(box, group.id);
            append32(box, members.size());
            for (const std::uint32_t member : members)
                append32(box, member);
            appendBox(content, group.type, box);
        }
        if (content.size() > 0)
            appendBox(out, fourCC("grpl"), content);
    }

    void writeMdat(OutputPlan& out, std::uint64_t total, std::uint64_t head) const
    {
        append32(out, head == 16 ? 1 : total + head);
        append32(out, fourCC("mdat"));
        if (head == 16)
            append64(out, total + head);
        for (const Payload* payload : inMdat)
            out.append(payload->plan, 0);
    }

    ByteSource& source;
    const HEIFFile& file;
    const HEIFItems& items;
    Selection selection;
    bool isWide = false;         // 32-bit identifiers.
    bool hasLongOffsets = false; // 64-bit offsets.
    std::vector<Payload> payloads;
    std::vector<Payload*> inIdat;
    std::vector<Payload*> inMdat;
};

} // namespace

bool isPictureType(std::uint32_t type)
{
    return isIn(pictureTypes, type);
}

Result<Selection> selectPictures(ByteSource& source, const HEIFItems& items)
{
    return Selector(source, items).select();
}

Result<OutputPlan> planHEIF(ByteSource& source, const HEIFFile& file, const HEIFItems& items)
{
    Selection selection = NP_TRY(selectPictures(source, items));
    return Writer(source, file, items, std::move(selection)).plan();
}

} // namespace nullprint::image
