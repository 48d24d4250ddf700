// One part of a package, unpacked from its front to its end.
#pragma once

#include "engine/package/PackageReader.h"
#include "engine/support/Deflate.h"

namespace nullprint {

class PartStream {
public:
    // Both are borrowed. The part has no problem.
    PartStream(ByteSource& archive, const PackagePart& part);

    // Unpacks the next bytes until `target` is full or the part ends: fewer only at its end.
    Result<std::size_t> read(std::span<Byte> target);

    // When all is read: whether it was what the archive announced, and nothing stands behind it.
    Result<Done> checkEnd();

private:
    Result<std::size_t> readStored(std::span<Byte> target);
    Result<std::size_t> readDeflated(std::span<Byte> target);
    Result<Done> refill();

    ByteSource* archive;
    const PackagePart* part;
    Inflater inflater;
    Bytes packed;       // A window on the stored bytes,
    ByteSpan unread;    // what of it is still to be unpacked,
    ByteRange unopened; // and what comes after it.
    std::uint64_t madeBytes = 0;
    std::uint32_t madeChecksum = 0;
    bool hasEnded = false;
};

} // namespace nullprint
