// A deflated part as a source: no more of it is unpacked than what is looked at lies into it.
#pragma once

#include "engine/package/PartStream.h"

namespace nullprint {

class UnpackedSource final : public ByteSource {
public:
    // Archive and part are borrowed. What lies beyond `most` bytes cannot be looked at.
    UnpackedSource(ByteSource& archive, const PackagePart& part, std::uint64_t most);

    std::uint64_t size() const override { return sizeBytes; }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override;
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override;

private:
    Result<Done> unpackTo(ByteRange range);

    PartStream stream;
    std::uint64_t sizeBytes;
    std::uint64_t most;
    Bytes content; // All that has been unpacked.
};

} // namespace nullprint
