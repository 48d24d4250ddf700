// PNG: a signature, then chunks of length, type, data, CRC-32. Pixels are never decoded.
// Anchors such as #11IHDR are those of https://www.w3.org/TR/png-3/.
#include "engine/image/PNG.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/EXIF.h"
#include "engine/image/ICC.h"
#include "engine/image/IPTC.h"
#include "engine/support/ByteCursor.h"
#include "engine/support/Deflate.h"

#include <algorithm>

namespace nullprint::image {
namespace {

constexpr std::string_view signature("\x89PNG\r\n\x1A\n", 8);

// Where a decoder takes notice of a chunk.
enum class Place : std::uint8_t { head, anywhere }; // Before the first IDAT, or wherever it stands.

constexpr std::uint32_t anyLength = 0xFFFFFFFF;

struct ChunkKind {
    std::uint32_t type;
    BlockKind kind;
    Place place = Place::anywhere;
    bool isRepeatable = false;
    std::uint32_t dataBytes = anyLength;
};

// A type that is not named here is `unknown`, and the policy keeps nothing unknown.
constexpr std::array chunkKinds{
    ChunkKind{fourCC("IHDR"), BlockKind::structure, Place::head, false, 13},    // #11IHDR
    ChunkKind{fourCC("PLTE"), BlockKind::palette, Place::head},                 // #11PLTE
    ChunkKind{fourCC("IDAT"), BlockKind::pixels, Place::anywhere, true},        // #11IDAT
    ChunkKind{fourCC("IEND"), BlockKind::structure, Place::anywhere, false, 0}, // #11IEND
    ChunkKind{fourCC("tRNS"), BlockKind::transparency, Place::head},            // #11tRNS
    ChunkKind{fourCC("iCCP"), BlockKind::colourProfile, Place::head},           // #11iCCP
    ChunkKind{fourCC("sRGB"),
              BlockKind::colourProfile,
              Place::head,
              false,
              1}, // #srgb-standard-colour-space
    ChunkKind{fourCC("cICP"), BlockKind::colourProfile, Place::head, false, 4}, // #cICP-chunk
    ChunkKind{fourCC("pHYs"), BlockKind::resolution, Place::head, false, 9},    // #11pHYs
    ChunkKind{fourCC("acTL"), BlockKind::animation, Place::head, false, 8},     // #acTL-chunk
    ChunkKind{fourCC("fcTL"), BlockKind::animation, Place::anywhere, true, 26}, // #fcTL-chunk
    ChunkKind{fourCC("fdAT"), BlockKind::pixels, Place::anywhere, true},        // #fdAT-chunk
    ChunkKind{fourCC("gAMA"), BlockKind::display},                              // #11gAMA
    ChunkKind{fourCC("cHRM"), BlockKind::display},                              // #11cHRM
    ChunkKind{fourCC("sBIT"), BlockKind::display},                              // #11sBIT
    ChunkKind{fourCC("mDCV"), BlockKind::display},                              // #mDCV-chunk
    ChunkKind{fourCC("cLLI"), BlockKind::display},                              // #cLLI-chunk
    ChunkKind{fourCC("bKGD"), BlockKind::display},                              // #11bKGD
    ChunkKind{fourCC("hIST"), BlockKind::display},                              // #11hIST
    ChunkKind{fourCC("sPLT"), BlockKind::display},                              // #11sPLT
    ChunkKind{fourCC("tEXt"), BlockKind::text},                                 // #11tEXt
    ChunkKind{fourCC("zTXt"), BlockKind::text},                                 // #11zTXt
    ChunkKind{fourCC("iTXt"), BlockKind::text},                                 // #11iTXt
    ChunkKind{fourCC("eXIf"), BlockKind::exif},                                 // #eXIf
    ChunkKind{fourCC("tIME"), BlockKind::time},                                 // #11tIME
};

constexpr std::uint32_t largestInteger = 0x7FFFFFFF; // #7Integers-and-byte-order

struct Chunk {
    std::uint32_t type = 0;
    BlockKind kind = BlockKind::unknown;
    ByteRange whole; // Length to CRC.
    ByteRange data;
};

// What has been met so far, for chunks that count once or only in their place.
struct Progress {
    std::vector<std::uint32_t> seen;
    std::uint8_t colourType = 0;
    bool sawPixels = false;
    bool isAnimated = false;

