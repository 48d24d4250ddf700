#include "tests/support/EXIFBuilder.h"

#include <algorithm>

namespace nullprint::tests {

using namespace nullprint::image;

namespace {

constexpr std::uint32_t headerBytes = 8;

std::uint32_t directoryBytes(const std::vector<BuiltField>& fields)
{
    return 6 + 12 * static_cast<std::uint32_t>(fields.size());
}

// Writes a directory at `offset`; values that do not fit into it go behind it.
Bytes written(std::vector<BuiltField> fields, std::uint32_t offset, ByteOrder order)
{
    std::ranges::stable_sort(fields, {}, &BuiltField::tag);
    Bytes entries;
    Bytes values;
    append16(entries, static_cast<std::uint16_t>(fields.size()), order);
    for (BuiltField& field : fields) {
        append16(entries, field.tag, order);
        append16(entries, static_cast<std::uint16_t>(field.type), order);
        append32(entries, field.count, order);
        if (field.value.size() <= 4) {
            field.value.resize(4);
            append(entries, field.value);
            continue;
        }
        const auto place = offset + directoryBytes(fields) + values.size();
        append32(entries, static_cast<std::uint32_t>(place), order);
        append(values, field.value);
        values.resize(values.size() + values.size() % 2);
    }
    append32(entries, 0, order);
    append(entries, values);
    return entries;
}

} // namespace

std::vector<BuiltField>& EXIFBuilder::directory(Group group)
{
    if (group == Group::gps)
        return gps;
    return group == Group::exif ? exif : main;
}

EXIFBuilder& EXIFBuilder::field(Group group, BuiltField field)
{
    directory(group).push_back(std::move(field));
    return *this;
}

EXIFBuilder& EXIFBuilder::text(Group group, std::uint16_t tag, std::string_view value)
{
    Bytes bytes;
    append(bytes, value);
    bytes.push_back(0);
    const auto count = static_cast<std::uint32_t>(bytes.size());
    return field(group, {tag, FieldType::ascii, count, std::move(bytes)});
}

EXIFBuilder& EXIFBuilder::number(Group group, std::uint16_t tag, std::uint16_t value)
{
    Bytes bytes;
    append16(bytes, value, order);
    return field(group, {tag, FieldType::unsigned16, 1, std::move(bytes)});
}

EXIFBuilder& EXIFBuilder::rationals(Group group, std::uint16_t tag, const Rationals& values)
{
    Bytes bytes;
    for (const auto& [numerator, denominator] : values) {
        append32(bytes, numerator, order);
        append32(bytes, denominator, order);
    }
    const auto count = static_cast<std::uint32_t>(values.size());
    return field(group, {tag, FieldType::rational, count, std::move(bytes)});
}

EXIFBuilder& EXIFBuilder::position(const Rationals& latitude,
                                   std::string_view latitudeRef,
                                   const Rationals& longitude,
                                   std::string_view longitudeRef)
{
    if (!latitudeRef.empty())
        text(Group::gps, tag::gpsLatitudeRef, latitudeRef);
    rationals(Group::gps, tag::gpsLatitude, latitude);
    if (!longitudeRef.empty())
        text(Group::gps, tag::gpsLongitudeRef, longitudeRef);
    return rationals(Group::gps, tag::gpsLongitude, longitude);
}

Bytes EXIFBuilder::structure() const
{
    // Offsets of the linked directories follow from the length of what stands before them, which
    // does not depend on their values.
    std::vector<BuiltField> fields = main;
    const auto link = [&](std::uint16_t tag, std::size_t offset) {
        std::erase_if(fields, [tag](const BuiltField& each) { return each.tag == tag; });
        Bytes value;
        append32(value, static_cast<std::uint32_t>(offset), order);
        fields.push_back({tag, FieldType::unsigned32, 1, std::move(value)});
    };
    if (!exif.empty())
        link(tag::exifIFD, 0);
    if (!gps.empty())
        link(tag::gpsIFD, 0);
    const std::size_t exifAt = headerBytes + written(fields, headerBytes, order).size();
    const Bytes exifBytes = written(exif, static_cast<std::uint32_t>(exifAt), order);
    const std::size_t gpsAt = exifAt + (exif.empty() ? 0 : exifBytes.size());
    if (!exif.empty())
        link(tag::exifIFD, exifAt);
    if (!gps.empty())
        link(tag::gpsIFD, gpsAt);

    Bytes out;
    append(out, std::string_view(order == ByteOrder::big ? "MM" : "II"));
    append16(out, 42, order);
    append32(out, headerBytes, order);
    append(out, written(fields, headerBytes, order));
    if (!exif.empty())
        append(out, exifBytes);
    if (!gps.empty())
        append(out, written(gps, static_cast<std::uint32_t>(gpsAt), order));
    return out;
}

Bytes EXIFBuilder::block() const
{
    Bytes out;
    append(out, std::string_view("Exif\0\0", 6));
    append(out, structure());
    return out;
}

Bytes jpegWithEXIF(const std::vector<Bytes>& payloads)
{
    Bytes out{0xFF, 0xD8};
    for (const Bytes& payload : payloads) {
        append(out, Bytes{0xFF, 0xE1});
        append16(out, static_cast<std::uint16_t>(payload.size() + 2), ByteOrder::big);
        append(out, payload);
    }
    append(out, Bytes{0xFF, 0xC0, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0}); // Frame of 8 by 8
    append(out, Bytes{0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 63, 0});             // Scan
    append(out, Bytes{0x12, 0xFF, 0x00, 0x34});
    append(out, Bytes{0xFF, 0xD9});
    return out;
}

} // namespace nullprint::tests
