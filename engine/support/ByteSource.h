// Where bytes come from: a file, memory, or a part of another source.
#pragma once

#include "engine/support/Bytes.h"
#include "engine/support/Limits.h"
#include "engine/support/Result.h"

#include <optional>

namespace nullprint {

// Read-only random access to a fixed number of bytes. Not for several threads at once.
class ByteSource {
public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    // In bytes; does not change while the source lives.
    virtual std::uint64_t size() const = 0;

    // Borrows `length` bytes (at most limits::windowBytes) from `offset` on, until the next call.
    // Fails when they are not all there.
    virtual Result<ByteSpan> view(std::uint64_t offset, std::size_t length) = 0;

    // Copies out as many bytes as `target` holds. Fails when they are not all there.
    virtual Result<Done> read(std::uint64_t offset, std::span<Byte> target) = 0;

    // The bytes of a range of any length, where they happen to be in memory, until the next call.
    virtual std::optional<ByteSpan> inMemory(ByteRange) const { return std::nullopt; }

    // The file behind the source, when its offsets are the file's own; otherwise -1.
    virtual int descriptor() const { return -1; }

    bool holds(ByteRange range) const
    {
        return range.offset <= size() && range.length <= size() - range.offset;
    }

    // An owned copy of a range of at most limits::metadataBytes.
    Result<Bytes> copyOf(ByteRange range);
};

// Bytes in memory, borrowed for the life of the source.
class MemorySource final : public ByteSource {
public:
    explicit MemorySource(ByteSpan memory)
        : memory(memory)
    {
    }

    std::uint64_t size() const override { return memory.size(); }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override;
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override;

private:
    ByteSpan memory;
};

// A part of another source, which must outlive it. Offset 0 is the start of the part.
class PartSource final : public ByteSource {
public:
    // `part` must lie within `whole`.
    PartSource(ByteSource& whole, ByteRange part);

    std::uint64_t size() const override { return part.length; }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override;
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override;

private:
    ByteSource& whole;
    ByteRange part;
};

} // namespace nullprint
