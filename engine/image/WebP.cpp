// WebP: a RIFF file of chunks, each a type, a length, data and a padding byte to an even length.
// The frames of an animation are chunks of chunks. Bitstreams are never decoded.
// 2.7.1 and the like are sections of RFC 9649; RFC 6386 is the lossy bitstream.
#include "engine/image/WebP.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/EXIF.h"
#include "engine/image/ICC.h"
#include "engine/support/ByteCursor.h"

#include <algorithm>

namespace nullprint::image {
namespace {

enum class Often : std::uint8_t { once, repeatedly };

struct ChunkKind {
    std::uint32_t type;
    BlockKind kind;
    Often often = Often::once;
};

// A type that is not named here is `unknown`, and the policy keeps nothing unknown.
constexpr std::array chunkKinds{
    ChunkKind{fourCC("VP8X"), BlockKind::structure},                    // 2.7
    ChunkKind{fourCC("VP8 "), BlockKind::pixels},                       // 2.5
    ChunkKind{fourCC("VP8L"), BlockKind::pixels},                       // 2.6
    ChunkKind{fourCC("ALPH"), BlockKind::transparency},                 // 2.7.1.2
    ChunkKind{fourCC("ANIM"), BlockKind::animation},                    // 2.7.1.1
    ChunkKind{fourCC("ANMF"), BlockKind::animation, Often::repeatedly}, // 2.7.1.1
    ChunkKind{fourCC("ICCP"), BlockKind::colourProfile},                // 2.7.1.4
    ChunkKind{fourCC("EXIF"), BlockKind::exif, Often::repeatedly},      // 2.7.1.5
    ChunkKind{fourCC("XMP "), BlockKind::xmp, Often::repeatedly},       // 2.7.1.5
};

// 2.7: what VP8X says of the rest of the file. All other bits are reserved.
namespace flag {
constexpr unsigned animation = 0x02;
constexpr unsigned exif = 0x08;
constexpr unsigned alpha = 0x10;
constexpr unsigned profile = 0x20;
} // namespace flag

constexpr std::uint64_t chunkHeaderBytes = 8;
constexpr std::uint64_t canvasBytes = 10;         // VP8X
constexpr std::uint64_t animationBytes = 6;       // ANIM
constexpr std::uint64_t frameHeaderBytes = 16;    // ANMF, before the frame's own chunks
constexpr std::uint64_t largestSize = 0xFFFFFFF6; // 2.4: of a file without its first 8 bytes

struct Chunk {
    std::uint32_t type = 0; // 0 for a rest that is too short to be a chunk.
    ByteRange whole;        // Header and data, as far as they are there.
    ByteRange data;
    ByteRange padding; // Not there when the data has an even length, and sometimes otherwise.
    bool isCut = false;

    bool isBitstream() const { return type == fourCC("VP8 ") || type == fourCC("VP8L"); }
};

ByteCursor cursorOver(ByteSource& source, ByteRange range)
{
    return {source, range, ByteOrder::little};
}

// 2.3. What is cut short is a chunk, too.
Result<Chunk> readChunk(ByteCursor& cursor)
{
    Chunk chunk;
    const std::uint64_t start = cursor.position();
    if (cursor.remaining() < chunkHeaderBytes) {
        chunk.whole = NP_TRY(cursor.skip(cursor.remaining()));
        chunk.isCut = true;
        return chunk;
    }
    for (int letter = 0; letter < 4; ++letter)
        chunk.type = chunk.type << 8 | NP_TRY(cursor.u8());
    const std::uint64_t announced = NP_TRY(cursor.u32());
    chunk.isCut = announced > cursor.remaining();
    chunk.data = NP_TRY(cursor.skip(std::min(announced, cursor.remaining())));
    chunk.whole = {start, cursor.position() - start};
    chunk.padding = NP_TRY(cursor.skip(std::min(announced % 2, cursor.remaining())));
    return chunk;
}

Result<std::uint32_t> readU24(ByteCursor& cursor)
{
    const std::uint32_t low = NP_TRY(cursor.u16());
    const std::uint32_t high = NP_TRY(cursor.u8());
    return high << 16 | low;
}

struct Bitstream {
    bool hasAlpha = false;
};

// RFC 6386, 9.1: a key frame, its start code, and a size.
Result<Bitstream> readLossyHeader(ByteCursor cursor)
{
    const std::uint32_t tag = NP_TRY(readU24(cursor));
    const std::uint32_t startCode = NP_TRY(readU24(cursor));
    const unsigned width = NP_TRY(cursor.u16()) & 0x3FFFU;
    const unsigned height = NP_TRY(cursor.u16()) & 0x3FFFU;
    if ((tag & 1) != 0 || startCode != 0x2A019D || width == 0 || height == 0)
        return cursor.fail("VP8 that is no key frame");
    return Bitstream{};
}

// 3, "RIFF Header": a signature, a size, whether alpha is used, and a version.
Result<Bitstream> readLosslessHeader(ByteCursor cursor)
{
    const std::uint8_t signature = NP_TRY(cursor.u8());
    const std::uint32_t bits = NP_TRY(cursor.u32());
    if (signature != 0x2F || bits >> 29 != 0)
        return cursor.fail("VP8L without its signature");
    return Bitstream{.hasAlpha = (bits >> 28 & 1) != 0};
}

Result<Bitstream> readBitstreamHeader(ByteSource& source, const Chunk& chunk)
{
    const ByteCursor cursor = cursorOver(source, chunk.data);
    return chunk.type == fourCC("VP8L") ? readLosslessHeader(cursor) : readLossyHeader(cursor);
}

// The chunks that make up one picture, among others at their level.
struct Picture {
    std::optional<Chunk> alpha;
    std::optional<Chunk> bitstream;

