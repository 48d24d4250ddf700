// Exif structures with whatever fields a test wants, well-formed or not.
#pragma once

#include "engine/image/IFD.h"

#include <string_view>
#include <utility>
#include <vector>

namespace nullprint::tests {

// A field as it will stand in a directory. `value` is in the order of the structure.
struct BuiltField {
    std::uint16_t tag;
    image::FieldType type;
    std::uint32_t count;
    Bytes value;
};

using Rationals = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

class EXIFBuilder {
public:
    explicit EXIFBuilder(ByteOrder order = ByteOrder::big)
        : order(order)
    {
    }

    // Each adds to the first directory, or to the Exif or GPS directory.
    EXIFBuilder& text(image::Group group, std::uint16_t tag, std::string_view value);
    EXIFBuilder& number(image::Group group, std::uint16_t tag, std::uint16_t value);
    EXIFBuilder& rationals(image::Group group, std::uint16_t tag, const Rationals& values);
    EXIFBuilder& field(image::Group group, BuiltField field);

    // Degrees, minutes and seconds (in hundredths), with references unless they are empty.
    EXIFBuilder& position(const Rationals& latitude,
                          std::string_view latitudeRef,
                          const Rationals& longitude,
                          std::string_view longitudeRef);

    // From the byte order mark on.
    Bytes structure() const;
    // With "Exif\0\0" before it.
    Bytes block() const;

private:
    std::vector<BuiltField>& directory(image::Group group);

    ByteOrder order;
    std::vector<BuiltField> main;
    std::vector<BuiltField> exif;
    std::vector<BuiltField> gps;
};

// A small baseline JPEG of one component; `payloads` become its APP1 segments.
Bytes jpegWithEXIF(const std::vector<Bytes>& payloads);

} // namespace nullprint::tests