    bool has(std::uint32_t type) const { return std::ranges::find(seen, type) != seen.end(); }
};

// Decoders pass over a chunk of another length than its type has.
bool hasRightLength(const ChunkKind& row, std::uint32_t length, std::uint8_t colourType)
{
    if (row.type == fourCC("PLTE")) // #11PLTE: up to 256 colours, and none for shades of grey.
        return length % 3 == 0 && length / 3 - 1 < 256 && colourType != 0 && colourType != 4;
    if (row.type == fourCC("tRNS")) { // #11tRNS: one grey, one colour, or an alpha per entry.
        return colourType == 3 ? length - 1 < 256
                               : length == 2 + 2U * colourType && colourType <= 2;
    }
    return row.dataBytes == anyLength || row.dataBytes == length;
}

// A chunk that a decoder passes over (a second palette, a profile after the pixels, frames without
// an animation header) is not what its type says.
BlockKind kindOf(std::uint32_t type, std::uint32_t length, const Progress& progress)
{
    const auto* row = std::ranges::find(chunkKinds, type, &ChunkKind::type);
    if (row == chunkKinds.end())
        return BlockKind::unknown;
    const bool isLate = row->place == Place::head && progress.sawPixels;
    const bool isAgain = !row->isRepeatable && progress.has(type);
    const bool isFrame = type == fourCC("fcTL") || type == fourCC("fdAT");
    const bool isStray = isFrame && !progress.isAnimated;
    const bool isBroken = !hasRightLength(*row, length, progress.colourType);
    if (isKept(row->kind) && (isLate || isAgain || isStray || isBroken))
        return BlockKind::extraImage;
    return row->kind;
}

// A broken chunk does not stand in the way of a good one behind it.
Result<Done> note(const Chunk& chunk, ByteCursor data, Progress& progress)
{
    progress.sawPixels = progress.sawPixels || chunk.type == fourCC("IDAT");
    if (!isKept(chunk.kind) || progress.has(chunk.type))
        return Done{};
    progress.seen.push_back(chunk.type);
    progress.isAnimated = progress.isAnimated || chunk.type == fourCC("acTL");
    if (chunk.type == fourCC("IHDR")) {
        NP_TRY(data.skip(9));
        progress.colourType = NP_TRY(data.u8());
    }
    return Done{};
}

Result<Chunk> readChunk(ByteCursor& cursor, Progress& progress)
{
    Chunk chunk;
    const std::uint64_t start = cursor.position();
    const std::uint32_t length = NP_TRY(cursor.u32());
    chunk.type = NP_TRY(cursor.u32());
    if (length > largestInteger)
        return cursor.fail("chunk longer than a chunk can be");
    const ByteCursor data = NP_TRY(cursor.sub(length));
    chunk.data = data.rest();
    NP_TRY(cursor.skip(4)); // CRC. It is kept with its chunk, right or wrong.
    chunk.whole = {start, cursor.position() - start};
    chunk.kind = kindOf(chunk.type, length, progress);
    NP_TRY(note(chunk, data, progress));
    return chunk;
}

// The only walk over a PNG. `visit` gets every chunk, the last one included. Yields the bytes after
// the end.
template <typename Visit> Result<ByteRange> walk(ByteSource& source, Visit visit)
{
    ByteCursor cursor(source);
    NP_TRY(cursor.skip(signature.size()));
    Progress progress;
    while (!cursor.atEnd()) {
        const Chunk chunk = NP_TRY(readChunk(cursor, progress));
        NP_TRY(visit(chunk));
        if (chunk.type == fourCC("IEND"))
            return cursor.rest();
    }
    return cursor.fail("PNG without IEND");
}

// #11IHDR, table 11.1: the depths that go with a colour type.
bool isColourTypeWithDepth(std::uint8_t colour, std::uint8_t depth)
{
    switch (colour) {
    case 0:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
    case 3:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8;
    case 2:
    case 4:
    case 6:
        return depth == 8 || depth == 16;
    default:
        return false;
    }
}

Result<Done> checkHeader(ByteSource& source)
{
    ByteCursor cursor(source);
    NP_TRY(cursor.skip(signature.size()));
    const std::uint32_t length = NP_TRY(cursor.u32());
    const std::uint32_t type = NP_TRY(cursor.u32());
    const std::uint32_t width = NP_TRY(cursor.u32());
    const std::uint32_t height = NP_TRY(cursor.u32());
    const std::uint8_t depth = NP_TRY(cursor.u8());
    const std::uint8_t colour = NP_TRY(cursor.u8());
    const std::uint8_t compression = NP_TRY(cursor.u8());
    const std::uint8_t filter = NP_TRY(cursor.u8());
    const std::uint8_t interlace = NP_TRY(cursor.u8());
    const bool isHeader = type == fourCC("IHDR") && length == 13;
    const bool hasSize = width - 1 < largestInteger && height - 1 < largestInteger;
    const bool isKnown = compression == 0 && filter == 0 && interlace <= 1;
    if (!isHeader || !hasSize || !isKnown || !isColourTypeWithDepth(colour, depth))
        return cursor.fail("IHDR that describes no picture");
    return Done{};
}

// The frames of an APNG, its default image only if it is one of them; otherwise the one picture.
Result<std::uint32_t> countFrames(ByteSource& source)
{
    std::uint32_t frames = 0;
    bool isAnimated = false;
    bool hasPixels = false;
    NP_TRY(walk(source, [&](const Chunk& chunk) -> Result<Done> {
        hasPixels = hasPixels || chunk.type == fourCC("IDAT");
        if (chunk.kind == BlockKind::animation) {
            isAnimated = true;
            frames += chunk.type == fourCC("fcTL") ? 1U : 0U;
        }
        return Done{};
    }));
    if (!hasPixels)
        return 0U;
    return isAnimated && frames > 0 ? frames : 1U;
}

// "Raw profile type exif" and its like, which some programs wrote before there was eXIf: a line
// feed, the profile's name, its length in decimal, and its bytes in hexadecimal, over many lines.
constexpr std::string_view rawProfile = "Raw profile type ";

Byte hexadecimalDigit(char digit)
{
    if (digit >= '0' && digit <= '9')
        return static_cast<Byte>(digit - '0');
    if (digit >= 'a' && digit <= 'f')
        return static_cast<Byte>(digit - 'a' + 10);
    if (digit >= 'A' && digit <= 'F')
        return static_cast<Byte>(digit - 'A' + 10);
    return 0xFF;
}

Bytes decodedProfile(std::string_view text)
{
    for (int line = 0; line < 3; ++line) { // The empty line, the name, the length.
        const std::size_t end = text.find('\n');
        if (end == text.npos)
            return {};
        text.remove_prefix(end + 1);
    }
    Bytes decoded;
    unsigned pending = 1; // The digits so far, above a 1 that tells how many there are.
    for (const char letter : text) {
        const Byte digit = hexadecimalDigit(letter);
        if (digit == 0xFF)
            continue;
        pending = pending << 4 | digit;
        if (pending >= 0x100) {
            decoded.push_back(static_cast<Byte>(pending));
            pending = 1;
        }
    }
    return decoded;
}

void addRawProfile(std::string_view name, ByteSpan profile, Properties& properties)
{
    MemorySource source(profile);
    if (name == "exif" || name == "APP1") {
        readEXIFBlock(source, {0, profile.size()}, properties);
    } else if (name == "iptc" || name == "8bim") {
        const bool isResource = asText(profile).starts_with("8BIM");
        isResource ? readPhotoshopResources(profile, properties) : readIIM(profile, properties);
    }
}

// #11tEXt and #11zTXt: keyword, NUL, and the text, which in zTXt has a method byte and is deflated.
void readTextChunk(ByteSource& source, const Chunk& chunk, Properties& properties)
{
    const bool isDeflated = chunk.type == fourCC("zTXt");
    if (!isDeflated && chunk.type != fourCC("tEXt"))
        return;
    if (!ByteCursor(source, chunk.data).startsWith(rawProfile))
        return;
    const auto content = source.copyOf(chunk.data);
    if (!content.ok())
        return;
    const std::string_view all = asText(content.value());
    const std::size_t end = all.find('\0');
    if (end == all.npos || (isDeflated && end + 2 > all.size()))
        return;
    const std::string_view name = all.substr(rawProfile.size(), end - rawProfile.size());
    ByteSpan text = ByteSpan(content.value()).subspan(end + 1);
    Bytes inflated;
    if (isDeflated) {
        inflated = inflate(text.subspan(1), limits::inflatedBytes);
        text = inflated;
    }
    addRawProfile(name, decodedProfile(asText(text)), properties);
}

// Gathers what the chunks of a walk tell. Texts are read last: the standard's own chunk counts
// first, wherever it stands.
class PropertyCollector {
public:
    explicit PropertyCollector(ByteSource& source)
        : source(source)
    {
    }

