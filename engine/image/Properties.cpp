#include "engine/image/Properties.h"

#include <algorithm>

namespace nullprint::image {
void Properties::add(Group group, std::uint16_t tag, Value value)
{
    properties.emplace(std::pair(group, tag), std::move(value));
}

const Value* Properties::find(Group group, std::uint16_t tag) const
{
    const auto place = properties.find({group, tag});
    return place != properties.end() ? &place->second : nullptr;
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

std::optional<double> Properties::firstNumber(Group group, std::uint16_t tag) const
{
    const auto* numbers = std::get_if<Numbers>(find(group, tag));
    return numbers != nullptr && !numbers->empty() ? numbers->front() : number(group, tag);
}

std::size_t Properties::count(Group group) const
{
    return static_cast<std::size_t>(std::ranges::count(properties, group, [](const auto& property) {
        return property.first.first;
    }));
}

} // namespace nullprint::image