    bool has(const Chunk& chunk) const
    {
        const auto is = [&](const std::optional<Chunk>& part) {
            return part && part->whole == chunk.whole;
        };
        return is(alpha) || is(bitstream);
    }
};

// The first bitstream counts, and the alpha last before it; a lossless bitstream has its own.
Result<Picture> findPicture(ByteCursor cursor)
{
    Picture picture;
    while (!cursor.atEnd() && !picture.bitstream) {
        const Chunk chunk = NP_TRY(readChunk(cursor));
        if (chunk.type == fourCC("ALPH"))
            picture.alpha = chunk;
        if (chunk.isBitstream())
            picture.bitstream = chunk;
    }
    if (!picture.bitstream || picture.bitstream->type == fourCC("VP8L"))
        picture.alpha.reset();
    return picture;
}

// What has to be known of a file before a chunk of it can be judged.
struct Layout {
    ByteRange header;
    ByteRange chunks;
    ByteRange trailer;
    bool isExtended = false; // Begins with VP8X. Otherwise the first chunk is the whole picture.
    bool isAnimated = false;
    Byte flags = 0;
    Picture still;
};

// 2.4. Bytes beyond the size field's belong to no picture; a size beyond the file's end is one of
// a file that was cut short, which shows in the chunks that are missing.
Result<Layout> readFileHeader(ByteSource& source)
{
    ByteCursor cursor(source, ByteOrder::little);
    NP_TRY(cursor.skip(4));
    const std::uint32_t size = NP_TRY(cursor.u32());
    NP_TRY(cursor.skip(4));
    if (size < 4 + chunkHeaderBytes)
        return cursor.fail("RIFF size too small for a chunk");
    Layout layout;
    layout.header = {0, cursor.position()};
    const std::uint64_t end = std::min<std::uint64_t>(size + chunkHeaderBytes, source.size());
    layout.chunks = {cursor.position(), end - cursor.position()};
    layout.trailer = {end, source.size() - end};
    return layout;
}

// 2.7: flags, reserved bytes, and the canvas, whose product of sides fits into 32 bits.
Result<Byte> readCanvas(ByteSource& source, const Chunk& chunk)
{
    ByteCursor cursor = cursorOver(source, chunk.data);
    const Byte flags = NP_TRY(cursor.u8());
    NP_TRY(cursor.skip(3));
    const std::uint64_t width = NP_TRY(readU24(cursor)) + 1U;
    const std::uint64_t height = NP_TRY(readU24(cursor)) + 1U;
    if (chunk.data.length != canvasBytes || width * height > 0xFFFFFFFF)
        return cursor.fail("VP8X that describes no canvas");
    return flags;
}

// The first chunk, which says what kind of file this is.
Result<Layout> readBeginning(ByteSource& source)
{
    Layout layout = NP_TRY(readFileHeader(source));
    ByteCursor cursor = cursorOver(source, layout.chunks);
    const Chunk first = NP_TRY(readChunk(cursor));
    layout.isExtended = first.type == fourCC("VP8X");
    if (layout.isExtended) {
        layout.flags = NP_TRY(readCanvas(source, first));
        return layout;
    }
    if (!first.isBitstream())
        return cursor.fail("first chunk describes no picture");
    NP_TRY(readBitstreamHeader(source, first));
    layout.still.bitstream = first;
    return layout;
}

// 2.7.1.1: frames count when the flag says so. Without the flag readers show the still picture; if
// there is none the flag is what is wrong.
Result<Layout> readLayout(ByteSource& source)
{
    Layout layout = NP_TRY(readBeginning(source));
    if (!layout.isExtended)
        return layout;
    layout.still = NP_TRY(findPicture(cursorOver(source, layout.chunks)));
    bool hasFrames = false;
    ByteCursor cursor = cursorOver(source, layout.chunks);
    while (!cursor.atEnd() && !hasFrames) {
        const Chunk chunk = NP_TRY(readChunk(cursor));
        hasFrames = chunk.type == fourCC("ANMF");
    }
    const bool isFlagged = (layout.flags & flag::animation) != 0;
    layout.isAnimated = hasFrames && (isFlagged || !layout.still.bitstream);
    if (!layout.isAnimated && !layout.still.bitstream)
        return Error{"WebP without a picture", layout.chunks.offset};
    return layout;
}

using Types = std::vector<std::uint32_t>;

// A chunk that readers pass over (a second profile, a picture beside an animation, anything behind
// the one chunk of a simple file) is not what its type says.
BlockKind kindOf(const Chunk& chunk, const Layout& layout, Types& seen)
{
    const auto* row = std::ranges::find(chunkKinds, chunk.type, &ChunkKind::type);
    if (row == chunkKinds.end())
        return BlockKind::unknown;
    if (!isKept(row->kind))
        return row->kind;
    const bool isAgain = std::ranges::find(seen, chunk.type) != seen.end();
    if (!isAgain)
        seen.push_back(chunk.type);
    bool isUsed = layout.isExtended && (!isAgain || row->often == Often::repeatedly);
    if (row->kind == BlockKind::pixels || row->kind == BlockKind::transparency) {
        isUsed = !layout.isAnimated && layout.still.has(chunk);
    } else if (row->kind == BlockKind::animation) {
        isUsed = isUsed && layout.isAnimated;
    }
    return isUsed ? row->kind : BlockKind::extraImage;
}

// The only walk over a WebP. `visit` gets every chunk of the file with its kind.
template <typename Visit> Result<Done> walk(ByteSource& source, const Layout& layout, Visit visit)
{
    Types seen;
    ByteCursor cursor = cursorOver(source, layout.chunks);
    while (!cursor.atEnd()) {
        const Chunk chunk = NP_TRY(readChunk(cursor));
        const BlockKind kind = kindOf(chunk, layout, seen);
        if (chunk.isCut && isKept(kind))
            return Error{"chunk cut short", chunk.whole.offset};
        NP_TRY(visit(chunk, kind));
    }
    return Done{};
}

// The same within a frame, which has nothing but its picture (2.7.1.1).
template <typename Visit>
Result<Done> walkFrame(ByteSource& source, const Chunk& frame, Visit visit)
{
    ByteCursor cursor = cursorOver(source, frame.data);
    NP_TRY(cursor.skip(frameHeaderBytes));
    const Picture picture = NP_TRY(findPicture(cursor));
    if (!picture.bitstream)
        return cursor.fail("frame without a picture");
    while (!cursor.atEnd()) {
        const Chunk chunk = NP_TRY(readChunk(cursor));
        const bool isUsed = picture.has(chunk);
        if (chunk.isCut && isUsed)
            return Error{"chunk of a frame cut short", chunk.whole.offset};
        const BlockKind kind = chunk.isBitstream() ? BlockKind::pixels : BlockKind::transparency;
        NP_TRY(visit(chunk, isUsed ? kind : BlockKind::unknown));
    }
    return Done{};
}

Result<Done> checkHeader(ByteSource& source)
{
    NP_TRY(readBeginning(source));
    return Done{};
}

Result<std::uint32_t> countFrames(ByteSource& source)
{
    const Layout layout = NP_TRY(readLayout(source));
    std::uint32_t frames = 0;
    NP_TRY(walk(source, layout, [&](const Chunk& chunk, BlockKind kind) -> Result<Done> {
        frames += isKept(kind) && chunk.type == fourCC("ANMF") ? 1U : 0U;
        return Done{};
    }));
    return layout.isAnimated ? frames : 1U;
}

// Readers look for Exif in extended files only, but it is told of any.
Properties readProperties(ByteSource& source, std::uint32_t)
{
    Properties properties;
    const auto layout = readFileHeader(source);
    if (!layout.ok())
        return properties;
    ByteCursor cursor = cursorOver(source, layout.value().chunks);
    while (!cursor.atEnd()) {
        const auto chunk = readChunk(cursor);
        if (!chunk.ok())
            break;
        if (chunk.value().type == fourCC("EXIF"))
            readEXIFBlock(source, chunk.value().data, properties);
    }
    return properties;
}

void appendHeader(Bytes& out, std::string_view type, std::uint64_t length)
{
    append(out, type);
    append32(out, static_cast<std::uint32_t>(length), ByteOrder::little);
}

// Builds the copy. Sizes of containers, VP8X flags, reserved bits and padding are written fresh;
// where they come out as they were they are copied all the same, so that an untouched stretch of
// the file is one piece of the plan.
class Planner {
public:
    Planner(ByteSource& source, const Layout& layout)
        : source(source)
        , layout(layout)
    {
    }

