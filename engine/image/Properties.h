// What a picture says about itself, in the groups that its metadata standards define.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace nullprint::image {

enum class Group : std::uint8_t {
    tiff, // IFD0 of Exif, or of the TIFF file itself
    exif,
    gps,
    iptc, // Tags are record number * 256 + dataset number
};

// A field that is there but holds nothing that can be shown as text or number.
struct Opaque {
    friend bool operator==(const Opaque&, const Opaque&) = default;
};
using Numbers = std::vector<double>;
using Value = std::variant<Opaque, std::string, double, Numbers>;

// Tag numbers are those of TIFF 6.0 and of Exif 2.32 (CIPA DC-008), tables 4, 7, 8 and 15.
namespace tag {
inline constexpr std::uint16_t make = 0x010F;
inline constexpr std::uint16_t model = 0x0110;
inline constexpr std::uint16_t orientation = 0x0112;
inline constexpr std::uint16_t xResolution = 0x011A;
inline constexpr std::uint16_t yResolution = 0x011B;
inline constexpr std::uint16_t resolutionUnit = 0x0128;
inline constexpr std::uint16_t software = 0x0131;
inline constexpr std::uint16_t dateTime = 0x0132;
inline constexpr std::uint16_t artist = 0x013B;
inline constexpr std::uint16_t copyright = 0x8298;
inline constexpr std::uint16_t exifIFD = 0x8769;
inline constexpr std::uint16_t gpsIFD = 0x8825;
inline constexpr std::uint16_t dateTimeOriginal = 0x9003;
inline constexpr std::uint16_t userComment = 0x9286;
inline constexpr std::uint16_t bodySerialNumber = 0xA431;
inline constexpr std::uint16_t lensModel = 0xA434;
inline constexpr std::uint16_t gpsLatitudeRef = 1;
inline constexpr std::uint16_t gpsLatitude = 2;
inline constexpr std::uint16_t gpsLongitudeRef = 3;
inline constexpr std::uint16_t gpsLongitude = 4;
} // namespace tag

class Properties {
public:
    // A field that is already there keeps the value it has.
    void add(Group group, std::uint16_t tag, Value value);

    // The field's value when it was stored as text, or as one number; otherwise nothing.
    std::optional<std::string> text(Group group, std::uint16_t tag) const;
    std::optional<double> number(Group group, std::uint16_t tag) const;

    // The number, or the first of several, for fields that some writers store more than once.
    std::optional<double> firstNumber(Group group, std::uint16_t tag) const;

    // How many different fields the group has.
    std::size_t count(Group group) const;

private:
    const Value* find(Group group, std::uint16_t tag) const;

    std::map<std::pair<Group, std::uint16_t>, Value> properties;
};

} // namespace nullprint::image
