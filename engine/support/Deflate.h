// Packing and unpacking deflated data, and the checksum that goes with its containers.
#pragma once

#include "engine/support/Bytes.h"
#include "engine/support/Result.h"

#include <memory>
#include <optional>

namespace nullprint {

// What a zlib stream (RFC 1950) unpacks to, as far as it is whole and at most `most` bytes of it.
Bytes inflate(ByteSpan deflated, std::size_t most);

// The same, and whether that is all of the stream, its checksum is right, and nothing is behind it.
struct Unpacked {
    Bytes content;
    bool isWhole = false;
};
Unpacked unpack(ByteSpan deflated, std::size_t most);

// The content as a zlib stream.
Bytes pack(ByteSpan content);

// Unpacks a bare deflate stream (RFC 1951) piece by piece.
class Inflater {
public:
    Inflater();

    struct Step {
        std::size_t taken; // From the front of `packed`.
        std::size_t made;  // At the front of `target`.
        bool isLast;       // The stream is at its end.
    };

    // Goes on as far as `packed` and `target` reach. Fails on what is no deflate stream.
    Result<Step> next(ByteSpan packed, std::span<Byte> target);

private:
    struct State;
    struct Release {
        void operator()(State* state) const;
    };
    std::unique_ptr<State, Release> state;
};

// The content as a bare deflate stream, or nothing when that takes more than `most` bytes.
std::optional<Bytes> deflate(ByteSpan content, std::size_t most);

// CRC-32 as PNG, ZIP and gzip use it (ISO 3309); `soFar` is that of the bytes before.
std::uint32_t checksum(ByteSpan bytes, std::uint32_t soFar = 0);

} // namespace nullprint
