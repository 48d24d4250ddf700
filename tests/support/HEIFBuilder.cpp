#include "tests/support/HEIFBuilder.h"

#include "engine/image/EXIF.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Pictures.h"

#include <gtest/gtest.h>

namespace nullprint::tests::heif {
namespace {

constexpr std::string_view gap = "gap!";

void sized(Bytes& out, std::uint64_t value, unsigned bytes)
{
    if (bytes == 4)
        append32(out, static_cast<std::uint32_t>(value), ByteOrder::big);
    if (bytes == 8)
        append64(out, value, ByteOrder::big);
}

// The pieces of an item's data, by their offsets in it.
std::vector<ByteRange> pieces(const BuiltItem& item)
{
    std::vector<ByteRange> ranges;
    const std::uint64_t each = item.data.size() / std::max(1U, item.extents);
    for (unsigned index = 0; index < item.extents; ++index) {
        const std::uint64_t start = index * each;
        const bool isLast = index + 1 == item.extents;
        ranges.push_back({start, isLast ? item.data.size() - start : each});
    }
    return ranges;
}

} // namespace

Bytes box(std::string_view type, ByteSpan content)
{
    Bytes out;
    append32(out, static_cast<std::uint32_t>(content.size() + 8), ByteOrder::big);
    append(out, type);
    append(out, content);
    return out;
}

Bytes box(std::string_view type, std::string_view content)
{
    return box(type, asBytes(content));
}

Bytes fullBox(std::string_view type, Byte version, std::uint32_t flags, ByteSpan content)
{
    Bytes all;
    append32(all, static_cast<std::uint32_t>(version) << 24 | flags, ByteOrder::big);
    append(all, content);
    return box(type, all);
}

Bytes unit(unsigned type, std::string_view payload)
{
    Bytes out;
    append32(out, static_cast<std::uint32_t>(payload.size() + 2), ByteOrder::big);
    out.push_back(static_cast<Byte>(type << 1));
    out.push_back(1);
    append(out, payload);
    return out;
}

Bytes message(unsigned type, std::string_view payload)
{
    Bytes content{static_cast<Byte>(type), static_cast<Byte>(payload.size())};
    append(content, payload);
    content.push_back(0x80);
    return unit(39, asText(content));
}

Bytes hevcConfiguration(ByteSpan arrays, Byte arrayCount)
{
    Bytes content(23);
    content[0] = 1;
    content[21] = 3; // Lengths of four bytes.
    content[22] = arrayCount;
    append(content, arrays);
    return content;
}

Bytes auxiliary(std::string_view name, ByteSpan subtype)
{
    Bytes content(4);
    append(content, name);
    content.push_back(0);
    append(content, subtype);
    return content;
}

Bytes imageSize(std::uint32_t width, std::uint32_t height)
{
    Bytes content(4);
    append32(content, width, ByteOrder::big);
    append32(content, height, ByteOrder::big);
    return content;
}

Bytes exifItem(std::uint32_t offset, std::string_view between)
{
    Bytes out;
    append32(out, offset, ByteOrder::big);
    append(out, between);
    append(out, EXIFBuilder().text(image::Group::tiff, image::tag::make, "secret").structure());
    return out;
}

unsigned HEIFBuilder::property(std::string_view type, ByteSpan content)
{
    properties.push_back(box(type, content));
    return static_cast<unsigned>(properties.size());
}

unsigned HEIFBuilder::essential(std::string_view type, ByteSpan content)
{
    return property(type, content) | 0x8000;
}

void HEIFBuilder::identifier(Bytes& out, std::uint32_t id) const
{
    if (isWide)
        append32(out, id, ByteOrder::big);
    else
        append16(out, static_cast<std::uint16_t>(id), ByteOrder::big);
}

Bytes HEIFBuilder::data(In in) const
{
    Bytes all;
    for (const BuiltItem& item : items) {
        if (item.in != in || !item.isLocated)
            continue;
        for (const ByteRange& piece : pieces(item)) {
            append(all,
                   ByteSpan(item.data).subspan(static_cast<std::size_t>(piece.offset),
                                               static_cast<std::size_t>(piece.length)));
            append(all, gap);
        }
    }
    return all;
}

Bytes HEIFBuilder::locations(std::uint64_t dataStart) const
{
    Bytes out;
    append16(out,
             static_cast<std::uint16_t>(offsetBytes << 12 | lengthBytes << 8 | baseBytes << 4 |
                                        indexBytes),
             ByteOrder::big);
    std::size_t located = 0;
    for (const BuiltItem& item : items)
        located += item.isLocated ? 1 : 0;
    if (locationVersion == 2)
        append32(out, static_cast<std::uint32_t>(located), ByteOrder::big);
    else
        append16(out, static_cast<std::uint16_t>(located), ByteOrder::big);
    std::uint64_t place[3] = {dataStart, 0, 0};
    for (const BuiltItem& item : items) {
        if (!item.isLocated)
            continue;
        if (locationVersion == 2)
            append32(out, item.id, ByteOrder::big);
        else
            append16(out, static_cast<std::uint16_t>(item.id), ByteOrder::big);
        if (locationVersion > 0)
            append16(out, static_cast<std::uint16_t>(item.in), ByteOrder::big);
        append16(out, item.dataReference, ByteOrder::big);
        std::uint64_t& at = place[static_cast<std::size_t>(item.in)];
        const std::uint64_t base = baseBytes != 0 ? at : 0;
        sized(out, base, baseBytes);
        std::vector<ByteRange> extents;
        for (const ByteRange& piece : pieces(item)) {
            extents.push_back({at, piece.length});
            at += piece.length + gap.size();
        }
        if (!item.places.empty())
            extents.clear();
        for (const auto& [offset, length] : item.places)
            extents.push_back({(item.in == In::file ? dataStart : 0) + offset, length});
        append16(out, static_cast<std::uint16_t>(extents.size()), ByteOrder::big);
        for (const ByteRange& extent : extents) {
            sized(out, 1, locationVersion > 0 ? indexBytes : 0);
            sized(out, extent.offset - base, offsetBytes);
            sized(out, extent.length, lengthBytes);
        }
    }
    return fullBox("iloc", locationVersion, 0, out);
}

Bytes HEIFBuilder::information() const
{
    Bytes out;
    append16(out, static_cast<std::uint16_t>(items.size()), ByteOrder::big);
    for (const BuiltItem& item : items) {
        Bytes entry;
        identifier(entry, item.id);
        append16(entry, item.protection, ByteOrder::big);
        append(entry, item.type);
        append(entry, std::string_view("secret name\0", 12));
        append(out, fullBox("infe", isWide ? 3 : 2, item.isHidden ? 1 : 0, entry));
    }
    return fullBox("iinf", 0, 0, out);
}

Bytes HEIFBuilder::associations() const
{
    Bytes out;
    append32(out, static_cast<std::uint32_t>(items.size()), ByteOrder::big);
    for (const BuiltItem& item : items) {
        identifier(out, item.id);
        out.push_back(static_cast<Byte>(item.properties.size()));
        for (const unsigned number : item.properties) {
            if (hasWideIndex)
                append16(out, static_cast<std::uint16_t>(number), ByteOrder::big);
            else
                out.push_back(static_cast<Byte>((number & 0x7F) | (number >> 8 & 0x80)));
        }
    }
    return fullBox("ipma", isWide ? 1 : 0, hasWideIndex ? 1 : 0, out);
}

Bytes HEIFBuilder::links() const
{
    Bytes out;
    for (const Link& link : references) {
        Bytes one;
        identifier(one, link.from);
        append16(one, static_cast<std::uint16_t>(link.to.size()), ByteOrder::big);
        for (const std::uint32_t id : link.to)
            identifier(one, id);
        append(out, box(link.type, one));
    }
    return out.empty() ? out : fullBox("iref", isWide ? 1 : 0, 0, out);
}

Bytes HEIFBuilder::entityGroups() const
{
    Bytes out;
    for (const Link& group : groups) {
        Bytes one;
        append32(one, group.from, ByteOrder::big);
        append32(one, static_cast<std::uint32_t>(group.to.size()), ByteOrder::big);
        for (const std::uint32_t id : group.to)
            append32(one, id, ByteOrder::big);
        append(out, fullBox(group.type, 0, 0, one));
    }
    return out.empty() ? out : box("grpl", out);
}

Bytes HEIFBuilder::meta(std::uint64_t dataStart) const
{
    Bytes handler(4);
    append(handler, "pict");
    handler.resize(handler.size() + 12);
    append(handler, std::string_view("secret handler\0", 15));
    Bytes number;
    identifier(number, primary);
    Bytes container;
    for (const Bytes& each : properties)
        append(container, each);
    Bytes described = box("ipco", container);
    append(described, associations());

    Bytes out = fullBox("hdlr", 0, 0, handler);
    append(out, fullBox("pitm", isWide ? 1 : 0, 0, number));
    append(out, locations(dataStart));
    append(out, information());
    append(out, links());
    append(out, box("iprp", described));
    const Bytes idat = data(In::idat);
    if (!idat.empty())
        append(out, box("idat", idat));
    append(out, entityGroups());
    append(out, moreMeta);
    return fullBox("meta", 0, 0, out);
}

Bytes HEIFBuilder::build() const
{
    Bytes names;
    append(names, brands.front());
    append(names, "0001");
    for (std::size_t index = 1; index < brands.size(); ++index)
        append(names, brands[index]);
    Bytes out = box("ftyp", names);
    append(out, before);

    const std::uint64_t mdatHead = mdatSizeBytes == 8 ? 16 : 8;
    const std::uint64_t metaBytes = isMetaLast ? 0 : meta(0).size();
    const std::uint64_t dataStart = out.size() + metaBytes + mdatHead;
    const Bytes content = data(In::file);
    Bytes mdat;
    const std::uint64_t size = mdatHead + content.size();
    append32(mdat,
             mdatSizeBytes == 4 ? static_cast<std::uint32_t>(size) : mdatSizeBytes / 8,
             ByteOrder::big);
    append(mdat, "mdat");
    sized(mdat, size, mdatSizeBytes == 8 ? 8 : 0);
    append(mdat, content);

    append(out, isMetaLast ? mdat : meta(dataStart));
    append(out, isMetaLast ? meta(dataStart) : mdat);
    append(out, after);
    return out;
}

Bytes bytesOf(std::string_view text)
{
    return Bytes(text.begin(), text.end());
}

void expectClean(const Bytes& picture)
{
    expectPromises(picture);
    EXPECT_FALSE(holds(mustClean(picture), "secret"));
}

void expectRefused(const HEIFBuilder& built)
{
    const auto copy = cleaned(built.build());
    EXPECT_FALSE(copy.ok());
    EXPECT_NE(frameCount(onePicture().build()), 0U); // The builder makes pictures.
}

HEIFBuilder onePicture()
{
    HEIFBuilder built;
    const unsigned coding = built.essential("hvcC", hevcConfiguration());
    const unsigned size = built.property("ispe", imageSize(64, 48));
    built.items.push_back(
        {.id = 1, .type = "hvc1", .data = unit(20, "pixels"), .properties = {coding, size}});
    return built;
}

} // namespace nullprint::tests::heif