    void visit(const Chunk& chunk)
    {
        if (chunk.kind == BlockKind::exif)
            readEXIFBlock(source, chunk.data, properties);
        const bool isProfile =
            chunk.kind == BlockKind::text && ByteCursor(source, chunk.data).startsWith(rawProfile);
        if (isProfile && texts.size() < limits::rawProfiles)
            texts.push_back(chunk);
    }

    Properties finished()
    {
        for (const Chunk& chunk : texts)
            readTextChunk(source, chunk, properties);
        return std::move(properties);
    }

private:
    ByteSource& source;
    Properties properties;
    std::vector<Chunk> texts;
};

Properties readProperties(ByteSource& source, std::uint32_t)
{
    PropertyCollector collector(source);
    const auto visit = [&](const Chunk& chunk) -> Result<Done> {
        collector.visit(chunk);
        return Done{};
    };
    // What stands before the damage of a damaged file is told all the same.
    static_cast<void>(walk(source, visit).ok());
    return collector.finished();
}

void writeChunk(OutputPlan& plan, std::string_view type, ByteSpan data)
{
    Bytes chunk;
    append32(chunk, static_cast<std::uint32_t>(data.size()), ByteOrder::big);
    append(chunk, type);
    append(chunk, data);
    append32(chunk, checksum(ByteSpan(chunk).subspan(4)), ByteOrder::big); // #5CRC-algorithm
    plan.write(chunk);
}

// #11iCCP: a name, NUL, a method of which there is one, and the profile as a zlib stream.
struct NamedProfile {
    ByteSpan name; // With NUL and method.
    ByteSpan stream;
};

std::optional<NamedProfile> namedProfile(ByteSpan data)
{
    constexpr std::size_t longestName = 79;
    const std::size_t length = asText(data).find('\0');
    if (length - 1 >= longestName || length + 2 > data.size() || data[length + 1] != 0)
        return std::nullopt;
    return NamedProfile{data.first(length + 2), data.subspan(length + 2)};
}

std::optional<std::uint32_t> profileSizeIn(ByteSpan stream)
{
    constexpr std::size_t beginning = 64; // More than is looked at.
    const Bytes head = inflate(stream, beginning);
    MemorySource memory(head);
    return profileBytes(ByteCursor(memory));
}

// Some programs name a profile by the file that it came from, and that lies in somebody's folder.
bool isPath(std::string_view name)
{
    return name.find_first_of("/\\") != std::string_view::npos;
}

// A profile is packed anew only when something stands behind it, or behind its stream. Decoders
// pass over one that is cut short.
Result<Done> planProfile(ByteSource& source, const Chunk& chunk, OutputPlan& plan)
{
    if (chunk.data.length > limits::metadataBytes)
        return Done{};
    const Bytes data = NP_TRY(source.copyOf(chunk.data));
    const auto profile = namedProfile(data);
    const auto size = profile ? profileSizeIn(profile->stream) : std::nullopt;
    if (!size || *size > limits::metadataBytes)
        return Done{};
    const Unpacked unpacked = unpack(profile->stream, std::size_t{*size} + 1);
    if (unpacked.content.size() < *size)
        return Done{};
    const bool isAlone = unpacked.isWhole && unpacked.content.size() == *size;
    const bool isNamedByPath = isPath(asText(profile->name));
    if (isAlone && !isNamedByPath) {
        plan.copy(chunk.whole);
        return Done{};
    }
    // With NUL and method.
    constexpr std::string_view plainName("ICC profile\0\0", 13);
    Bytes fresh;
    append(fresh, isNamedByPath ? plainName : asText(profile->name));
    append(fresh, isAlone ? profile->stream : pack(ByteSpan(unpacked.content).first(*size)));
    writeChunk(plan, "iCCP", fresh);
    return Done{};
}

// Whether an animation header has frames to speak about.
Result<bool> hasFrames(ByteSource& source)
{
    bool isFound = false;
    NP_TRY(walk(source, [&](const Chunk& chunk) -> Result<Done> {
        const bool isFrame = chunk.type == fourCC("fcTL") && chunk.kind == BlockKind::animation;
        isFound = isFound || isFrame;
        return Done{};
    }));
    return isFound;
}

// What a chunk is in its file. An animation that is one by name only is none.
class ChunkJudge {
public:
    explicit ChunkJudge(ByteSource& source)
        : source(source)
    {
    }

