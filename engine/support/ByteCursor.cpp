#include "engine/support/ByteCursor.h"

namespace nullprint {

ByteCursor::ByteCursor(ByteSource& source, ByteOrder order)
    : ByteCursor(source, {0, source.size()}, order)
{
}

ByteCursor::ByteCursor(ByteSource& source, ByteRange range, ByteOrder order)
    : source(&source)
    , at(range.offset)
    , end(range.end())
    , order(order)
{
    assert(source.holds(range));
}

Result<std::uint64_t> ByteCursor::integer(unsigned width)
{
    if (width > remaining())
        return fail("number past the end");
    const ByteSpan raw = NP_TRY(source->view(at, width));
    std::uint64_t value = 0;
    for (unsigned index = 0; index < width; ++index) {
        const unsigned place = order == ByteOrder::big ? index : width - 1 - index;
        value = value << 8 | raw[place];
    }
    at += width;
    return value;
}

Result<std::uint8_t> ByteCursor::u8()
{
    return static_cast<std::uint8_t>(NP_TRY(integer(1)));
}

Result<std::uint16_t> ByteCursor::u16()
{
    return static_cast<std::uint16_t>(NP_TRY(integer(2)));
}

Result<std::uint32_t> ByteCursor::u32()
{
    return static_cast<std::uint32_t>(NP_TRY(integer(4)));
}

Result<std::uint64_t> ByteCursor::u64()
{
    return integer(8);
}

Result<Bytes> ByteCursor::bytes(std::uint64_t length)
{
    const ByteRange range = NP_TRY(skip(length));
    return source->copyOf(range);
}

Result<ByteRange> ByteCursor::skip(std::uint64_t length)
{
    if (length > remaining())
        return fail("bytes past the end");
    const ByteRange range{at, length};
    at += length;
    return range;
}

Result<ByteCursor> ByteCursor::sub(std::uint64_t length)
{
    const ByteRange range = NP_TRY(skip(length));
    return ByteCursor(*source, range, order);
}

bool ByteCursor::startsWith(std::string_view text)
{
    if (text.size() > remaining())
        return false;
    const auto next = source->view(at, text.size());
    return next.ok() && asText(next.value()) == text;
}

std::optional<Byte> ByteCursor::peek()
{
    if (atEnd())
        return std::nullopt;
    const auto next = source->view(at, 1);
    if (!next.ok())
        return std::nullopt;
    return next.value()[0];
}

} // namespace nullprint
