#include "engine/reveal/ImageInspector.h"

#include "engine/image/ImageSource.h"
#include "engine/image/XMP.h"
#include "engine/support/FileSource.h"

#include <charconv>

namespace nullprint {
namespace {

using image::Group;
using image::Properties;

struct TextRow {
    std::string_view icon;
    std::string_view label;
    Group group;
    std::uint16_t tag;
};

// Camera and date, which are made of two fields each, stand before these.
constexpr std::array textRows{
    TextRow{"👤", "Author", Group::tiff, image::tag::artist},
    TextRow{"©️", "Copyright", Group::tiff, image::tag::copyright},
    TextRow{"🛠", "Edited with", Group::tiff, image::tag::software},
    TextRow{"🔢", "Camera serial", Group::exif, image::tag::bodySerialNumber},
    TextRow{"🔭", "Lens", Group::exif, image::tag::lensModel},
};

// Five decimals with a point, in every language.
std::string decimal(double number)
{
    std::array<char, 400> digits{};
    const auto end =
        std::to_chars(digits.begin(), digits.end(), number, std::chars_format::fixed, 5);
    return {digits.data(), end.ptr};
}

double signedDegrees(const Properties& properties,
                     double degrees,
                     std::uint16_t reference,
                     std::string_view negative)
{
    const bool isNegative = properties.text(Group::gps, reference) == negative;
    return isNegative ? -degrees : degrees;
}

void addLocation(const Properties& properties, std::vector<RevealItem>& items)
{
    const auto latitude = properties.number(Group::gps, image::tag::gpsLatitude);
    const auto longitude = properties.number(Group::gps, image::tag::gpsLongitude);
    if (!latitude || !longitude)
        return;
    const double north = signedDegrees(properties, *latitude, image::tag::gpsLatitudeRef, "S");
    const double east = signedDegrees(properties, *longitude, image::tag::gpsLongitudeRef, "W");
    items.push_back(
        {"📍",
         "Location",
         "GPS " + decimal(north) + ", " + decimal(east) + " — where the photo was taken"});
}

void addCamera(const Properties& properties, std::vector<RevealItem>& items)
{
    auto detail = properties.text(Group::tiff, image::tag::make);
    if (!detail)
        return;
    if (const auto model = properties.text(Group::tiff, image::tag::model))
        *detail += " " + *model;
    items.push_back({"📷", "Camera / device", std::move(*detail)});
}

void addDate(const Properties& properties, std::vector<RevealItem>& items)
{
    auto date = properties.text(Group::exif, image::tag::dateTimeOriginal);
    if (!date)
        date = properties.text(Group::tiff, image::tag::dateTime);
    if (date)
        items.push_back({"🕒", "Date taken", std::move(*date)});
}

std::vector<RevealItem> itemsOf(const Properties& properties)
{
    std::vector<RevealItem> items;
    addLocation(properties, items);
    addCamera(properties, items);
    addDate(properties, items);
    for (const TextRow& row : textRows) {
        auto text = properties.text(row.group, row.tag);
        if (text && !text->empty())
            items.push_back({std::string(row.icon), std::string(row.label), std::move(*text)});
    }
    if (properties.count(Group::iptc) > 0)
        items.push_back({"🏷", "IPTC tags", "caption / creator / keywords present"});
    return items;
}

} // namespace

RevealReport inspectImage(const FileURL& url)
{
    RevealReport report{url, "Photo", {}, std::nullopt};
    const auto file = FileSource::open(url.path());
    if (!file.ok())
        return report;
    report.items = itemsOf(image::propertiesOf(*file.value()));
    constexpr std::array marks{image::xmpElement, image::xmpBasicNamespace};
    if (image::containsAny(*file.value(), marks))
        report.items.push_back({"🗂", "XMP metadata", "an embedded metadata block is present"});
    return report;
}

} // namespace nullprint
