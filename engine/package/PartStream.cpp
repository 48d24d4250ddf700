#include "engine/package/PartStream.h"

#include <algorithm>

namespace nullprint {
namespace {

constexpr Error damaged{"a part of it is damaged"};

constexpr std::uint64_t packedWindowBytes = 64UL * 1024;

} // namespace

PartStream::PartStream(ByteSource& archive, const PackagePart& part)
    : archive(&archive)
    , part(&part)
    , unopened(part.stored)
{
    assert(part.problem == nullptr);
}

Result<std::size_t> PartStream::read(std::span<Byte> target)
{
    const auto left = part->sizeBytes - madeBytes;
    target = target.first(static_cast<std::size_t>(std::min<std::uint64_t>(left, target.size())));
    const std::size_t made = NP_TRY(part->isDeflated ? readDeflated(target) : readStored(target));
    madeBytes += made;
    madeChecksum = checksum(target.first(made), madeChecksum);
    return made;
}

Result<std::size_t> PartStream::readStored(std::span<Byte> target)
{
    NP_TRY(archive->read(unopened.offset, target));
    unopened.offset += target.size();
    unopened.length -= target.size();
    return target.size();
}

Result<std::size_t> PartStream::readDeflated(std::span<Byte> target)
{
    std::size_t made = 0;
    while (made < target.size() && !hasEnded) {
        NP_TRY(refill());
        const auto step = inflater.next(unread, target.subspan(made));
        if (!step.ok() || (step.value().taken == 0 && step.value().made == 0))
            return damaged;
        unread = unread.subspan(step.value().taken);
        made += step.value().made;
        hasEnded = step.value().isLast;
    }
    return made;
}

// At the end of the stored bytes nothing comes; the inflater may still hold some back.
Result<Done> PartStream::refill()
{
    if (!unread.empty() || unopened.length == 0)
        return Done{};
    const auto take = static_cast<std::size_t>(std::min(unopened.length, packedWindowBytes));
    packed.resize(take);
    NP_TRY(archive->read(unopened.offset, packed));
    unopened.offset += take;
    unopened.length -= take;
    unread = packed;
    return Done{};
}

Result<Done> PartStream::checkEnd()
{
    // A deflate stream has its end after its last byte. One byte more would be one too many.
    std::array<Byte, 1> tooMany{};
    if (part->isDeflated && part->stored.length > 0 && NP_TRY(readDeflated(tooMany)) > 0)
        return damaged;
    const bool isWhole = madeBytes == part->sizeBytes && madeChecksum == part->checksum;
    return isWhole && unread.empty() && unopened.length == 0 ? Result<Done>(Done{}) : damaged;
}

} // namespace nullprint
