#include "engine/image/Properties.h"

#include <algorithm>
#include <tuple>

namespace nullprint::image {
namespace {

constexpr auto keyOf = [](const auto& property) {
    return std::tuple(property.group, property.tag);
};

} // namespace

void Properties::add(Group group, std::uint16_t tag, Value value)
{
    const std::tuple key(group, tag);
    const auto place = std::ranges::lower_bound(properties, key, {}, keyOf);
    if (place != properties.end() && keyOf(*place) == key)
        return;
    properties.insert(place, {group, tag, std::move(value)});
}

const Value* Properties::find(Group group, std::uint16_t tag) const
{
    const std::tuple key(group, tag);
    const auto place = std::ranges::lower_bound(properties, key, {}, keyOf);
    return place != properties.end() && keyOf(*place) == key ? &place->value : nullptr;
}

std::optional<std::string> Properties::text(Group group, std::uint16_t tag) const
{
    const auto* text = std::get_if<std::string>(find(group, tag));
    return text != nullptr ? std::optional(*text) : std::nullopt;
}

std::optional<double> Properties::number(Group group, std::uint16_t tag) const
{
    const auto* number = std::get_if<double>(find(group, tag));
    return number != nullptr ? std::optional(*number) : std::nullopt;
}

std::size_t Properties::count(Group group) const
{
    return static_cast<std::size_t>(std::ranges::count(properties, group, &Property::group));
}

} // namespace nullprint::image