    Result<OutputPlan> plan()
    {
        Bytes head;
        appendHeader(head, "RIFF", 0); // See `finish`.
        append(head, "WEBP");
        out.write(head);
        NP_TRY(walk(source, layout, [&](const Chunk& chunk, BlockKind kind) {
            hasEXIFMark = hasEXIFMark || isMarkedEXIF(chunk);
            return isKept(kind) ? addChunk(chunk) : Result<Done>(Done{});
        }));
        NP_TRY(finish());
        return std::move(out);
    }

private:
    bool isMarkedEXIF(const Chunk& chunk) const
    {
        return chunk.type == fourCC("EXIF") && ByteCursor(source, chunk.data).startsWith(exifMark);
    }

    Result<Done> addChunk(const Chunk& chunk)
    {
        switch (chunk.type) {
        case fourCC("VP8X"):
            return addCanvas(chunk);
        case fourCC("ANIM"):
            return addAnimation(chunk);
        case fourCC("ANMF"):
            return addFrame(chunk);
        case fourCC("ICCP"):
            return addProfile(chunk);
        default:
            return addWhole(out, chunk);
        }
    }

    Result<Done> addCanvas(const Chunk& chunk)
    {
        Bytes head;
        appendHeader(head, "VP8X", canvasBytes);
        append32(head, 0, ByteOrder::little); // See `finish`; the other three bytes are reserved.
        out.write(head);
        out.copy({chunk.data.offset + 4, canvasBytes - 4});
        return Done{};
    }

