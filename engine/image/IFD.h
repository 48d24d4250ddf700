// TIFF's structure: image file directories of tagged fields. Exif uses it too, wherever it stands.
// TIFF 6.0, section 2; for 64-bit offsets the BigTIFF design (magic number 43).
#pragma once

#include "engine/image/Properties.h"
#include "engine/support/ByteCursor.h"

namespace nullprint::image {

// TIFF 6.0 section 2, "Types"; 13 from TIFF Technical Note 1, 16 to 18 from BigTIFF, 129 Exif 3.0.
enum class FieldType : std::uint16_t {
    byte = 1,
    ascii = 2,
    unsigned16 = 3,
    unsigned32 = 4,
    rational = 5,
    signedByte = 6,
    undefined = 7,
    signed16 = 8,
    signed32 = 9,
    signedRational = 10,
    float32 = 11,
    float64 = 12,
    ifd = 13,
    unsigned64 = 16,
    signed64 = 17,
    ifd64 = 18,
    utf8 = 129,
};

// The size of one value in bytes; 0 for a type that no standard defines.
std::uint32_t sizeOfType(FieldType type);

// A field of a directory. Its value lies within the source.
struct Field {
    std::uint16_t tag;
    FieldType type;
    std::uint64_t count;
    ByteRange value;
};

struct Directory {
    std::vector<Field> fields;          // In file order. Fields of no known type are left out.
    std::vector<std::uint16_t> cutTags; // Of fields left out since the source ends before them.
    std::uint64_t next = 0;             // Offset of the next directory, 0 for none.
    ByteRange place;                    // Count, entries and next offset.
    bool isCut = false;                 // It announces more fields than the source has room for.

    const Field* find(std::uint16_t tag) const;
};

class IFDReader {
public:
    // Reads the header. Offsets count from the start of `source`, which must outlive the reader.
    static Result<IFDReader> open(ByteSource& source);

    ByteOrder order() const { return byteOrder; }
    bool isBig() const { return offsetBytes == 8; } // BigTIFF
    std::uint64_t firstDirectory() const { return first; }

    // Fails when not even the directory's own bytes are there.
    Result<Directory> readDirectory(std::uint64_t offset) const;

    // What there is of a directory that may be cut, as Exif's are when something was lost on the
    // way.
    Result<Directory> readBeginning(std::uint64_t offset) const;

    // The first value of an integer or offset field; nothing when there is none.
    std::optional<std::uint64_t> firstInteger(const Field* field) const;

    // All values of an integer or offset field. Fails on another type and on one with more than
    // `most` values.
    Result<std::vector<std::uint64_t>> integers(const Field& field, std::uint64_t most) const;

    // What a field says: text, a number, several numbers (at most limits::listedNumbers), or
    // Opaque. A rational with a zero denominator makes its field opaque.
    Value value(const Field& field) const;

private:
    IFDReader(ByteSource& source, ByteOrder order)
        : source(&source)
        , byteOrder(order)
    {
    }
    Result<Done> readField(ByteCursor& cursor, Directory& directory) const;
    ByteCursor cursorOver(ByteRange range) const { return {*source, range, byteOrder}; }

    ByteSource* source;
    ByteOrder byteOrder;
    unsigned offsetBytes = 4;
    std::uint64_t first = 0;
};

} // namespace nullprint::image
