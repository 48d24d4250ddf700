// BMP: a file header, a DIB header of one of many sizes, masks, palette, rows of pixels, and a
// colour profile. Nothing is decoded. WINGDI is the documentation of the structures of wingdi.h
// (BITMAPFILEHEADER, BITMAPCOREHEADER, BITMAPINFOHEADER, BITMAPV4HEADER, BITMAPV5HEADER); OS/2 is
// BITMAPINFOHEADER2 of the OS/2 2.x Presentation Manager reference.
#include "engine/image/BMP.h"

#include "engine/image/ICC.h"
#include "engine/image/JPEG.h"
#include "engine/image/PNG.h"
#include "engine/support/ByteCursor.h"

#include <algorithm>

namespace nullprint::image {
namespace {

constexpr std::uint32_t fileHeaderBytes = 14;

// Sizes of the DIB header that have a name. OS/2 2.x may cut its own short anywhere from 16 on.
constexpr std::uint32_t coreHeaderBytes = 12;
constexpr std::uint32_t smallestOS2Bytes = 16;
constexpr std::uint32_t infoHeaderBytes = 40;
constexpr std::uint32_t rgbMasksHeaderBytes = 52;
constexpr std::uint32_t rgbaMasksHeaderBytes = 56;
constexpr std::uint32_t largestOS2Bytes = 64;
constexpr std::uint32_t v4HeaderBytes = 108;
constexpr std::uint32_t v5HeaderBytes = 124;

// Where the fields of a DIB header stand, from its own start. A header may end before any of them.
namespace field {
constexpr std::size_t imageBytes = 20;
constexpr std::size_t coloursUsed = 32;
constexpr std::size_t coloursImportant = 36;
constexpr std::size_t os2Units = 40; // From here on OS/2 describes halftoning and applications.
constexpr std::size_t colourSpace = 56;
constexpr std::size_t endpoints = 60; // With the three gammas behind them.
constexpr std::size_t intent = 108;
constexpr std::size_t profileOffset = 112;
constexpr std::size_t profileBytes = 116;
constexpr std::size_t reserved = 120;
} // namespace field

enum class Coding : std::uint8_t { rows, runLength4, runLength8, runLength24, fax, jpeg, png };

struct CodingRow {
    bool isOS2;
    std::uint32_t compression;
    std::uint16_t depth; // 0 stands for every depth of rows of pixels.
    Coding coding;
    std::uint32_t maskBytes = 0; // Behind a 40-byte header; longer ones hold the masks.
};

// WINGDI: BI_RGB, BI_RLE8, BI_RLE4, BI_BITFIELDS, BI_JPEG, BI_PNG, and BI_ALPHABITFIELDS.
// OS/2: BCA_UNCOMP, BCA_RLE8, BCA_RLE4, BCA_HUFFMAN1D, BCA_RLE24.
constexpr std::array codings{
    CodingRow{false, 0, 0, Coding::rows},
    CodingRow{false, 1, 8, Coding::runLength8},
    CodingRow{false, 2, 4, Coding::runLength4},
    CodingRow{false, 3, 16, Coding::rows, 12},
    CodingRow{false, 3, 32, Coding::rows, 12},
    CodingRow{false, 6, 16, Coding::rows, 16},
    CodingRow{false, 6, 32, Coding::rows, 16},
    CodingRow{true, 0, 0, Coding::rows},
    CodingRow{true, 1, 8, Coding::runLength8},
    CodingRow{true, 2, 4, Coding::runLength4},
    CodingRow{true, 3, 1, Coding::fax},
    CodingRow{true, 4, 24, Coding::runLength24},
};

struct Header {
    std::uint32_t pixelOffset = 0; // From the start of the file.
    std::uint32_t size = 0;        // Of the DIB header.
    std::uint32_t width = 0;
    std::uint32_t height = 0; // Without its sign, which tells the order of rows.
    std::uint16_t depth = 0;
    std::uint32_t compression = 0;
    std::uint32_t imageBytes = 0;
    std::uint32_t coloursUsed = 0;
    std::uint32_t colourSpace = 0;
    std::uint32_t intent = 0;
    std::uint32_t profileOffset = 0; // From the start of the DIB header.
    std::uint32_t profileBytes = 0;
    Coding coding = Coding::rows;
    std::uint32_t maskBytes = 0;

