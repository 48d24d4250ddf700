// Where a copy goes: bytes made here, and ranges of a source that are taken over as they are.
#pragma once

#include "engine/support/ByteSource.h"

namespace nullprint {

class ByteSink {
public:
    ByteSink() = default;
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;
    virtual ~ByteSink() = default;

    virtual Result<Done> write(ByteSpan bytes) = 0;
    virtual Result<Done> copy(ByteSource& source, ByteRange range) = 0;
};

// Collects a copy in memory.
class MemorySink final : public ByteSink {
public:
    Result<Done> write(ByteSpan bytes) override;
    Result<Done> copy(ByteSource& source, ByteRange range) override;

    Bytes content;
};

} // namespace nullprint
