#include "engine/support/Bytes.h"

namespace nullprint {
namespace {

void appendInteger(Bytes& out, std::uint64_t value, unsigned width, ByteOrder order)
{
    for (unsigned index = 0; index < width; ++index) {
        const unsigned place = order == ByteOrder::little ? index : width - 1 - index;
        out.push_back(static_cast<Byte>(value >> (8 * place)));
    }
}

} // namespace

std::string_view asText(ByteSpan bytes)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): char may alias any bytes.
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

ByteSpan asBytes(std::string_view text)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): so may unsigned char.
    return {reinterpret_cast<const Byte*>(text.data()), text.size()};
}

void append(Bytes& out, ByteSpan more)
{
    out.insert(out.end(), more.begin(), more.end());
}

void append(Bytes& out, std::string_view more)
{
    append(out, asBytes(more));
}

void append16(Bytes& out, std::uint16_t value, ByteOrder order)
{
    appendInteger(out, value, 2, order);
}

void append32(Bytes& out, std::uint32_t value, ByteOrder order)
{
    appendInteger(out, value, 4, order);
}

void append64(Bytes& out, std::uint64_t value, ByteOrder order)
{
    appendInteger(out, value, 8, order);
}

} // namespace nullprint
