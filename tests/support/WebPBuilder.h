// WebP files from their chunks, well-formed or not.
#pragma once

#include "tests/support/Joined.h"

namespace nullprint::tests::webp {

inline constexpr Byte animationFlag = 0x02;
inline constexpr Byte xmpFlag = 0x04;
inline constexpr Byte exifFlag = 0x08;
inline constexpr Byte alphaFlag = 0x10;
inline constexpr Byte profileFlag = 0x20;

// Without `padding` an odd chunk is not padded.
inline Bytes chunk(std::string_view type, ByteSpan data, std::string_view padding = {"\0", 1})
{
    Bytes out = bytesOf(type);
    append32(out, static_cast<std::uint32_t>(data.size()), ByteOrder::little);
    append(out, data);
    if (data.size() % 2 == 1)
        append(out, padding);
    return out;
}

inline Bytes chunk(std::string_view type, std::string_view data)
{
    return chunk(type, asBytes(data));
}

// A file whose size field is off by `error`.
inline Bytes file(std::initializer_list<Bytes> chunks, int error = 0)
{
    const Bytes all = joined(chunks);
    Bytes out = bytesOf("RIFF");
    append32(out,
             static_cast<std::uint32_t>(static_cast<int>(all.size()) + 4 + error),
             ByteOrder::little);
    append(out, "WEBP");
    append(out, all);
    return out;
}

// The canvas is 16 by 8.
inline Bytes canvas(Byte flags, Byte reserved = 0)
{
    return chunk("VP8X", Bytes{flags, reserved, reserved, reserved, 15, 0, 0, 7, 0, 0});
}

// A key frame of 16 by 8, as far as its header goes; `content` stands for the coded samples.
inline Bytes lossy(std::string_view content = "lossy samples")
{
    Bytes data{0x10, 0x02, 0x00, 0x9D, 0x01, 0x2A, 16, 0, 8, 0};
    append(data, content);
    return chunk("VP8 ", data);
}

// 16 by 8, likewise.
inline Bytes lossless(bool usesAlpha, std::string_view content = "lossless samples")
{
    Bytes data{0x2F};
    append32(data, 15U | 7U << 14 | (usesAlpha ? 1U << 28 : 0U), ByteOrder::little);
    append(data, content);
    return chunk("VP8L", data);
}

inline Bytes animation(std::uint16_t loops)
{
    Bytes data{1, 2, 3, 4}; // Background colour.
    append16(data, loops, ByteOrder::little);
    return chunk("ANIM", data);
}

// A frame that fills the canvas. `bits`: 1 disposal, 2 blending, the rest reserved.
inline Bytes frame(Byte durationMs, std::initializer_list<Bytes> chunks, Byte bits = 0)
{
    Bytes data{0, 0, 0, 0, 0, 0, 15, 0, 0, 7, 0, 0, durationMs, 0, 0, bits};
    append(data, joined(chunks));
    return chunk("ANMF", data);
}

} // namespace nullprint::tests::webp
