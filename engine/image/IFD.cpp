#include "engine/image/IFD.h"

#include "engine/support/Text.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace nullprint::image {
namespace {

struct TypeSize {
    FieldType type;
    std::uint32_t bytes;
};

constexpr std::array typeSizes{
    TypeSize{FieldType::byte, 1},
    TypeSize{FieldType::ascii, 1},
    TypeSize{FieldType::unsigned16, 2},
    TypeSize{FieldType::unsigned32, 4},
    TypeSize{FieldType::rational, 8},
    TypeSize{FieldType::signedByte, 1},
    TypeSize{FieldType::undefined, 1},
    TypeSize{FieldType::signed16, 2},
    TypeSize{FieldType::signed32, 4},
    TypeSize{FieldType::signedRational, 8},
    TypeSize{FieldType::float32, 4},
    TypeSize{FieldType::float64, 8},
    TypeSize{FieldType::ifd, 4},
    TypeSize{FieldType::unsigned64, 8},
    TypeSize{FieldType::signed64, 8},
    TypeSize{FieldType::ifd64, 8},
    TypeSize{FieldType::utf8, 1},
};

Result<std::uint64_t> unsignedFrom(std::int64_t value, const ByteCursor& cursor)
{
    if (value < 0)
        return cursor.fail("negative offset or size");
    return static_cast<std::uint64_t>(value);
}

// Some writers give sizes and offsets a signed type, and readers follow them.
Result<std::uint64_t> readInteger(ByteCursor& cursor, FieldType type)
{
    switch (type) {
    case FieldType::byte:
        return static_cast<std::uint64_t>(NP_TRY(cursor.u8()));
    case FieldType::unsigned16:
        return static_cast<std::uint64_t>(NP_TRY(cursor.u16()));
    case FieldType::unsigned32:
    case FieldType::ifd:
        return static_cast<std::uint64_t>(NP_TRY(cursor.u32()));
    case FieldType::unsigned64:
    case FieldType::ifd64:
        return cursor.u64();
    case FieldType::signedByte:
        return unsignedFrom(static_cast<std::int8_t>(NP_TRY(cursor.u8())), cursor);
    case FieldType::signed16:
        return unsignedFrom(static_cast<std::int16_t>(NP_TRY(cursor.u16())), cursor);
    case FieldType::signed32:
        return unsignedFrom(static_cast<std::int32_t>(NP_TRY(cursor.u32())), cursor);
    case FieldType::signed64:
        return unsignedFrom(static_cast<std::int64_t>(NP_TRY(cursor.u64())), cursor);
    default:
        return cursor.fail("field is not an integer");
    }
}

// A zero denominator yields an error: there is no such number.
Result<double> quotient(double numerator, double denominator, const ByteCursor& cursor)
{
    if (denominator == 0)
        return cursor.fail("zero denominator");
    return numerator / denominator;
}

Result<double> readNumber(ByteCursor& cursor, FieldType type)
{
    switch (type) {
    case FieldType::signedByte:
        return static_cast<double>(static_cast<std::int8_t>(NP_TRY(cursor.u8())));
    case FieldType::signed16:
        return static_cast<double>(static_cast<std::int16_t>(NP_TRY(cursor.u16())));
    case FieldType::signed32:
        return static_cast<double>(static_cast<std::int32_t>(NP_TRY(cursor.u32())));
    case FieldType::signed64:
        return static_cast<double>(static_cast<std::int64_t>(NP_TRY(cursor.u64())));
    case FieldType::float32:
        return static_cast<double>(std::bit_cast<float>(NP_TRY(cursor.u32())));
    case FieldType::float64:
        return std::bit_cast<double>(NP_TRY(cursor.u64()));
    case FieldType::rational: {
        const double numerator = NP_TRY(cursor.u32());
        const double denominator = NP_TRY(cursor.u32());
        return quotient(numerator, denominator, cursor);
    }
    case FieldType::signedRational: {
        const auto numerator = static_cast<std::int32_t>(NP_TRY(cursor.u32()));
        const auto denominator = static_cast<std::int32_t>(NP_TRY(cursor.u32()));
        return quotient(numerator, denominator, cursor);
    }
    default:
        return static_cast<double>(NP_TRY(readInteger(cursor, type)));
    }
}

} // namespace

std::uint32_t sizeOfType(FieldType type)
{
    const auto* row = std::ranges::find(typeSizes, type, &TypeSize::type);
    return row != typeSizes.end() ? row->bytes : 0;
}

const Field* Directory::find(std::uint16_t tag) const
{
    const auto field = std::ranges::find(fields, tag, &Field::tag);
    return field != fields.end() ? &*field : nullptr;
}

