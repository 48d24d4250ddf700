#include "engine/image/HEIFWriter.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/HEIFData.h"
#include "engine/image/HEIFProperties.h"
#include "engine/image/JPEG.h"

#include <algorithm>

namespace nullprint::image {
namespace {

// Brands that promise nothing but pictures. Others promise what the copy does not have (tracks,
// tone-mapped pictures), or name a camera's own.
constexpr std::array keptBrands{
    fourCC("mif1"), fourCC("mif2"), fourCC("heic"), fourCC("heix"), fourCC("heim"), fourCC("heis"),
    fourCC("avif"), fourCC("avio"), fourCC("avci"), fourCC("jpeg"), fourCC("j2ki"), fourCC("vvic"),
    fourCC("unif"), fourCC("miaf"), fourCC("1pic"), fourCC("MiHB"), fourCC("MiHA"), fourCC("MiHE"),
    fourCC("MiHX"), fourCC("MiAC"), fourCC("MiPr"), fourCC("MA1A"), fourCC("MA1B"),
};

template <typename Range> bool isIn(const Range& range, std::uint32_t value)
{
    return std::ranges::find(range, value) != std::ranges::end(range);
}

template <std::size_t Width> void appendInteger(OutputPlan& plan, std::uint64_t value)
{
    std::array<Byte, Width> bytes{};
    for (std::size_t index = 0; index < Width; ++index)
        bytes[index] = static_cast<Byte>(value >> (8 * (Width - 1 - index)));
    plan.write(bytes);
}

void append16(OutputPlan& plan, std::uint64_t value)
{
    appendInteger<2>(plan, value);
}

void append32(OutputPlan& plan, std::uint64_t value)
{
    appendInteger<4>(plan, value);
}

void append64(OutputPlan& plan, std::uint64_t value)
{
    appendInteger<8>(plan, value);
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

// A run of data in the copy.
struct Body {
    OutputPlan plan;
    bool isInIdat = false;
    std::uint64_t offset = 0; // In "idat", or in the file.
    std::uint64_t origin = 0; // Where it stood: the copy keeps the order.
};

// A JPEG has metadata of its own inside, and rules for what stays.
Result<OutputPlan> planJPEG(ByteSource& source, const HEIFItems& items, const Item& item)
{
    if (items.property(item, fourCC("jpgC")) != nullptr)
        return Error{"a JPEG item with its tables elsewhere", item.id};
    PartSource part(source, item.data[0]);
    const OutputPlan cleaned = NP_TRY(jpegFormat.planCleanCopy(part));
    OutputPlan whole;
    whole.append(cleaned, item.data[0].offset);
    return whole;
}

Result<Body> planBody(ByteSource& source, const HEIFItems& items, const PictureData::Run& run)
{
    Body body;
    body.isInIdat = run.item->isInIdat;
    for (const Block& block : run.blocks) {
        if (!isKept(block.kind))
            continue;
        if (body.plan.size() == 0)
            body.origin = block.range.offset;
        body.plan.copy(block.range);
    }
    if (body.plan.size() == 0 && run.item->type != fourCC("iden"))
        return Error{"a picture of nothing but user data", run.item->id};
    if (run.item->type == fourCC("jpeg"))
        body.plan = NP_TRY(planJPEG(source, items, *run.item));
    return body;
}

// 14496-12, 4.3. The major brand's minor version says nothing of the copy.
Result<OutputPlan> planBrands(ByteSource& source, const HEIFFile& file)
{
    ByteCursor cursor(source, file.brands);
    std::uint32_t major = NP_TRY(cursor.u32());
    NP_TRY(cursor.skip(4));
    if (!isIn(keptBrands, major))
        major = major == fourCC("avis") ? fourCC("avif") : fourCC("mif1");
    std::vector<std::uint32_t> compatible;
    for (std::uint64_t left = std::min(cursor.remaining() / 4, limits::brands); left > 0; --left) {
        const std::uint32_t brand = NP_TRY(cursor.u32());
        if (isIn(keptBrands, brand) && !isIn(compatible, brand))
            compatible.push_back(brand);
    }
    if (!isIn(compatible, major))
        compatible.push_back(major);
    OutputPlan content;
    append32(content, major);
    append32(content, 0);
    for (const std::uint32_t brand : compatible)
        append32(content, brand);
    return content;
}

class MetaWriter {
public:
    MetaWriter(ByteSource& source, const HEIFItems& items, const Selection& selection)
        : source(source)
        , items(items)
        , selection(selection)
        , isWide(*selection.kept.rbegin() > 0xFFFF)
    {
    }

    // Yields the whole file's plan behind its brands, of which there are `start` bytes.
    Result<OutputPlan> plan(std::uint64_t start)
    {
        NP_TRY(gather());
        NP_TRY(cleanProperties());
        const OutputPlan before = planBefore();
        const OutputPlan after = planAfter();
        const std::uint64_t metaBytes =
            12 + before.size() + 8 + planLocations().size() + after.size();
        if (metaBytes > limits::tableBytes)
            return Error{"tables longer than a box", 0};
        const std::uint64_t mdatHead = hasLongOffsets ? 16 : 8;
        placeMdat(start + metaBytes + mdatHead);
        OutputPlan content = fullBoxHead(0, 0);
        content.append(before, 0);
        appendBox(content, fourCC("iloc"), planLocations());
        content.append(after, 0);
        OutputPlan out;
        appendBox(out, fourCC("meta"), content);
        assert(out.size() == metaBytes);
        writeMdat(out);
        return out;
    }

private:
    struct Payload {
        const Item* item;
        std::size_t body;
    };

    Result<Done> gather()
    {
        PictureData data(source, items);
        for (const std::uint32_t id : selection.kept) {
            const Item& item = *items.find(id);
            payloads.push_back({&item, NP_TRY(data.add(item))});
        }
        for (const PictureData::Run& run : data.runs())
            bodies.push_back(NP_TRY(planBody(source, items, run)));
        std::uint64_t idatBytes = 0;
        for (Body& body : bodies) {
            if (body.isInIdat) {
                body.offset = idatBytes;
                idatBytes += body.plan.size();
            } else {
                inMdat.push_back(&body);
                mdatBytes += body.plan.size();
            }
        }
        std::ranges::stable_sort(inMdat, {}, &Body::origin);
        // Decided by the data alone, so that the copy of a copy has the same layout.
        hasLongOffsets = mdatBytes > UINT32_MAX - 2 * limits::tableBytes;
        return Done{};
    }

    void placeMdat(std::uint64_t place)
    {
        for (Body* body : inMdat) {
            body->offset = place;
            place += body->plan.size();
        }
    }

    void appendIdentifier(OutputPlan& plan, std::uint64_t id) const
    {
        isWide ? append32(plan, id) : append16(plan, id);
    }

    // The handler's name, which often names a program, is empty.
    OutputPlan planBefore() const
    {
        OutputPlan out;
        OutputPlan handler = fullBoxHead(0, 0);
        append32(handler, 0);
        append32(handler, fourCC("pict"));
        handler.write(Bytes(13)); // Reserved, and the name.
        appendBox(out, fourCC("hdlr"), handler);
        OutputPlan primary = fullBoxHead(isWide ? 1 : 0, 0);
        appendIdentifier(primary, selection.primary);
        appendBox(out, fourCC("pitm"), primary);
        return out;
    }

    // 8.11.3: version 1 with 16-bit identifiers or 2 with 32-bit ones; one extent an item, and none
    // for an item without data, as an extent of length 0 would be all there is.
    OutputPlan planLocations() const
    {
        OutputPlan content = fullBoxHead(isWide ? 2 : 1, 0);
        append16(content, hasLongOffsets ? 0x8800 : 0x4400);
        appendIdentifier(content, payloads.size());
        for (const Payload& payload : payloads) {
            const Body& body = bodies[payload.body];
            appendIdentifier(content, payload.item->id);
            append16(content, body.isInIdat ? 1 : 0);
            append16(content, 0); // This file.
            const bool hasData = body.plan.size() > 0;
            append16(content, hasData ? 1 : 0);
            if (!hasData)
                continue;
            hasLongOffsets ? append64(content, body.offset) : append32(content, body.offset);
            hasLongOffsets ? append64(content, body.plan.size())
                           : append32(content, body.plan.size());
        }
        return content;
    }

    OutputPlan planAfter() const
    {
        OutputPlan out;
        writeInformation(out);
        writeReferences(out);
        writeProperties(out);
        OutputPlan idat;
        for (const Body& body : bodies) {
            if (body.isInIdat)
                idat.append(body.plan, 0);
        }
        if (idat.size() > 0)
            appendBox(out, fourCC("idat"), idat);
        writeGroups(out);
        return out;
    }

    void writeInformation(OutputPlan& out) const // 8.11.6
    {
        OutputPlan content = fullBoxHead(isWide ? 1 : 0, 0);
        appendIdentifier(content, payloads.size());
        for (const Payload& payload : payloads) {
            const bool isHidden = selection.hidden.contains(payload.item->id);
            OutputPlan entry = fullBoxHead(isWide ? 3 : 2, isHidden ? 1 : 0);
            appendIdentifier(entry, payload.item->id);
            append16(entry, 0); // Not protected.
            append32(entry, payload.item->type);
            entry.write(Bytes(1)); // An empty name.
            appendBox(content, fourCC("infe"), entry);
        }
        appendBox(out, fourCC("iinf"), content);
    }

    std::vector<std::uint32_t> keptOf(std::vector<std::uint32_t> ids) const
    {
        std::erase_if(ids, [this](std::uint32_t id) { return !selection.kept.contains(id); });
        return ids;
    }

    void writeReferences(OutputPlan& out) const // 8.11.12
    {
        constexpr std::array keptReferences{fourCC("dimg"), fourCC("auxl"), fourCC("prem")};
        OutputPlan content = fullBoxHead(isWide ? 1 : 0, 0);
        const std::uint64_t empty = content.size();
        for (const Reference& reference : items.references) {
            if (!isIn(keptReferences, reference.type) || !selection.kept.contains(reference.from))
                continue;
            const std::vector<std::uint32_t> targets = keptOf(reference.to);
            if (targets.empty())
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

    // The order stays: some readers go by it.
    Result<Done> cleanProperties()
    {
        std::vector<bool> isUsed(items.properties.size() + 1);
        for (const Payload& payload : payloads) {
            for (const Association& each : payload.item->properties)
                isUsed[each.index] = true;
        }
        numbers.resize(isUsed.size());
        for (std::size_t index = 1; index < isUsed.size(); ++index) {
            if (!isUsed[index])
                continue;
            const Box& property = items.properties[index - 1];
            Bytes content = NP_TRY(freshContent(source, property));
            if (content.empty())
                continue;
            properties.emplace_back(property.type, std::move(content));
            numbers[index] = static_cast<std::uint16_t>(properties.size());
        }
        return Done{};
    }

    void writeProperties(OutputPlan& out) const // 23008-12, 9.3
    {
        OutputPlan container;
        for (const auto& [type, fresh] : properties) {
            OutputPlan content;
            content.write(fresh);
            appendBox(container, type, content);
        }
        OutputPlan content;
        appendBox(content, fourCC("ipco"), container);
        appendBox(content, fourCC("ipma"), planAssociations());
        appendBox(out, fourCC("iprp"), content);
    }

    OutputPlan planAssociations() const
    {
        const bool hasWideIndex = properties.size() > 0x7F;
        const unsigned top = hasWideIndex ? 0x8000 : 0x80;
        OutputPlan content = fullBoxHead(isWide ? 1 : 0, hasWideIndex ? 1 : 0);
        append32(content, payloads.size());
        for (const Payload& payload : payloads) {
            OutputPlan list;
            Byte count = 0; // An item has at most 255, also in the original.
            for (const Association& each : payload.item->properties) {
                if (numbers[each.index] == 0)
                    continue;
                const unsigned word = numbers[each.index] | (each.isEssential ? top : 0);
                hasWideIndex ? append16(list, word) : list.write(Bytes{static_cast<Byte>(word)});
                ++count;
            }
            appendIdentifier(content, payload.item->id);
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
            const std::vector<std::uint32_t> members = keptOf(group.members);
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

    void writeMdat(OutputPlan& out) const
    {
        append32(out, hasLongOffsets ? 1 : mdatBytes + 8);
        append32(out, fourCC("mdat"));
        if (hasLongOffsets)
            append64(out, mdatBytes + 16);
        for (const Body* body : inMdat)
            out.append(body->plan, 0);
    }

    ByteSource& source;
    const HEIFItems& items;
    const Selection& selection;
    const bool isWide; // 32-bit identifiers.
    std::vector<Body> bodies;
    std::vector<Payload> payloads;                           // Ordered by identifier.
    std::vector<std::pair<std::uint32_t, Bytes>> properties; // Types and contents in the copy.
    // Each property's number in the copy, by its number in the original; 0 for none.
    std::vector<std::uint16_t> numbers;
    std::vector<Body*> inMdat;
    std::uint64_t mdatBytes = 0;
    bool hasLongOffsets = false; // 64-bit offsets.
};

} // namespace

Result<OutputPlan> planHEIF(ByteSource& source,
                            const HEIFFile& file,
                            const HEIFItems& items,
                            const Selection& selection)
{
    if (file.meta->whole.length > limits::metadataBytes)
        return Error{"tables longer than tables are", file.meta->whole.offset};
    OutputPlan out;
    appendBox(out, fourCC("ftyp"), NP_TRY(planBrands(source, file)));
    const OutputPlan rest = NP_TRY(MetaWriter(source, items, selection).plan(out.size()));
    out.append(rest, 0);
    return out;
}

} // namespace nullprint::image
