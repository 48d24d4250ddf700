#include "engine/package/UnpackedSource.h"

#include <algorithm>

namespace nullprint {
namespace {

// How much is unpacked at least when anything is.
constexpr std::uint64_t stepBytes = 16UL * 1024;

} // namespace

UnpackedSource::UnpackedSource(ByteSource& archive, const PackagePart& part, std::uint64_t most)
    : stream(archive, part)
    , sizeBytes(part.sizeBytes)
    , most(most)
{
}

Result<ByteSpan> UnpackedSource::view(std::uint64_t offset, std::size_t length)
{
    NP_TRY(unpackTo({offset, length}));
    return ByteSpan(content).subspan(static_cast<std::size_t>(offset), length);
}

Result<Done> UnpackedSource::read(std::uint64_t offset, std::span<Byte> target)
{
    NP_TRY(unpackTo({offset, target.size()}));
    const auto place = ByteSpan(content).subspan(static_cast<std::size_t>(offset), target.size());
    std::ranges::copy(place, target.begin());
    return Done{};
}

Result<Done> UnpackedSource::unpackTo(ByteRange range)
{
    if (!holds(range) || range.end() > most)
        return Error{"bytes past what may be unpacked", range.offset};
    const std::size_t before = content.size();
    if (range.end() <= before)
        return Done{};
    const std::uint64_t wanted = std::max(range.end(), before + stepBytes);
    content.resize(static_cast<std::size_t>(std::min({wanted, sizeBytes, most})));
    const auto made = stream.read(std::span(content).subspan(before));
    content.resize(before + (made.ok() ? made.value() : 0));
    if (content.size() < range.end())
        return Error{"a part of it is damaged", range.offset};
    return Done{};
}

} // namespace nullprint