    Result<Done> addProfile(const Chunk& chunk)
    {
        const auto size = profileBytes(ByteCursor(source, chunk.data));
        if (!size)
            return Done{};
        flags |= flag::profile;
        if (*size >= chunk.data.length)
            return addWhole(out, chunk);
        Bytes head;
        appendHeader(head, "ICCP", *size);
        out.write(head);
        out.copy({chunk.data.offset, *size});
        out.write(Bytes(*size % 2)); // Padding.
        return Done{};
    }

    Result<Done> addAnimation(const Chunk& chunk)
    {
        if (chunk.data.length < animationBytes)
            return Error{"ANIM too short", chunk.whole.offset};
        flags |= flag::animation;
        Bytes head;
        appendHeader(head, "ANIM", animationBytes);
        NP_TRY(copyOrWrite({chunk.whole.offset, head.size()}, head));
        out.copy({chunk.data.offset, animationBytes});
        return Done{};
    }

    Result<Done> addFrame(const Chunk& chunk)
    {
        if ((flags & flag::animation) == 0)
            return Error{"frame before ANIM", chunk.whole.offset};
        OutputPlan parts;
        NP_TRY(walkFrame(source, chunk, [&](const Chunk& part, BlockKind kind) {
            return isKept(kind) ? addWhole(parts, part) : Result<Done>(Done{});
        }));
        Bytes head;
        appendHeader(head, "ANMF", frameHeaderBytes + parts.size());
        append(head, NP_TRY(source.copyOf({chunk.data.offset, frameHeaderBytes})));
        head.back() &= 0x03; // Blending and disposal; the other bits are reserved.
        NP_TRY(copyOrWrite({chunk.whole.offset, head.size()}, head));
        out.append(parts, 0);
        return Done{};
    }

