// The only way from a parser to input bytes: every read is checked against what is left.
#pragma once

#include "engine/support/ByteSource.h"

#include <optional>

namespace nullprint {

// Walks forward over a range of a source, which must outlive it. Copies are independent.
class ByteCursor {
public:
    explicit ByteCursor(ByteSource& source, ByteOrder order = ByteOrder::big);
    // `range` must lie within the source.
    ByteCursor(ByteSource& source, ByteRange range, ByteOrder order = ByteOrder::big);

    // All positions are offsets in the source, not in the range.
    std::uint64_t position() const { return at; }
    std::uint64_t remaining() const { return end - at; }
    bool atEnd() const { return at == end; }
    ByteRange rest() const { return {at, remaining()}; }

    Result<std::uint8_t> u8();
    Result<std::uint16_t> u16();
    Result<std::uint32_t> u32();
    Result<std::uint64_t> u64();

    // Owned copy of the next `length` bytes.
    Result<Bytes> bytes(std::uint64_t length);
    // The place of the next `length` bytes, which are passed over.
    Result<ByteRange> skip(std::uint64_t length);
    // A cursor over the next `length` bytes, which this one passes over.
    Result<ByteCursor> sub(std::uint64_t length);

    // Whether the next bytes are `text`; they stay where they are.
    bool startsWith(std::string_view text);
    // The next byte, which stays where it is; nothing at the end.
    std::optional<Byte> peek();

    Error fail(const char* what) const { return {what, at}; }

private:
    Result<std::uint64_t> integer(unsigned width);

    ByteSource* source;
    std::uint64_t at;
    std::uint64_t end;
    ByteOrder order;
};

} // namespace nullprint