    Result<BlockKind> kindOf(const Chunk& chunk)
    {
        if (chunk.type == fourCC("acTL") && isKept(chunk.kind))
            isIdle = !NP_TRY(hasFrames(source));
        const bool isAnimation = chunk.kind == BlockKind::animation || chunk.type == fourCC("fdAT");
        return isAnimation && isIdle ? BlockKind::extraImage : chunk.kind;
    }

private:
    ByteSource& source;
    bool isIdle = false;
};

// One walk serves the copy and the orientation in it: a large file has thousands of chunks.
Result<OutputPlan> planCleanCopy(ByteSource& source)
{
    PropertyCollector collector(source);
    ChunkJudge judge(source);
    bool hasPixels = false;
    OutputPlan plan; // Up to the header, behind which the orientation goes.
    OutputPlan body;
    plan.copy({0, signature.size()});
    const auto visit = [&](const Chunk& chunk) -> Result<Done> {
        collector.visit(chunk);
        hasPixels = hasPixels || chunk.type == fourCC("IDAT");
        const BlockKind kind = NP_TRY(judge.kindOf(chunk));
        if (!isKept(kind))
            return Done{};
        if (chunk.type == fourCC("iCCP"))
            return planProfile(source, chunk, body);
        if (chunk.type != fourCC("IEND")) // Written fresh.
            (chunk.type == fourCC("IHDR") ? plan : body).copy(chunk.whole);
        return Done{};
    };
    NP_TRY(walk(source, visit));
    if (!hasPixels)
        return Error{"PNG without pixels"};
    if (const auto orientation = turnedOrientation(collector.finished()))
        writeChunk(plan, "eXIf", freshEXIF(orientation, std::nullopt));
    plan.append(body, 0);
    writeChunk(plan, "IEND", {});
    return plan;
}

bool hasSignature(ByteSpan head)
{
    return asText(head).starts_with(signature);
}

} // namespace

Result<Blocks> splitPNG(ByteSource& source)
{
    ChunkJudge judge(source);
    Blocks blocks;
    NP_TRY(blocks.add(BlockKind::structure, {0, signature.size()}));
    const auto visit = [&](const Chunk& chunk) -> Result<Done> {
        const BlockKind kind = NP_TRY(judge.kindOf(chunk));
        return blocks.add(kind, chunk.whole);
    };
    const ByteRange trailer = NP_TRY(walk(source, visit));
    NP_TRY(blocks.add(BlockKind::trailer, trailer));
    return blocks;
}

constexpr ImageFormat pngFormat{
    .type = ImageType::png,
    .name = "PNG",
    .hasSignature = hasSignature,
    .checkHeader = checkHeader,
    .countFrames = countFrames,
    .readProperties = readProperties,
    .split = splitPNG,
    .planCleanCopy = planCleanCopy,
};

} // namespace nullprint::image
