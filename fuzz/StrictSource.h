// Memory that is as unforgiving as a file: what `view` lends is gone at the next call.
#pragma once

#include "engine/support/ByteSource.h"

#include <memory>

namespace nullprint::fuzz {

// Every loan is a copy of exactly the bytes asked for, freed at the next call, so that a sanitizer
// sees a read past its end and a use after it was given back.
class StrictSource final : public ByteSource {
public:
    explicit StrictSource(ByteSpan memory)
        : memory(memory)
    {
    }

    std::uint64_t size() const override { return memory.size(); }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override;
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override;

private:
    MemorySource memory;
    std::unique_ptr<Byte[]> loan;
};

} // namespace nullprint::fuzz