Result<IFDReader> IFDReader::open(ByteSource& source)
{
    ByteCursor mark(source);
    const std::uint16_t letters = NP_TRY(mark.u16());
    if (letters != 0x4949 && letters != 0x4D4D) // "II" or "MM"
        return mark.fail("no TIFF byte order");
    IFDReader reader(source, letters == 0x4949 ? ByteOrder::little : ByteOrder::big);
    ByteCursor cursor = reader.cursorOver({2, source.size() - 2});
    const std::uint16_t magic = NP_TRY(cursor.u16());
    if (magic == 43) {
        const std::uint16_t size = NP_TRY(cursor.u16());
        const std::uint16_t zero = NP_TRY(cursor.u16());
        if (size != 8 || zero != 0)
            return cursor.fail("BigTIFF with another offset size");
        reader.offsetBytes = 8;
        reader.first = NP_TRY(cursor.u64());
        return reader;
    }
    if (magic != 42)
        return cursor.fail("no TIFF magic number");
    reader.first = NP_TRY(cursor.u32());
    return reader;
}

Result<Done> IFDReader::readField(ByteCursor& cursor, Directory& directory) const
{
    Field field{};
    field.tag = NP_TRY(cursor.u16());
    field.type = static_cast<FieldType>(NP_TRY(cursor.u16()));
    field.count = isBig() ? NP_TRY(cursor.u64()) : NP_TRY(cursor.u32());
    const ByteRange inlined = NP_TRY(cursor.skip(offsetBytes));
    const std::uint32_t size = sizeOfType(field.type);
    if (size == 0)
        return Done{};
    if (field.count > source->size() / size) {
        directory.cutTags.push_back(field.tag);
        return Done{};
    }
    const std::uint64_t length = field.count * size;
    field.value = {inlined.offset, length};
    if (length > offsetBytes) {
        ByteCursor pointer = cursorOver(inlined);
        field.value.offset = isBig() ? NP_TRY(pointer.u64()) : NP_TRY(pointer.u32());
    }
    if (source->holds(field.value)) {
        directory.fields.push_back(field);
    } else {
        directory.cutTags.push_back(field.tag);
    }
    return Done{};
}

Result<Directory> IFDReader::readDirectory(std::uint64_t offset) const
{
    auto directory = readBeginning(offset);
    if (directory.ok() && directory.value().isCut)
        return Error{"directory longer than its file", offset};
    return directory;
}

Result<Directory> IFDReader::readBeginning(std::uint64_t offset) const
{
    if (offset == 0 || offset > source->size())
        return Error{"directory past the end", offset};
    ByteCursor cursor = cursorOver({offset, source->size() - offset});
    const std::uint64_t count = isBig() ? NP_TRY(cursor.u64()) : NP_TRY(cursor.u16());
    const std::uint64_t entryBytes = isBig() ? 20 : 12;
    const std::uint64_t there = std::min(count, cursor.remaining() / entryBytes);
    if (there > limits::directoryFields)
        return cursor.fail("directory with too many fields");
    Directory directory;
    directory.isCut = there < count;
    for (std::uint64_t index = 0; index < there; ++index)
        NP_TRY(readField(cursor, directory));
    // Exif directories that nothing follows are sometimes cut off before the offset of the next.
    if (!directory.isCut && cursor.remaining() >= offsetBytes)
        directory.next = isBig() ? NP_TRY(cursor.u64()) : NP_TRY(cursor.u32());
    directory.place = {offset, cursor.position() - offset};
    return directory;
}

std::optional<std::uint64_t> IFDReader::firstInteger(const Field* field) const
{
    if (field == nullptr || field->count == 0)
        return std::nullopt;
    ByteCursor cursor = cursorOver(field->value);
    const auto value = readInteger(cursor, field->type);
    return value.ok() ? std::optional(value.value()) : std::nullopt;
}

Result<std::vector<std::uint64_t>> IFDReader::integers(const Field& field, std::uint64_t most) const
{
    if (field.count > most)
        return Error{"field with too many values", field.value.offset};
    ByteCursor cursor = cursorOver(field.value);
    std::vector<std::uint64_t> values;
    values.reserve(static_cast<std::size_t>(field.count));
    for (std::uint64_t index = 0; index < field.count; ++index)
        values.push_back(NP_TRY(readInteger(cursor, field.type)));
    return values;
}

Value IFDReader::value(const Field& field) const
{
    if (field.type == FieldType::ascii || field.type == FieldType::utf8) {
        const auto raw =
            source->copyOf({field.value.offset, std::min(field.value.length, limits::textBytes)});
        return raw.ok() ? Value(storedText(raw.value())) : Value();
    }
    if (field.type == FieldType::undefined || field.count == 0 ||
        field.count > limits::listedNumbers)
        return Opaque{};
    ByteCursor cursor = cursorOver(field.value);
    Numbers numbers;
    for (std::uint64_t index = 0; index < field.count; ++index) {
        const auto number = readNumber(cursor, field.type);
        if (!number.ok() || !std::isfinite(number.value()))
            return Opaque{};
        numbers.push_back(number.value());
    }
    return numbers.size() == 1 ? Value(numbers[0]) : Value(std::move(numbers));
}

} // namespace nullprint::image