    bool isCore() const { return size == coreHeaderBytes; }
    bool isOS2() const
    {
        return size >= smallestOS2Bytes && size <= largestOS2Bytes && size != infoHeaderBytes &&
               size != rgbMasksHeaderBytes && size != rgbaMasksHeaderBytes;
    }
    bool isPayload() const { return coding == Coding::jpeg || coding == Coding::png; }
    std::uint32_t headersEnd() const { return fileHeaderBytes + size; }
};

struct Layout {
    Header header;
    ByteRange masks;
    ByteRange palette; // As far as the depth can index it.
    ByteRange hint;    // What else there is of it: colours for displays that have few.
    ByteRange pixels;
    ByteRange profile;       // Embedded; empty when there is none.
    ByteRange linkedProfile; // Holds a path.
};

bool isHeaderSize(std::uint32_t size)
{
    return size == coreHeaderBytes || (size >= smallestOS2Bytes && size <= largestOS2Bytes) ||
           size == v4HeaderBytes || size == v5HeaderBytes;
}

// WINGDI, BITMAPCOREHEADER.
Result<Done> readCoreFields(ByteCursor& cursor, Header& header)
{
    header.width = NP_TRY(cursor.u16());
    header.height = NP_TRY(cursor.u16());
    const std::uint16_t planes = NP_TRY(cursor.u16());
    header.depth = NP_TRY(cursor.u16());
    return planes == 1 ? Result<Done>(Done{}) : cursor.fail("more than one plane");
}

// A field that the header is too short for is zero.
Result<std::uint32_t> optional32(ByteCursor& cursor)
{
    if (cursor.remaining() < 4) {
        NP_TRY(cursor.skip(cursor.remaining()));
        return 0U;
    }
    return cursor.u32();
}

// WINGDI, BITMAPINFOHEADER to BITMAPV5HEADER, and OS/2, whose first 40 bytes are the same.
Result<Done> readInfoFields(ByteCursor& cursor, Header& header)
{
    header.width = NP_TRY(cursor.u32());
    const std::uint32_t height = NP_TRY(cursor.u32());
    header.height = height > 0x7FFFFFFF ? 0U - height : height; // Negative: the top row is first.
    const std::uint16_t planes = NP_TRY(cursor.u16());
    header.depth = NP_TRY(cursor.u16());
    if (planes != 1 || header.width > 0x7FFFFFFF || header.height > 0x7FFFFFFF)
        return cursor.fail("DIB header that describes no picture");
    header.compression = NP_TRY(optional32(cursor));
    header.imageBytes = NP_TRY(optional32(cursor));
    NP_TRY(optional32(cursor)); // Resolution
    NP_TRY(optional32(cursor));
    header.coloursUsed = NP_TRY(optional32(cursor));
    if (header.size < v4HeaderBytes)
        return Done{};
    NP_TRY(cursor.skip(field::colourSpace - field::coloursImportant));
    header.colourSpace = NP_TRY(cursor.u32());
    if (header.size < v5HeaderBytes)
        return Done{};
    NP_TRY(cursor.skip(field::intent - field::endpoints));
    header.intent = NP_TRY(cursor.u32());
    header.profileOffset = NP_TRY(cursor.u32());
    header.profileBytes = NP_TRY(cursor.u32());
    return Done{};
}

bool isDepthOfRows(std::uint16_t depth)
{
    constexpr std::array<std::uint16_t, 7> depths{1, 2, 4, 8, 16, 24, 32};
    return std::ranges::find(depths, depth) != depths.end();
}

bool setCoding(Header& header)
{
    const bool isOS2 = header.isOS2();
    if (!isOS2 && (header.compression == 4 || header.compression == 5)) {
        header.coding = header.compression == 4 ? Coding::jpeg : Coding::png;
        return true;
    }
    for (const CodingRow& row : codings) {
        const bool fits = row.depth == 0 ? isDepthOfRows(header.depth) : row.depth == header.depth;
        if (row.isOS2 != isOS2 || row.compression != header.compression || !fits)
            continue;
        header.coding = row.coding;
        header.maskBytes = header.size == infoHeaderBytes ? row.maskBytes : 0;
        return true;
    }
    return false;
}

Result<Header> readHeader(ByteSource& source)
{
    Header header;
    ByteCursor cursor(source, ByteOrder::little);
    NP_TRY(cursor.skip(10)); // Signature, file size, two reserved fields.
    header.pixelOffset = NP_TRY(cursor.u32());
    header.size = NP_TRY(cursor.u32());
    if (!isHeaderSize(header.size))
        return cursor.fail("DIB header of no known size");
    ByteCursor fields = NP_TRY(cursor.sub(header.size - 4));
    NP_TRY(header.isCore() ? readCoreFields(fields, header) : readInfoFields(fields, header));
    if (header.width == 0 || header.height == 0 || !setCoding(header))
        return cursor.fail("DIB header that describes no picture");
    return header;
}

// Masks and palette. Whatever the header says, neither goes beyond the first pixel; a palette cut
// short there is kept as it is cut, so that every decoder finds the same bytes in its place.
Result<Done> placeTables(Layout& layout)
{
    const Header& header = layout.header;
    const std::uint32_t start = header.headersEnd() + header.maskBytes;
    if (header.pixelOffset < start)
        return Error{"pixels inside the header", 10};
    layout.masks = {header.headersEnd(), header.maskBytes};
    const bool isIndexed = header.depth >= 1 && header.depth <= 8;
    const std::uint64_t indexable = isIndexed ? 1ULL << header.depth : 0;
    std::uint64_t announced = header.coloursUsed;
    if (isIndexed && (announced == 0 || header.isCore()))
        announced = indexable;
    const std::uint64_t entryBytes = header.isCore() ? 3 : 4;
    const std::uint64_t room = header.pixelOffset - start;
    const std::uint64_t all = std::min(announced * entryBytes, room);
    const std::uint64_t kept = std::min(indexable * entryBytes, all);
    layout.palette = {start, kept};
    layout.hint = {start + kept, all - kept};
    return Done{};
}

// WINGDI, BITMAPV5HEADER: bV5ProfileData and bV5ProfileSize. A profile stands clear of everything
// else, before the pixels or behind them. One that is only linked need not: it goes anyway.
Result<Done> placeProfile(ByteSource& source, Layout& layout)
{
    const Header& header = layout.header;
    const bool isEmbedded = header.colourSpace == fourCC("MBED");
    const bool isLinked = header.colourSpace == fourCC("LINK");
    if ((!isEmbedded && !isLinked) || header.profileBytes == 0)
        return Done{};
    const ByteRange profile{std::uint64_t{fileHeaderBytes} + header.profileOffset,
                            header.profileBytes};
    const bool isBeforePixels =
        profile.offset >= layout.hint.end() && profile.end() <= header.pixelOffset;
    const bool isBehind = profile.offset > header.pixelOffset;
    const bool isInPlace = source.holds(profile) && (isBeforePixels || isBehind);
    if (isEmbedded && !isInPlace)
        return Error{"colour profile out of place", fileHeaderBytes + field::profileOffset};
    if (isInPlace)
        (isEmbedded ? layout.profile : layout.linkedProfile) = profile;
    return Done{};
}

// What is no profile cannot be applied to colours, and what stands behind one is none of it.
void trimProfile(ByteSource& source, Layout& layout)
{
    ByteRange& profile = layout.profile;
    const std::uint64_t size = profileBytes(ByteCursor(source, profile)).value_or(0);
    profile.length = std::min(size, profile.length);
}

// Rows are filled up to four bytes.
Result<ByteRange> rowsWithin(const Header& header, ByteRange room)
{
    const std::uint64_t rowBytes = (std::uint64_t{header.width} * header.depth + 31) / 32 * 4;
    if (header.height > room.length / rowBytes)
        return Error{"pixels cut short", room.offset};
    return ByteRange{room.offset, rowBytes * header.height};
}

// Reads the codes of run-length data through windows of the source.
class CodeReader {
public:
    CodeReader(ByteSource& source, ByteRange range)
        : source(source)
        , at(range.offset)
        , end(range.end())
    {
    }

