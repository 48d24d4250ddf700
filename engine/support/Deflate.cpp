#include "engine/support/Deflate.h"

#include <algorithm>
#include <limits>
// zlib promises not to write to its input. NOLINTNEXTLINE(readability-identifier-naming): its name.
#define ZLIB_CONST
#include <zlib.h>

namespace nullprint {

Bytes inflate(ByteSpan deflated, std::size_t most)
{
    z_stream stream{};
    if (::inflateInit(&stream) != Z_OK)
        return {};
    Bytes out;
    std::array<Byte, 32UL * 1024> buffer{};
    stream.next_in = deflated.data();
    stream.avail_in =
        static_cast<uInt>(std::min<std::size_t>(deflated.size(), std::numeric_limits<uInt>::max()));
    int state = Z_OK;
    while (state == Z_OK && out.size() < most) {
        stream.next_out = buffer.data();
        stream.avail_out = static_cast<uInt>(buffer.size());
        state = ::inflate(&stream, Z_NO_FLUSH);
        const std::size_t made = buffer.size() - stream.avail_out;
        append(out, ByteSpan(buffer).first(std::min(made, most - out.size())));
    }
    ::inflateEnd(&stream);
    return out;
}

std::uint32_t checksum(ByteSpan bytes)
{
    return static_cast<std::uint32_t>(::crc32_z(0, bytes.data(), bytes.size()));
}

} // namespace nullprint
