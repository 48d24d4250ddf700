#include "engine/image/EXIF.h"

#include "engine/support/Text.h"

#include <algorithm>
#include <cmath>

namespace nullprint::image {
namespace {

// Exif 4.6.5, UserComment: eight bytes say in which characters the rest is.
constexpr std::string_view commentASCII("ASCII\0\0\0", 8);
constexpr std::string_view commentUnicode("UNICODE\0", 8);
constexpr std::size_t commentCodeBytes = 8;

// UTF-16 without a byte-order mark is in the order of the file, as the standard has it, unless
// that makes it mostly characters above U+00FF while the other order does not.
ByteOrder likelyOrder(ByteSpan text, ByteOrder order)
{
    std::size_t zerosAtEven = 0;
    std::size_t zerosAtOdd = 0;
    for (std::size_t index = 0; index + 1 < text.size(); index += 2) {
        zerosAtEven += text[index] == 0 ? 1U : 0U;
        zerosAtOdd += text[index + 1] == 0 ? 1U : 0U;
    }
    if (zerosAtEven == zerosAtOdd)
        return order;
    return zerosAtEven > zerosAtOdd ? ByteOrder::big : ByteOrder::little;
}

std::string commentText(ByteSpan raw, ByteOrder order)
{
    if (raw.size() < commentCodeBytes)
        return storedText(raw);
    const std::string_view code = asText(raw.first(commentCodeBytes));
    ByteSpan text = raw.subspan(commentCodeBytes);
    if (code != commentUnicode) {
        // No text begins with a NUL: that is no code at all, or one in the wrong byte order.
        const bool isMarked =
            code == commentASCII || code.starts_with('\0') || code.starts_with("JIS");
        return storedText(isMarked ? text : raw);
    }
    if (text.size() >= 2 && (text[0] ^ text[1]) == (0xFE ^ 0xFF) && (text[0] & text[1]) == 0xFE) {
        order = text[0] == 0xFE ? ByteOrder::big : ByteOrder::little;
        return textFromUTF16(text.subspan(2), order);
    }
    return textFromUTF16(text, likelyOrder(text, order));
}

class Reader {
public:
    Reader(const IFDReader& ifds, ByteSource& source, Properties& properties)
        : ifds(ifds)
        , source(source)
        , properties(properties)
    {
    }

    void readMain(std::uint64_t offset)
    {
        const auto directory = ifds.readBeginning(offset);
        if (!directory.ok())
            return;
        for (const Field& field : directory.value().fields)
            properties.add(Group::tiff, field.tag, valueIn(Group::tiff, field));
        readLinked(directory.value(), tag::exifIFD, Group::exif);
        readLinked(directory.value(), tag::gpsIFD, Group::gps);
    }

private:
    void readLinked(const Directory& parent, std::uint16_t tag, Group group)
    {
        const auto offset = ifds.firstInteger(parent.find(tag));
        if (!offset)
            return;
        const auto directory = ifds.readBeginning(*offset);
        if (!directory.ok())
            return;
        for (const Field& field : directory.value().fields)
            properties.add(group, field.tag, valueIn(group, field));
    }

    // Fields that share their bytes could together say far more than the file has.
    Value valueIn(Group group, const Field& field)
    {
        if (field.value.length > source.size() - taken)
            return Opaque{};
        taken += field.value.length;
        if (group == Group::exif && field.tag == tag::userComment) {
            const std::uint64_t length = std::min(field.value.length, limits::textBytes);
            const auto raw = source.copyOf({field.value.offset, length});
            return raw.ok() ? Value(commentText(raw.value(), ifds.order())) : Value();
        }
        const bool isCoordinate = group == Group::gps &&
                                  (field.tag == tag::gpsLatitude || field.tag == tag::gpsLongitude);
        return isCoordinate && field.type != FieldType::ascii ? degrees(field) : ifds.value(field);
    }

    // Degrees, minutes and seconds as decimal degrees (Exif 4.6.6, GPSLatitude). Minutes and
    // seconds that are no number, as writers have them that do not know any, count for nothing.
    Value degrees(const Field& field) const
    {
        constexpr std::uint64_t most = 3; // Readers pass over what stands behind the seconds.
        const std::uint32_t size = sizeOfType(field.type);
        double total = 0;
        double scale = 1;
        for (std::uint64_t index = 0; index < std::min(most, field.count); ++index) {
            const ByteRange place{field.value.offset + index * size, size};
            const Value part = ifds.value({field.tag, field.type, 1, place});
            const double* number = std::get_if<double>(&part);
            if (number == nullptr && index == 0)
                return Opaque{};
            total += number != nullptr ? *number / scale : 0;
            scale *= 60;
        }
        return field.count > 0 ? Value(total) : Opaque{};
    }

