#include "engine/support/Deflate.h"

#include <algorithm>
#include <limits>
// zlib promises not to write to its input. NOLINTNEXTLINE(readability-identifier-naming): its name.
#define ZLIB_CONST
#include <zlib.h>

namespace nullprint {
namespace {

// zlib counts in 32 bits. What is longer goes in several steps.
uInt counted(std::size_t length)
{
    return static_cast<uInt>(std::min<std::size_t>(length, std::numeric_limits<uInt>::max()));
}

// A negative window size stands for a stream without zlib's header and checksum.
constexpr int bareWindow = -MAX_WBITS;

} // namespace

struct Inflater::State {
    z_stream stream{};
};

Unpacked unpack(ByteSpan deflated, std::size_t most)
{
    z_stream stream{};
    if (::inflateInit(&stream) != Z_OK)
        return {};
    Unpacked out;
    std::array<Byte, 32UL * 1024> buffer{};
    stream.next_in = deflated.data();
    stream.avail_in = counted(deflated.size());
    int state = Z_OK;
    while (state == Z_OK && out.content.size() < most) {
        stream.next_out = buffer.data();
        stream.avail_out = static_cast<uInt>(buffer.size());
        state = ::inflate(&stream, Z_NO_FLUSH);
        const std::size_t made = buffer.size() - stream.avail_out;
        const std::size_t taken = std::min(made, most - out.content.size());
        append(out.content, ByteSpan(buffer).first(taken));
        out.isWhole = state == Z_STREAM_END && stream.avail_in == 0 && taken == made;
    }
    ::inflateEnd(&stream);
    return out;
}

Bytes inflate(ByteSpan deflated, std::size_t most)
{
    return unpack(deflated, most).content;
}

Bytes pack(ByteSpan content)
{
    uLongf length = ::compressBound(content.size());
    Bytes out(length);
    if (::compress(out.data(), &length, content.data(), content.size()) != Z_OK)
        return {};
    out.resize(length);
    return out;
}

void Inflater::Release::operator()(State* state) const
{
    ::inflateEnd(&state->stream);
    std::default_delete<State>()(state);
}

Inflater::Inflater()
    : state(new State)
{
    if (::inflateInit2(&state->stream, bareWindow) != Z_OK)
        state.reset();
}

Result<Inflater::Step> Inflater::next(ByteSpan packed, std::span<Byte> target)
{
    if (state == nullptr)
        return Error{"no memory to unpack with"};
    z_stream& stream = state->stream;
    const uInt offered = counted(packed.size());
    const uInt room = counted(target.size());
    stream.next_in = packed.data();
    stream.avail_in = offered;
    stream.next_out = target.data();
    stream.avail_out = room;
    const int outcome = ::inflate(&stream, Z_NO_FLUSH);
    if (outcome != Z_OK && outcome != Z_STREAM_END && outcome != Z_BUF_ERROR)
        return Error{"not a deflate stream"};
    return Step{offered - stream.avail_in, room - stream.avail_out, outcome == Z_STREAM_END};
}

std::optional<Bytes> deflate(ByteSpan content, std::size_t most)
{
    constexpr int usualMemory = 8;
    z_stream stream{};
    if (::deflateInit2(&stream,
                       Z_DEFAULT_COMPRESSION,
                       Z_DEFLATED,
                       bareWindow,
                       usualMemory,
                       Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    Bytes out;
    std::array<Byte, 64UL * 1024> buffer{};
    int state = Z_OK;
    while (state == Z_OK && out.size() <= most) {
        if (stream.avail_in == 0) {
            stream.next_in = content.data();
            stream.avail_in = counted(content.size());
            content = content.subspan(stream.avail_in);
        }
        stream.next_out = buffer.data();
        stream.avail_out = static_cast<uInt>(buffer.size());
        state = ::deflate(&stream, content.empty() ? Z_FINISH : Z_NO_FLUSH);
        append(out, ByteSpan(buffer).first(buffer.size() - stream.avail_out));
    }
    ::deflateEnd(&stream);
    if (state != Z_STREAM_END || out.size() > most)
        return std::nullopt;
    return out;
}

std::uint32_t checksum(ByteSpan bytes, std::uint32_t soFar)
{
    return static_cast<std::uint32_t>(::crc32_z(soFar, bytes.data(), bytes.size()));
}

} // namespace nullprint
