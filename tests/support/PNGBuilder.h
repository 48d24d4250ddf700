// Puts PNGs together chunk by chunk, well-formed or not.
#pragma once

#include "engine/support/Bytes.h"
#include "engine/support/Deflate.h"

#include <string>
#include <zlib.h>

namespace nullprint::tests {

// The zlib stream of a text, as zTXt has it.
inline std::string deflated(std::string_view text)
{
    const Bytes input(text.begin(), text.end());
    uLongf size = ::compressBound(static_cast<uLong>(input.size()));
    Bytes output(size);
    ::compress(output.data(), &size, input.data(), static_cast<uLong>(input.size()));
    return std::string(asText(ByteSpan(output).first(size)));
}

class PNGBuilder {
public:
    // Signature and header of a picture of one pixel.
    explicit PNGBuilder(char colourType = 6, char depth = 8)
    {
        append(bytes, std::string_view("\x89PNG\r\n\x1A\n", 8));
        chunk("IHDR", std::string("\0\0\0\1\0\0\0\1", 8) + depth + colourType + std::string(3, 0));
    }

    PNGBuilder& raw(std::string_view more)
    {
        append(bytes, more);
        return *this;
    }

    PNGBuilder& chunk(std::string_view type, std::string_view data)
    {
        Bytes body;
        append(body, type);
        append(body, data);
        return chunkWithChecksum(type, data, checksum(body));
    }

    PNGBuilder&
    chunkWithChecksum(std::string_view type, std::string_view data, std::uint32_t checksum)
    {
        append32(bytes, static_cast<std::uint32_t>(data.size()), ByteOrder::big);
        append(bytes, type);
        append(bytes, data);
        append32(bytes, checksum, ByteOrder::big);
        return *this;
    }

    PNGBuilder& pixels() { return chunk("IDAT", deflated(std::string(5, 0))); }

    PNGBuilder& header(char frames, char plays = 0)
    {
        return chunk("acTL", std::string(3, 0) + frames + std::string(3, 0) + plays);
    }

    // Sequence number, one pixel at the corner, a tenth of a second.
    PNGBuilder& frameControl(char sequence)
    {
        return chunk("fcTL",
                     std::string(3, 0) + sequence +
                         std::string("\0\0\0\1\0\0\0\1\0\0\0\0\0\0\0\0\0\1\0\x0A\0\0", 22));
    }

    PNGBuilder& framePixels(char sequence)
    {
        return chunk("fdAT", std::string(3, 0) + sequence + deflated(std::string(5, 0)));
    }

    Bytes end() { return chunk("IEND", "").bytes; }
    Bytes withoutEnd() { return bytes; }

private:
    Bytes bytes;
};

} // namespace nullprint::tests