    const IFDReader& ifds;
    ByteSource& source;
    Properties& properties;
    std::uint64_t taken = 0; // Bytes of values read so far.
};

struct Fraction {
    std::uint32_t numerator;
    std::uint32_t denominator;
};

// The value to four places, or to none where it is too large for them; written again from what it
// is read as, it is the same. The numerator is 0 for a value that is too small, and at most what
// fits.
Fraction fractionOf(double value)
{
    constexpr double largest = 4294967295.0;
    constexpr std::uint32_t places = 10000;
    const double scaled = std::round(value * places);
    if (scaled > largest)
        return {static_cast<std::uint32_t>(std::min(std::round(value), largest)), 1};
    const auto numerator = static_cast<std::uint32_t>(scaled);
    return numerator % places == 0 ? Fraction{numerator / places, 1} : Fraction{numerator, places};
}

double valueOf(Fraction fraction)
{
    return static_cast<double>(fraction.numerator) / fraction.denominator;
}

// Gathers the fields of one directory, in ascending order of tag, and what does not fit into them.
class FreshDirectory {
public:
    void addShort(std::uint16_t tag, std::uint16_t value)
    {
        addHead(tag, FieldType::unsigned16);
        append16(fields, value, ByteOrder::big);
        append16(fields, 0, ByteOrder::big);
    }

    // `outside` is where values outside of the fields begin.
    void addRational(std::uint16_t tag, Fraction value, std::uint32_t outside)
    {
        addHead(tag, FieldType::rational);
        append32(fields, outside + static_cast<std::uint32_t>(values.size()), ByteOrder::big);
        append32(values, value.numerator, ByteOrder::big);
        append32(values, value.denominator, ByteOrder::big);
    }

    Bytes finished() const
    {
        Bytes out;
        append(out, std::string_view("MM\0*\0\0\0\x08", 8));
        append16(out, count, ByteOrder::big);
        append(out, fields);
        append32(out, 0, ByteOrder::big); // No next directory.
        append(out, values);
        return out;
    }

private:
    void addHead(std::uint16_t tag, FieldType type)
    {
        ++count;
        append16(fields, tag, ByteOrder::big);
        append16(fields, static_cast<std::uint16_t>(type), ByteOrder::big);
        append32(fields, 1, ByteOrder::big);
    }

    std::uint16_t count = 0;
    Bytes fields;
    Bytes values;
};

} // namespace

void readEXIFDirectories(const IFDReader& reader,
                         ByteSource& source,
                         std::uint64_t directory,
                         Properties& properties)
{
    Reader(reader, source, properties).readMain(directory);
}

void readEXIF(ByteSource& source, Properties& properties)
{
    const auto reader = IFDReader::open(source);
    if (reader.ok())
        readEXIFDirectories(reader.value(), source, reader.value().firstDirectory(), properties);
}

void readEXIFBlock(ByteSource& source, ByteRange block, Properties& properties)
{
    ByteCursor cursor(source, block);
    // The mark's last byte is padding, which is not always 0.
    if (cursor.startsWith(exifMark.substr(0, 5)) && block.length >= exifMark.size())
        block = {block.offset + exifMark.size(), block.length - exifMark.size()};
    PartSource part(source, block);
    readEXIF(part, properties);
}

std::optional<std::uint16_t> turnedOrientation(const Properties& properties)
{
    const auto stored = properties.firstNumber(Group::tiff, tag::orientation);
    if (!stored || *stored < 2 || *stored > 8 || *stored != std::floor(*stored))
        return std::nullopt;
    return static_cast<std::uint16_t>(*stored);
}

// As `freshEXIF` writes it, so that what is read from a copy is what was read from its original.
std::optional<Resolution> storedResolution(const Properties& properties)
{
    const auto x = properties.number(Group::tiff, tag::xResolution);
    const auto y = properties.number(Group::tiff, tag::yResolution);
    if (!x || !y || *x <= 0 || *y <= 0)
        return std::nullopt;
    const Fraction across = fractionOf(*x);
    const Fraction down = fractionOf(*y);
    if (across.numerator == 0 || down.numerator == 0)
        return std::nullopt;
    const double unit = properties.number(Group::tiff, tag::resolutionUnit).value_or(2);
    const bool isKnown = unit == 1 || unit == 2 || unit == 3;
    return Resolution{valueOf(across),
                      valueOf(down),
                      isKnown ? static_cast<std::uint16_t>(unit) : std::uint16_t{2}};
}

Bytes freshEXIF(std::optional<std::uint16_t> orientation, std::optional<Resolution> resolution)
{
    // Header (8), count (2), 12 a field, next (4).
    const std::uint32_t outside = 14 + 12 * ((orientation ? 1U : 0U) + (resolution ? 3U : 0U));
    FreshDirectory directory;
    if (orientation)
        directory.addShort(tag::orientation, *orientation);
    if (resolution) {
        directory.addRational(tag::xResolution, fractionOf(resolution->x), outside);
        directory.addRational(tag::yResolution, fractionOf(resolution->y), outside);
        directory.addShort(tag::resolutionUnit, resolution->unit);
    }
    return directory.finished();
}

} // namespace nullprint::image
