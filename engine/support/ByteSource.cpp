#include "engine/support/ByteSource.h"

#include <algorithm>

namespace nullprint {

Result<Bytes> ByteSource::copyOf(ByteRange range)
{
    if (!holds(range))
        return Error{"range past the end", range.offset};
    if (range.length > limits::metadataBytes)
        return Error{"metadata block too large", range.offset};
    Bytes copy(static_cast<std::size_t>(range.length));
    NP_TRY(read(range.offset, copy));
    return copy;
}

Result<ByteSpan> MemorySource::view(std::uint64_t offset, std::size_t length)
{
    if (!holds({offset, length}))
        return Error{"bytes past the end", offset};
    return memory.subspan(static_cast<std::size_t>(offset), length);
}

Result<Done> MemorySource::read(std::uint64_t offset, std::span<Byte> target)
{
    if (!holds({offset, target.size()}))
        return Error{"bytes past the end", offset};
    std::ranges::copy(memory.subspan(static_cast<std::size_t>(offset), target.size()),
                      target.begin());
    return Done{};
}

PartSource::PartSource(ByteSource& whole, ByteRange part)
    : whole(whole)
    , part(part)
{
    assert(whole.holds(part));
}

Result<ByteSpan> PartSource::view(std::uint64_t offset, std::size_t length)
{
    if (!holds({offset, length}))
        return Error{"bytes past the end of a part", part.offset};
    return whole.view(part.offset + offset, length);
}

Result<Done> PartSource::read(std::uint64_t offset, std::span<Byte> target)
{
    if (!holds({offset, target.size()}))
        return Error{"bytes past the end of a part", part.offset};
    return whole.read(part.offset + offset, target);
}

} // namespace nullprint
