// The vocabulary of raw data: owned bytes, borrowed bytes, and places in a file.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace nullprint {

using Byte = std::uint8_t;
using Bytes = std::vector<Byte>;
using ByteSpan = std::span<const Byte>;

enum class ByteOrder { big, little };

// A place in a file, in bytes from its start. Whoever makes one has checked it against the file.
struct ByteRange {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;

    constexpr std::uint64_t end() const { return offset + length; }
    friend constexpr bool operator==(const ByteRange&, const ByteRange&) = default;
};

// The 32-bit big-endian value of a four-character code such as "IHDR".
consteval std::uint32_t fourCC(const char (&code)[5])
{
    std::uint32_t value = 0;
    for (const char letter : std::string_view(code, 4))
        value = value << 8 | static_cast<Byte>(letter);
    return value;
}

// The same bytes under the other type; nothing is copied.
std::string_view asText(ByteSpan bytes);
ByteSpan asBytes(std::string_view text);

// Appends to `out`. Integers are written in the order given.
void append(Bytes& out, ByteSpan more);
void append(Bytes& out, std::string_view more);
void append16(Bytes& out, std::uint16_t value, ByteOrder order);
void append32(Bytes& out, std::uint32_t value, ByteOrder order);
void append64(Bytes& out, std::uint64_t value, ByteOrder order);

} // namespace nullprint
