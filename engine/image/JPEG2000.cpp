#include "engine/image/JPEG2000.h"

#include "engine/image/HEIFItems.h"

#include <algorithm>

namespace nullprint::image {
namespace {

// A.2, table A.2.
namespace marker {
constexpr std::uint16_t startOfCodestream = 0xFF4F;
constexpr std::uint16_t imageAndTileSize = 0xFF51;
constexpr std::uint16_t comment = 0xFF64;
constexpr std::uint16_t startOfTilePart = 0xFF90;
constexpr std::uint16_t startOfData = 0xFF93;
constexpr std::uint16_t endOfCodestream = 0xFFD9;
} // namespace marker

// Segments of a main or a tile-part header that decoders use; two of them are ISO/IEC 15444-15's.
constexpr std::array segments{
    std::uint16_t{0xFF50}, // CAP
    marker::imageAndTileSize,
    std::uint16_t{0xFF52}, // COD
    std::uint16_t{0xFF53}, // COC
    std::uint16_t{0xFF55}, // TLM
    std::uint16_t{0xFF56}, // PRF
    std::uint16_t{0xFF57}, // PLM
    std::uint16_t{0xFF58}, // PLT
    std::uint16_t{0xFF59}, // CPF
    std::uint16_t{0xFF5C}, // QCD
    std::uint16_t{0xFF5D}, // QCC
    std::uint16_t{0xFF5E}, // RGN
    std::uint16_t{0xFF5F}, // POC
    std::uint16_t{0xFF60}, // PPM
    std::uint16_t{0xFF61}, // PPT
    std::uint16_t{0xFF63}, // CRG
};

// A length of two bytes, which counts itself, and what it is the length of.
Result<Done> skipSegment(ByteCursor& cursor)
{
    const std::uint16_t length = NP_TRY(cursor.u16());
    if (length < 2)
        return cursor.fail("segment shorter than its length");
    NP_TRY(cursor.skip(length - 2U));
    return Done{};
}

// Yields the marker that ends the header, which the cursor is then behind.
Result<std::uint16_t> readMainHeader(ByteCursor& cursor, Blocks& blocks)
{
    while (true) {
        const std::uint64_t start = cursor.position();
        const std::uint16_t code = NP_TRY(cursor.u16());
        const bool isComment = code == marker::comment;
        if (!isComment && std::ranges::find(segments, code) == segments.end())
            return code;
        NP_TRY(skipSegment(cursor));
        NP_TRY(blocks.add(isComment ? BlockKind::text : BlockKind::pixels,
                          {start, cursor.position() - start}));
    }
}

Result<Done> checkTilePartHeader(ByteCursor cursor)
{
    while (true) {
        const std::uint16_t code = NP_TRY(cursor.u16());
        if (code == marker::startOfData)
            return Done{};
        if (std::ranges::find(segments, code) == segments.end())
            return cursor.fail("tile-part with a segment that cannot be carried over");
        NP_TRY(skipSegment(cursor));
    }
}

// A.4.2, from behind the marker on. A length of 0, of the last part alone, is all that is left.
Result<Done> readTilePart(ByteCursor& cursor, Blocks& blocks)
{
    constexpr std::uint64_t headBytes = 12;
    constexpr std::uint64_t markerBytes = 2;
    const std::uint64_t start = cursor.position() - markerBytes;
    if (NP_TRY(cursor.u16()) != headBytes - markerBytes)
        return cursor.fail("tile-part with another head");
    NP_TRY(cursor.skip(2)); // The tile's number.
    std::uint64_t length = NP_TRY(cursor.u32());
    NP_TRY(cursor.skip(2)); // Numbers of parts.
    if (length == 0) {
        if (cursor.remaining() < markerBytes)
            return cursor.fail("tile-part without its end");
        length = cursor.position() - start + cursor.remaining() - markerBytes;
    }
    if (length < headBytes)
        return cursor.fail("tile-part shorter than its head");
    const ByteCursor part = NP_TRY(cursor.sub(length - headBytes));
    NP_TRY(checkTilePartHeader(part));
    return blocks.add(BlockKind::pixels, {start, length});
}

// I.5.3.6: numbers, and for each channel what it is and to what it belongs.
Result<Done> skipChannelDefinitions(ByteCursor& cursor)
{
    constexpr std::uint64_t channelBytes = 6;
    const std::uint16_t channels = NP_TRY(cursor.u16());
    NP_TRY(cursor.skip(channelBytes * channels));
    return Done{};
}

// I.5.3.5: a component, 0 or 1 for whether it goes through the palette, and the column of that.
Result<Done> skipComponentMapping(ByteCursor& cursor)
{
    while (!cursor.atEnd()) {
        NP_TRY(cursor.skip(2));
        if (NP_TRY(cursor.u8()) > 1)
            return cursor.fail("component mapped in an unknown way");
        NP_TRY(cursor.skip(1));
    }
    return Done{};
}

// I.5.3.4: the sizes of the table, the bits of each column, and the rows.
Result<Done> skipPalette(ByteCursor& cursor)
{
    const std::uint64_t rows = NP_TRY(cursor.u16());
    const std::uint8_t columns = NP_TRY(cursor.u8());
    std::uint64_t rowBytes = 0;
    for (std::uint8_t column = 0; column < columns; ++column)
        rowBytes += ((NP_TRY(cursor.u8()) & 0x7FU) + 8) / 8;
    NP_TRY(cursor.skip(rows * rowBytes));
    return Done{};
}

// I.5.3.2: for each component the bits of its samples, less one, below a bit for their sign.
Result<Done> skipBitsPerComponent(ByteCursor& cursor)
{
    constexpr unsigned most = 37;
    while (!cursor.atEnd()) {
        if ((NP_TRY(cursor.u8()) & 0x7FU) > most)
            return cursor.fail("samples of too many bits");
    }
    return Done{};
}

struct HeaderBox {
    std::uint32_t type;
    Result<Done> (*skipFields)(ByteCursor& cursor);
};

constexpr std::array headerBoxes{
    HeaderBox{fourCC("cdef"), skipChannelDefinitions},
    HeaderBox{fourCC("cmap"), skipComponentMapping},
    HeaderBox{fourCC("pclr"), skipPalette},
    HeaderBox{fourCC("bpcc"), skipBitsPerComponent},
};

} // namespace

Result<Blocks> splitCodestream(ByteSource& source)
{
    ByteCursor cursor(source);
    Blocks blocks;
    if (NP_TRY(cursor.u16()) != marker::startOfCodestream)
        return cursor.fail("no codestream");
    NP_TRY(blocks.add(BlockKind::pixels, {0, cursor.position()}));
    const ByteCursor first = cursor;
    std::uint16_t next = NP_TRY(readMainHeader(cursor, blocks));
    if (NP_TRY(ByteCursor(first).u16()) != marker::imageAndTileSize)
        return first.fail("codestream without a size");
    while (next == marker::startOfTilePart) {
        NP_TRY(readTilePart(cursor, blocks));
        next = NP_TRY(cursor.u16());
    }
    if (next != marker::endOfCodestream)
        return cursor.fail("codestream that does not end");
    NP_TRY(blocks.add(BlockKind::pixels, {cursor.position() - 2, 2}));
    NP_TRY(blocks.add(BlockKind::filler, cursor.rest()));
    return blocks;
}

Result<Bytes> cleanJ2KHeader(ByteSource& content)
{
    ByteCursor cursor(content);
    Bytes out;
    while (!cursor.atEnd()) {
        const Box box = NP_TRY(readBox(cursor));
        const auto* row = std::ranges::find(headerBoxes, box.type, &HeaderBox::type);
        if (row == headerBoxes.end())
            continue;
        ByteCursor inner(content, box.content);
        NP_TRY(row->skipFields(inner));
        const ByteRange fields{box.content.offset, inner.position() - box.content.offset};
        append32(out, static_cast<std::uint32_t>(fields.length + 8), ByteOrder::big);
        append32(out, box.type, ByteOrder::big);
        append(out, NP_TRY(content.copyOf(fields)));
    }
    if (out.empty())
        return cursor.fail("components without a meaning");
    return out;
}

} // namespace nullprint::image