    std::uint64_t position() const { return at; }

    // The next two bytes, which are passed over; nothing at the end.
    Result<std::optional<std::array<Byte, 2>>> pair()
    {
        if (end - at < 2)
            return std::optional<std::array<Byte, 2>>();
        if (at < windowStart || at + 2 > windowStart + window.size()) {
            const auto length = std::min<std::uint64_t>(end - at, limits::windowBytes);
            window = NP_TRY(source.view(at, static_cast<std::size_t>(length)));
            windowStart = at;
        }
        const ByteSpan bytes = window.subspan(static_cast<std::size_t>(at - windowStart), 2);
        at += 2;
        return std::optional(std::array{bytes[0], bytes[1]});
    }

    // Whether there were that many bytes to pass over.
    bool skip(std::uint64_t length)
    {
        if (length > end - at)
            return false;
        at += length;
        return true;
    }

private:
    ByteSource& source;
    std::uint64_t at;
    std::uint64_t end;
    ByteSpan window;
    std::uint64_t windowStart = 0;
};

// The bytes of `count` pixels that stand as they are, filled up to two.
std::uint64_t absoluteBytes(Coding coding, std::uint64_t count)
{
    const std::uint64_t bits = coding == Coding::runLength4    ? 4
                               : coding == Coding::runLength24 ? 24
                                                               : 8;
    return (count * bits + 15) / 16 * 2;
}

struct Code {
    bool isEnd = false;
    bool isStep = false;
    std::uint64_t linesDown = 0;
};

// WINGDI, "Bitmap compression": a run of a colour is its length and the colour; a zero begins an
// end of line (0), the end of the bitmap (1), a step (2, right, down) or pixels as they are.
// Nothing when the data ends before the code does.
Result<std::optional<Code>> nextCode(CodeReader& reader, Coding coding)
{
    const auto pair = NP_TRY(reader.pair());
    if (!pair)
        return std::optional<Code>();
    const auto [count, value] = *pair;
    Code code;
    bool isThere = true;
    if (count != 0) {
        isThere = coding != Coding::runLength24 || reader.skip(2);
    } else if (value == 0) {
        code.linesDown = 1;
    } else if (value == 1) {
        code.isEnd = true;
    } else if (value == 2) {
        const auto step = NP_TRY(reader.pair());
        isThere = step.has_value();
        code.isStep = true;
        code.linesDown = step.value_or(std::array<Byte, 2>{})[1];
    } else {
        isThere = reader.skip(absoluteBytes(coding, value));
    }
    return isThere ? std::optional(code) : std::nullopt;
}

// Where run-length data ends: at its mark, which may be missing behind the last line; nothing when
// the room ends before. A step may lead out of a damaged bitmap. Viewers differ in what they make
// of what follows, so it stays, up to a mark within the announced size.
Result<std::optional<std::uint64_t>>
endOfRuns(ByteSource& source, const Header& header, ByteRange room)
{
    CodeReader reader(source, room);
    bool hasLeft = false;
    for (std::uint64_t line = 0; line < header.height;) {
        const auto code = NP_TRY(nextCode(reader, header.coding));
        if (!code)
            return std::optional<std::uint64_t>();
        if (code->isEnd)
            return std::optional(reader.position());
        line += code->linesDown;
        hasLeft = code->isStep;
    }
    const std::uint64_t end = reader.position();
    const std::uint64_t announcedEnd =
        room.offset + std::min<std::uint64_t>(room.length, header.imageBytes);
    while (const auto code = NP_TRY(nextCode(reader, header.coding))) {
        const bool isWithin = !hasLeft || reader.position() <= announcedEnd;
        if (code->isEnd && isWithin)
            return std::optional(reader.position());
        if (!hasLeft || !isWithin)
            break;
    }
    return std::optional(end);
}

// Where the header's own word is all there is. Zero says nothing.
Result<ByteRange> announcedWithin(const Header& header, ByteRange room)
{
    if (header.imageBytes > room.length)
        return Error{"pixels cut short", room.offset};
    return ByteRange{room.offset, header.imageBytes == 0 ? room.length : header.imageBytes};
}

// The pixels from the place the header names on, in front of a profile that stands behind them.
Result<ByteRange> placePixels(ByteSource& source, const Layout& layout)
{
    const Header& header = layout.header;
    std::uint64_t end = source.size();
    for (const ByteRange& profile : {layout.profile, layout.linkedProfile}) {
        if (profile.length != 0 && profile.offset > header.pixelOffset)
            end = profile.offset;
    }
    if (header.pixelOffset >= end)
        return Error{"no pixels", 10};
    const ByteRange room{header.pixelOffset, end - header.pixelOffset};
    if (header.coding == Coding::rows)
        return rowsWithin(header, room);
    if (header.isPayload() || header.coding == Coding::fax)
        return announcedWithin(header, room);
    const auto runsEnd = NP_TRY(endOfRuns(source, header, room));
    if (!runsEnd)
        return announcedWithin(header, room);
    return ByteRange{room.offset, *runsEnd - room.offset};
}

Result<Layout> readLayout(ByteSource& source)
{
    Layout layout;
    layout.header = NP_TRY(readHeader(source));
    NP_TRY(placeTables(layout));
    NP_TRY(placeProfile(source, layout));
    layout.pixels = NP_TRY(placePixels(source, layout));
    trimProfile(source, layout);
    return layout;
}

// A whole JPEG or PNG in the place of pixels is a picture of its own.
Result<const ImageFormat*> payloadFormat(ByteSource& payload, Coding coding)
{
    const ImageFormat& format = coding == Coding::jpeg ? jpegFormat : pngFormat;
    const auto length = std::min<std::uint64_t>(payload.size(), signatureBytes);
    const ByteSpan head = NP_TRY(payload.view(0, static_cast<std::size_t>(length)));
    if (!format.hasSignature(head))
        return Error{"payload of another format"};
    NP_TRY(format.checkHeader(payload));
    return &format;
}

Result<OutputPlan> planPixels(ByteSource& source, const Layout& layout)
{
    OutputPlan plan;
    if (!layout.header.isPayload()) {
        plan.copy(layout.pixels);
        return plan;
    }
    PartSource payload(source, layout.pixels);
    const ImageFormat* format = NP_TRY(payloadFormat(payload, layout.header.coding));
    const OutputPlan picture = NP_TRY(format->planCleanCopy(payload));
    plan.append(picture, layout.pixels.offset);
    return plan;
}

void put32(Bytes& header, std::size_t at, std::uint64_t value)
{
    for (std::size_t index = at; index < at + 4 && index < header.size(); ++index) {
        header[index] = static_cast<Byte>(value);
        value >>= 8;
    }
}

void clear(Bytes& header, std::size_t from, std::size_t to)
{
    for (std::size_t index = from; index < to && index < header.size(); ++index)
        header[index] = 0;
}

// WINGDI, BITMAPV5HEADER: LCS_GM_BUSINESS, _GRAPHICS, _IMAGES and _ABS_COLORIMETRIC.
bool isIntent(std::uint32_t value)
{
    return value == 1 || value == 2 || value == 4 || value == 8;
}

// WINGDI, BITMAPV4HEADER: end points and gammas count only where the colour space is 0.
void freshenColourSpace(const Layout& layout, std::uint64_t profileOffset, Bytes& header)
{
    constexpr std::array<std::uint32_t, 3> withoutProfile{0, fourCC("sRGB"), fourCC("Win ")};
    std::uint32_t space = layout.header.colourSpace;
    const bool hasProfile = layout.profile.length != 0;
    if (!hasProfile && std::ranges::find(withoutProfile, space) == withoutProfile.end())
        space = fourCC("sRGB");
    put32(header, field::colourSpace, space);
    if (space != 0)
        clear(header, field::endpoints, field::intent);
    put32(header, field::profileOffset, hasProfile ? profileOffset : 0);
    put32(header, field::profileBytes, layout.profile.length);
    put32(header, field::reserved, 0);
    if (!isIntent(layout.header.intent))
        put32(header, field::intent, 0);
}

// The DIB header with nothing in it that has no meaning, and with the numbers that change because
// something moved: sizes, colour counts and the place of the profile.
Result<Bytes> freshDIBHeader(ByteSource& source,
                             const Layout& layout,
                             std::uint64_t pixelBytes,
                             std::uint64_t profileOffset)
{
    const Header& old = layout.header;
    Bytes header = NP_TRY(source.copyOf({fileHeaderBytes, old.size}));
    if (old.isCore())
        return header;
    put32(header, field::imageBytes, pixelBytes);
    const bool isIndexed = old.depth >= 1 && old.depth <= 8;
    if (!isIndexed || old.coloursUsed > 1U << old.depth)
        clear(header, field::coloursUsed, field::coloursImportant);
    clear(header, field::coloursImportant, field::os2Units);
    if (old.isOS2()) {
        clear(header,
              std::min<std::size_t>(old.size - old.size % 4, field::os2Units),
              header.size());
    } else if (old.size >= v4HeaderBytes) {
        freshenColourSpace(layout, profileOffset, header);
    }
    return header;
}

// WINGDI, RGBQUAD: the fourth byte of an entry is reserved.
Result<Bytes> freshPalette(ByteSource& source, const Layout& layout)
{
    Bytes palette = NP_TRY(source.copyOf(layout.palette));
    if (layout.header.isCore())
        return palette;
    for (std::size_t index = 3; index < palette.size(); index += 4)
        palette[index] = 0;
    return palette;
}

Bytes freshFileHeader(std::uint64_t size, std::uint64_t pixelOffset)
{
    Bytes header;
    append(header, "BM");
    append32(header, static_cast<std::uint32_t>(size), ByteOrder::little);
    append32(header, 0, ByteOrder::little);
    append32(header, static_cast<std::uint32_t>(pixelOffset), ByteOrder::little);
    return header;
}

Result<OutputPlan> planCleanCopy(ByteSource& source)
{
    const Layout layout = NP_TRY(readLayout(source));
    const OutputPlan pixels = NP_TRY(planPixels(source, layout));
    const std::uint64_t pixelOffset =
        layout.header.headersEnd() + layout.masks.length + layout.palette.length;
    const std::uint64_t profileOffset = pixelOffset + pixels.size();
    const std::uint64_t size = profileOffset + layout.profile.length;
    if (size > 0xFFFFFFFF)
        return Error{"larger than a BMP can say"};
    OutputPlan plan;
    plan.write(freshFileHeader(size, pixelOffset));
    plan.write(
        NP_TRY(freshDIBHeader(source, layout, pixels.size(), profileOffset - fileHeaderBytes)));
    plan.copy(layout.masks);
    plan.write(NP_TRY(freshPalette(source, layout)));
    plan.append(pixels, 0);
    plan.copy(layout.profile);
    return plan;
}

// The blocks of what stands where pixels do.
Result<Done> addPixels(ByteSource& source, const Layout& layout, Blocks& blocks)
{
    if (!layout.header.isPayload())
        return blocks.add(BlockKind::pixels, layout.pixels);
    PartSource payload(source, layout.pixels);
    const ImageFormat* format = NP_TRY(payloadFormat(payload, layout.header.coding));
    const Blocks parts = NP_TRY(format->split(payload));
    for (const Block& part : parts)
        NP_TRY(
            blocks.add(part.kind, {layout.pixels.offset + part.range.offset, part.range.length}));
    return Done{};
}

bool hasSignature(ByteSpan head)
{
    return asText(head).starts_with("BM");
}

Result<Done> checkHeader(ByteSource& source)
{
    NP_TRY(readHeader(source));
    return Done{};
}

Result<std::uint32_t> countFrames(ByteSource& source)
{
    NP_TRY(readHeader(source));
    return 1U;
}

// BMP has no fields of its own; an XMP packet is found by its text.
Properties readProperties(ByteSource&, std::uint32_t)
{
    return {};
}

} // namespace

Result<Blocks> splitBMP(ByteSource& source)
{
    const Layout layout = NP_TRY(readLayout(source));
    std::array parts{
        Block{BlockKind::structure, {0, layout.header.headersEnd()}},
        Block{BlockKind::structure, layout.masks},
        Block{BlockKind::palette, layout.palette},
        Block{BlockKind::display, layout.hint},
        Block{BlockKind::pixels, layout.pixels},
        Block{BlockKind::colourProfile, layout.profile},
        Block{BlockKind::application, layout.linkedProfile},
    };
    std::ranges::stable_sort(parts, {}, [](const Block& part) { return part.range.offset; });
    Blocks blocks;
    std::uint64_t end = 0;
    for (const Block& part : parts) {
        if (part.range.length == 0)
            continue;
        NP_TRY(blocks.add(BlockKind::filler, {end, part.range.offset - end}));
        NP_TRY(part.kind == BlockKind::pixels ? addPixels(source, layout, blocks)
                                              : blocks.add(part.kind, part.range));
        end = part.range.end();
    }
    NP_TRY(blocks.add(BlockKind::trailer, {end, source.size() - end}));
    return blocks;
}

constexpr ImageFormat bmpFormat{
    .type = ImageType::bmp,
    .name = "BMP",
    .hasSignature = hasSignature,
    .checkHeader = checkHeader,
    .countFrames = countFrames,
    .readProperties = readProperties,
    .split = splitBMP,
    .planCleanCopy = planCleanCopy,
};

} // namespace nullprint::image