    Result<Done> addWhole(OutputPlan& plan, const Chunk& chunk)
    {
        if (chunk.isBitstream()) {
            const Bitstream header = NP_TRY(readBitstreamHeader(source, chunk));
            flags |= header.hasAlpha ? flag::alpha : 0U;
        }
        flags |= chunk.type == fourCC("ALPH") ? flag::alpha : 0U;
        plan.copy(chunk.whole);
        if (chunk.data.length % 2 == 0)
            return Done{};
        if (ByteCursor(source, chunk.padding).peek() == Byte{0}) {
            plan.copy(chunk.padding);
        } else {
            plan.write(Bytes{0});
        }
        return Done{};
    }

    Result<Done> copyOrWrite(ByteRange place, ByteSpan fresh)
    {
        if (std::ranges::equal(NP_TRY(source.copyOf(place)), fresh)) {
            out.copy(place);
        } else {
            out.write(fresh);
        }
        return Done{};
    }

    Result<Done> finish()
    {
        if (layout.isExtended) {
            addOrientation();
            // The canvas may show through frames that are opaque: a claim of alpha stays.
            flags |= layout.flags & flag::alpha;
            out.rewrite(layout.header.length + chunkHeaderBytes, Bytes{static_cast<Byte>(flags)});
        }
        const std::uint64_t size = out.size() - chunkHeaderBytes;
        if (size > largestSize)
            return Error{"copy longer than a WebP can be"};
        Bytes field;
        append32(field, static_cast<std::uint32_t>(size), ByteOrder::little);
        out.rewrite(4, field);
        return Done{};
    }

    // The mark does not belong here, but there are viewers that look for Exif behind it alone:
    // where the original has it, they turn the picture, and so they must the copy.
    void addOrientation()
    {
        const auto orientation = turnedOrientation(readProperties(source, 0));
        if (!orientation)
            return;
        Bytes data;
        append(data, hasEXIFMark ? exifMark : std::string_view());
        append(data, freshEXIF(orientation, std::nullopt));
        Bytes chunk;
        appendHeader(chunk, "EXIF", data.size());
        append(chunk, data);
        chunk.resize(chunk.size() + chunk.size() % 2);
        out.write(chunk);
        flags |= flag::exif;
    }

    ByteSource& source;
    const Layout& layout;
    OutputPlan out;
    unsigned flags = 0;
    bool hasEXIFMark = false;
};

Result<OutputPlan> planCleanCopy(ByteSource& source)
{
    const Layout layout = NP_TRY(readLayout(source));
    return Planner(source, layout).plan();
}

Result<Done> splitFrame(ByteSource& source, const Chunk& frame, Blocks& blocks)
{
    constexpr std::uint64_t head = chunkHeaderBytes + frameHeaderBytes;
    if (frame.whole.length < head)
        return Error{"ANMF too short", frame.whole.offset};
    NP_TRY(blocks.add(BlockKind::animation, {frame.whole.offset, head}));
    const auto visit = [&](const Chunk& chunk, BlockKind kind) -> Result<Done> {
        NP_TRY(blocks.add(kind, chunk.whole));
        return blocks.add(BlockKind::filler, chunk.padding);
    };
    NP_TRY(walkFrame(source, frame, visit));
    return blocks.add(BlockKind::filler, frame.padding);
}

bool hasSignature(ByteSpan head)
{
    return head.size() >= 12 && asText(head).starts_with("RIFF") &&
           asText(head.subspan(8)).starts_with("WEBP");
}

} // namespace

Result<Blocks> splitWebP(ByteSource& source)
{
    const Layout layout = NP_TRY(readLayout(source));
    Blocks blocks;
    NP_TRY(blocks.add(BlockKind::structure, layout.header));
    const auto visit = [&](const Chunk& chunk, BlockKind kind) -> Result<Done> {
        if (isKept(kind) && chunk.type == fourCC("ANMF"))
            return splitFrame(source, chunk, blocks);
        NP_TRY(blocks.add(kind, chunk.whole));
        return blocks.add(BlockKind::filler, chunk.padding);
    };
    NP_TRY(walk(source, layout, visit));
    NP_TRY(blocks.add(BlockKind::trailer, layout.trailer));
    return blocks;
}

constexpr ImageFormat webpFormat{
    .type = ImageType::webp,
    .name = "WebP",
    .hasSignature = hasSignature,
    .checkHeader = checkHeader,
    .countFrames = countFrames,
    .readProperties = readProperties,
    .split = splitWebP,
    .planCleanCopy = planCleanCopy,
};

} // namespace nullprint::image
