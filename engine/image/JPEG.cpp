// JPEG: markers and segments, with entropy-coded data after each start of scan. Nothing is decoded.
// B.1 and the like are clauses of ITU-T T.81; "JFIF" is ITU-T T.871; ICC.1 is the profile's own
// standard, annex B.4; Exif is CIPA DC-008, 4.5.
#include "engine/image/JPEG.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/EXIF.h"
#include "engine/image/IPTC.h"
#include "engine/image/JPEGProfile.h"
#include "engine/image/JPEGResolution.h"
#include "engine/support/ByteCursor.h"
#include "engine/support/FindBytes.h"

#include <algorithm>

namespace nullprint::image {
namespace {

// Table B.1, by second byte.
namespace marker {
constexpr Byte temporary = 0x01;
constexpr Byte startOfFrame0 = 0xC0;
constexpr Byte huffmanTables = 0xC4;
constexpr Byte reservedJPG = 0xC8;
constexpr Byte arithmeticConditioning = 0xCC;
constexpr Byte startOfFrame15 = 0xCF;
constexpr Byte restart0 = 0xD0;
constexpr Byte restart7 = 0xD7;
constexpr Byte startOfImage = 0xD8;
constexpr Byte endOfImage = 0xD9;
constexpr Byte startOfScan = 0xDA;
constexpr Byte quantisationTables = 0xDB;
constexpr Byte numberOfLines = 0xDC;
constexpr Byte restartInterval = 0xDD;
constexpr Byte hierarchicalProgression = 0xDE;
constexpr Byte expandReference = 0xDF;
constexpr Byte application0 = 0xE0;
constexpr Byte application15 = 0xEF;
constexpr Byte comment = 0xFE;
} // namespace marker

struct SegmentName {
    Byte marker;
    std::string_view start;
    BlockKind kind;
};

// An application segment is what its first bytes say; one that is not named here is `application`.
constexpr std::array segmentNames{
    SegmentName{0xE0, {"JFIF\0", 5}, BlockKind::resolution},            // JFIF 10.1; written fresh
    SegmentName{0xE0, {"JFXX\0", 5}, BlockKind::thumbnail},             // JFIF 10.2
    SegmentName{0xE1, {"Exif\0", 5}, BlockKind::exif},                  // Exif 4.5.4
    SegmentName{0xE1, "http://ns.adobe.com/", BlockKind::xmp},          // ISO 16684-3, 1.1.3
    SegmentName{0xE2, {"ICC_PROFILE\0", 12}, BlockKind::colourProfile}, // ICC.1 B.4
    SegmentName{0xE2, {"MPF\0", 4}, BlockKind::extraImage},             // CIPA DC-007, 5.1
    SegmentName{0xED, {"Photoshop 3.0\0", 14}, BlockKind::iptc},
    SegmentName{0xED, "Adobe_Photoshop2.5:", BlockKind::iptc},
    SegmentName{0xEE, "Adobe", BlockKind::colourTransform}, // T.872, 6.5.3
};

struct Segment {
    Byte marker = 0; // 0 for a rest that holds no whole segment.
    BlockKind kind = BlockKind::trailer;
    ByteRange filler;    // Bytes between what comes before and this segment.
    ByteRange whole;     // From the 0xFF before the marker on.
    ByteRange payload;   // What stands behind the length; empty where there is no length.
    ByteRange scan;      // The entropy-coded data behind a start of scan.
    bool isExact = true; // It holds what its standard says and no more.
};

bool isStandalone(Byte code)
{
    return code == marker::temporary || (code >= marker::restart0 && code <= marker::endOfImage);
}

// SOF0 to SOF15 without the three codes among them that mean something else.
bool isStartOfFrame(Byte code)
{
    return code >= marker::startOfFrame0 && code <= marker::startOfFrame15 &&
           code != marker::huffmanTables && code != marker::reservedJPG &&
           code != marker::arithmeticConditioning;
}

// Where in the rest of a source two bytes next to each other satisfy `isHit`, which must not
// branch; the end of the source when they do nowhere. Windows end at fixed places, so that many
// short searches in a row read the file once.
template <typename IsHit>
Result<std::uint64_t> findPair(ByteSource& source, std::uint64_t from, IsHit isHit)
{
    constexpr std::uint64_t stride = limits::windowBytes - 1;
    std::uint64_t offset = from;
    while (source.size() - offset >= 2) {
        // The byte behind the place may be the second of a pair.
        const std::uint64_t end = std::min((offset / stride + 1) * stride + 1, source.size());
        const auto length = static_cast<std::size_t>(end - offset);
        const std::size_t hit = findBytePair(NP_TRY(source.view(offset, length)), isHit);
        if (hit < length)
            return offset + hit;
        offset = end - 1;
    }
    return source.size();
}

// B.1.1.2: any number of 0xFF may stand before a marker. Other bytes may not, but readers pass
// over them, and so does this.
Result<std::uint64_t> findMarker(ByteSource& source, ByteCursor cursor)
{
    const std::uint64_t from = cursor.position();
    if (cursor.remaining() < 2)
        return source.size();
    const std::uint16_t next = NP_TRY(cursor.u16());
    if (next > 0xFF00 && next < 0xFFFF)
        return from;
    return findPair(source, from, [](Byte first, Byte second) {
        return static_cast<Byte>(first == 0xFF) & static_cast<Byte>(second != 0x00) &
               static_cast<Byte>(second != 0xFF);
    });
}

// Fails only where the source cannot be read: what is no whole segment has no marker.
Result<Segment> readSegment(ByteSource& source, ByteCursor& cursor)
{
    Segment rest;
    rest.whole = cursor.rest();
    const std::uint64_t start = cursor.position();
    const std::uint64_t at = NP_TRY(findMarker(source, cursor));
    NP_TRY(cursor.skip(at - start));
    if (cursor.atEnd())
        return rest;
    NP_TRY(cursor.skip(1));
    Segment segment;
    segment.marker = NP_TRY(cursor.u8());
    segment.filler = {start, at - start};
    if (!isStandalone(segment.marker)) {
        if (cursor.remaining() < 2)
            return rest;
        const std::uint16_t length = NP_TRY(cursor.u16());
        if (length < 2 || length - 2U > cursor.remaining())
            return rest;
        segment.payload = NP_TRY(cursor.skip(length - 2U));
    }
    segment.whole = {at, cursor.position() - at};
    return segment;
}

// Whether a marker ends entropy-coded data: not stuffing (0xFF00), not a restart, nor one of the
// reserved codes, over which decoders stumble alike before and after cleaning.
constexpr Byte endsScan(Byte code)
{
    return static_cast<Byte>(code >= 0xC0) & static_cast<Byte>((code & 0xF8) != 0xD0);
}

// Where the entropy-coded data that begins at `from` ends. Fill bytes (0xFF) before the marker, or
// before the end of a file that has none, are not part of it.
Result<std::uint64_t> endOfScan(ByteSource& source, std::uint64_t from)
{
    std::uint64_t offset = from;
    while (true) {
        const std::uint64_t hit = NP_TRY(findPair(source, offset, [](Byte first, Byte second) {
            return static_cast<Byte>(static_cast<Byte>(first == 0xFF) & endsScan(second));
        }));
        if (hit == source.size())
            break;
        const std::uint64_t last = NP_TRY(findPair(source, hit, [](Byte first, Byte second) {
            return static_cast<Byte>(first == 0xFF) & static_cast<Byte>(second != 0xFF);
        }));
        if (last == source.size())
            return hit;
        ByteCursor marker(source, {last + 1, 1});
        if (endsScan(NP_TRY(marker.u8())) != 0)
            return hit;
        offset = last + 1;
    }
    ByteCursor end(source, {source.size() - 1, 1});
    const bool isFill = source.size() > from && end.peek() == Byte{0xFF};
    return source.size() - (isFill ? 1 : 0);
}

BlockKind kindOfApplication(ByteSource& source, const Segment& segment)
{
    ByteCursor cursor(source, segment.payload);
    for (const SegmentName& name : segmentNames) {
        if (name.marker == segment.marker && cursor.startsWith(name.start))
            return name.kind;
    }
    return BlockKind::application;
}

BlockKind kindOf(ByteSource& source, const Segment& segment)
{
    const Byte code = segment.marker;
    if (code >= marker::application0 && code <= marker::application15)
        return kindOfApplication(source, segment);
    if (code == marker::comment)
        return BlockKind::text;
    if (isStartOfFrame(code))
        return BlockKind::structure;
    switch (code) {
    case marker::startOfImage:
    case marker::endOfImage:
    case marker::startOfScan:
    case marker::numberOfLines:
    case marker::hierarchicalProgression:
    case marker::expandReference:
        return BlockKind::structure;
    case marker::quantisationTables:
    case marker::huffmanTables:
    case marker::arithmeticConditioning:
    case marker::restartInterval:
        return BlockKind::codingTables;
    case marker::temporary:
        return BlockKind::filler;
    default:
        return code >= marker::restart0 && code <= marker::restart7 ? BlockKind::filler
                                                                    : BlockKind::unknown;
    }
}

// B.2.2: precision, lines, samples a line, and three bytes a component.
Result<std::uint8_t> readFrameHeader(ByteSource& source, const Segment& segment)
{
    ByteCursor cursor(source, segment.payload);
    NP_TRY(cursor.skip(3)); // The number of lines may follow the first scan (B.2.5).
    const std::uint16_t width = NP_TRY(cursor.u16());
    const std::uint8_t components = NP_TRY(cursor.u8());
    if (width == 0 || components == 0 || cursor.remaining() != std::uint64_t{components} * 3)
        return cursor.fail("frame header that describes no picture");
    return components;
}

// B.2.4.1: tables of 64 elements, of one or two bytes each.
Result<Done> checkQuantisationTables(ByteCursor cursor)
{
    while (!cursor.atEnd()) {
        const std::uint8_t precision = NP_TRY(cursor.u8()) >> 4;
        NP_TRY(cursor.skip(precision == 0 ? 64 : 128));
    }
    return Done{};
}

// B.2.4.2: the number of codes of each of 16 lengths, then a byte a code.
Result<Done> checkHuffmanTables(ByteCursor cursor)
{
    while (!cursor.atEnd()) {
        NP_TRY(cursor.skip(1));
        std::uint32_t codes = 0;
        for (int length = 1; length <= 16; ++length)
            codes += NP_TRY(cursor.u8());
        NP_TRY(cursor.skip(codes));
    }
    return Done{};
}

// Kept segments hold what their standard says to the last byte; there is no room for more.
Result<Done> checkKept(ByteSource& source, const Segment& segment)
{
    const ByteCursor cursor(source, segment.payload);
    const std::uint64_t length = segment.payload.length;
    if (isStartOfFrame(segment.marker) || segment.marker == marker::hierarchicalProgression) {
        NP_TRY(readFrameHeader(source, segment));
        return Done{};
    }
    switch (segment.marker) {
    case marker::quantisationTables:
        return checkQuantisationTables(cursor);
    case marker::huffmanTables:
        return checkHuffmanTables(cursor);
    case marker::arithmeticConditioning: // B.2.4.3
        return length % 2 == 0 ? Result<Done>(Done{}) : cursor.fail("bad DAC length");
    case marker::restartInterval: // B.2.4.4
    case marker::numberOfLines:   // B.2.5
        return length == 2 ? Result<Done>(Done{}) : cursor.fail("bad DRI or DNL length");
    case marker::expandReference: // B.3.3
        return length == 1 ? Result<Done>(Done{}) : cursor.fail("bad EXP length");
    case marker::startOfScan: { // B.2.3
        ByteCursor header = cursor;
        const std::uint8_t components = NP_TRY(header.u8());
        return components != 0 && length == components * 2U + 4U ? Result<Done>(Done{})
                                                                 : cursor.fail("bad SOS length");
    }
    default:
        return Done{};
    }
}

enum class Extent { head, whole }; // Up to the first scan's data, or to the end of the picture.

// How a picture ends.
struct Ending {
    bool hasMark = false;
    ByteRange trailer;
};

// Reads one segment with its kind, and with Extent::whole the data of its scan.
Result<Segment> readTypedSegment(ByteSource& source, ByteCursor& cursor, Extent extent)
{
    Segment segment = NP_TRY(readSegment(source, cursor));
    if (segment.marker == 0)
        return segment;
    segment.kind = kindOf(source, segment);
    // Here rather than by those who ask, so that the file is read forwards.
    segment.isExact = !isKept(segment.kind) || checkKept(source, segment).ok();
    if (segment.marker == marker::startOfScan && extent == Extent::whole) {
        const std::uint64_t from = cursor.position();
        const std::uint64_t end = NP_TRY(endOfScan(source, from));
        segment.scan = NP_TRY(cursor.skip(end - from));
    }
    return segment;
}

// The only walk over a JPEG. `visit` gets every segment from the start of image to its end mark, or
// to the first start of scan with Extent::head.
template <typename Visit> Result<Ending> walk(ByteSource& source, Extent extent, Visit visit)
{
    ByteCursor cursor(source);
    Segment segment;
    segment.marker = marker::startOfImage;
    segment.kind = BlockKind::structure;
    segment.whole = NP_TRY(cursor.skip(2));
    NP_TRY(visit(segment));
    bool sawScan = false;
    while (segment.marker != marker::endOfImage) {
        const ByteRange rest = cursor.rest();
        segment = NP_TRY(readTypedSegment(source, cursor, extent));
        // With a scan there is a picture. Files that end there without an end mark are common, and
        // what follows may be a piece of a segment, or another picture.
        if (segment.marker == 0 || segment.marker == marker::startOfImage) {
            return sawScan ? Result<Ending>(Ending{.hasMark = false, .trailer = rest})
                           : Error{"no scan before the end", rest.offset};
        }
        NP_TRY(visit(segment));
        sawScan = sawScan || segment.marker == marker::startOfScan;
        if (sawScan && extent == Extent::head)
            return Ending{};
    }
    return Ending{.hasMark = true, .trailer = cursor.rest()};
}

constexpr std::uint64_t jfifBytes = 14; // Payloads; shorter ones mean nothing to any decoder.
constexpr std::uint64_t adobeBytes = 12;

Result<Done> noteFrame(ByteSource& source, const Segment& segment, JPEGFacts& facts)
{
    if (facts.frameMarker != 0)
        return Error{"a second frame header", segment.whole.offset};
    facts.frameMarker = segment.marker;
    facts.components = NP_TRY(readFrameHeader(source, segment));
    const Bytes header = NP_TRY(source.copyOf(segment.payload));
    facts.precision = header[0];
    facts.hasUsualNames = facts.components == 3 && header[6] <= 1 && header[9] == header[6] + 1 &&
                          header[12] == header[6] + 2;
    return Done{};
}

Result<Done> noteFacts(ByteSource& source, const Segment& segment, JPEGFacts& facts)
{
    const ByteRange& payload = segment.payload;
    if (isStartOfFrame(segment.marker))
        NP_TRY(noteFrame(source, segment, facts));
    facts.hasScan = segment.marker == marker::startOfScan;
    facts.isHierarchical =
        facts.isHierarchical || segment.marker == marker::hierarchicalProgression;
    if (segment.kind == BlockKind::resolution && payload.length >= jfifBytes)
        facts.density = ByteRange{payload.offset + 7, 5};
    if (segment.kind == BlockKind::colourProfile && facts.profile.size() < limits::profileSegments)
        facts.profile.push_back(payload);
    if (segment.kind == BlockKind::colourTransform && payload.length >= adobeBytes)
        facts.transform = NP_TRY(ByteCursor(source, {payload.offset + 11, 1}).u8());
    return Done{};
}

// Only what stands before the first scan counts: there a decoder decides. Where a segment is
// repeated, the last one does.
Result<JPEGFacts> gatherFacts(ByteSource& source)
{
    JPEGFacts facts;
    NP_TRY(walk(source, Extent::head, [&](const Segment& segment) {
        return noteFacts(source, segment, facts);
    }));
    if (facts.frameMarker == 0 || !facts.hasScan)
        return Error{"no frame or no scan"};
    return facts;
}

// The image resources in a Photoshop segment. A run of them may be spread over several segments.
void appendResources(ByteSource& source, const Segment& segment, Bytes& resources)
{
    const auto payload = source.copyOf(segment.payload);
    if (!payload.ok() || resources.size() >= limits::metadataBytes)
        return;
    const bool isModern = asText(payload.value()).starts_with("Photoshop");
    const std::size_t header = isModern ? 14 : 27; // The older one has eight bytes more.
    if (payload.value().size() > header)
        append(resources, ByteSpan(payload.value()).subspan(header));
}

// The Exif and IPTC of the segments before the first scan. What stands before the damage of a
// damaged file is told all the same.
Properties readProperties(ByteSource& source, std::uint32_t)
{
    Properties properties;
    Bytes resources;
    const auto visit = [&](const Segment& segment) -> Result<Done> {
        if (segment.kind == BlockKind::exif)
            readEXIFBlock(source, segment.payload, properties);
        if (segment.kind == BlockKind::iptc)
            appendResources(source, segment, resources);
        return Done{};
    };
    static_cast<void>(walk(source, Extent::head, visit).ok());
    readPhotoshopResources(resources, properties);
    return properties;
}

// All but what is written fresh and the profile.
Result<Done> planSegment(ByteSource& source, const Segment& segment, bool sawScan, OutputPlan& plan)
{
    if (!isKept(segment.kind) || segment.kind == BlockKind::resolution)
        return Done{};
    if (segment.kind == BlockKind::colourTransform && sawScan)
        return Done{};
    if (!segment.isExact)
        return Error{"segment that holds less or more than it should", segment.whole.offset};
    if (segment.kind == BlockKind::colourTransform) {
        const ByteRange defined{segment.payload.offset, adobeBytes};
        if (segment.payload.length >= adobeBytes)
            writeSegment(plan, segment.marker, NP_TRY(source.copyOf(defined)));
        return Done{};
    }
    plan.copy(segment.whole);
    plan.copy(segment.scan);
    return Done{};
}

bool hasSignature(ByteSpan head)
{
    return head.size() >= 3 && head[0] == 0xFF && head[1] == marker::startOfImage &&
           head[2] == 0xFF;
}

Result<Done> checkHeader(ByteSource& source)
{
    NP_TRY(gatherFacts(source));
    return Done{};
}

// Further pictures in a JPEG file (previews, gain maps) are data beside the picture.
Result<std::uint32_t> countFrames(ByteSource& source)
{
    NP_TRY(checkHeader(source));
    return 1U;
}

Result<OutputPlan> planCleanCopy(ByteSource& source)
{
    const JPEGFacts facts = NP_TRY(gatherFacts(source));
    const JPEGProfile profile = NP_TRY(JPEGProfile::read(source, facts.profile));
    OutputPlan plan;
    bool sawScan = false;
    const auto visit = [&](const Segment& segment) -> Result<Done> {
        const bool isSecondFrame = sawScan && isStartOfFrame(segment.marker);
        if (isSecondFrame && !facts.isHierarchical)
            return Error{"a frame behind the picture", segment.whole.offset};
        if (segment.kind == BlockKind::colourProfile) {
            profile.planSegment(segment.payload, plan); // Behind a scan there is none of it.
            return Done{};
        }
        NP_TRY(planSegment(source, segment, sawScan, plan));
        sawScan = sawScan || segment.marker == marker::startOfScan;
        return segment.marker == marker::startOfImage
                   ? planFreshSegments(source, readProperties(source, 0), facts, plan)
                   : Result<Done>(Done{});
    };
    const Ending ending = NP_TRY(walk(source, Extent::whole, visit));
    if (!ending.hasMark)
        plan.write(Bytes{0xFF, marker::endOfImage});
    return plan;
}

BlockKind kindInStream(const Segment& segment)
{
    const bool isExact = segment.payload.length == adobeBytes;
    const bool isKeptElsewhere = segment.kind == BlockKind::resolution ||
                                 segment.kind == BlockKind::colourProfile ||
                                 (segment.kind == BlockKind::colourTransform && !isExact);
    return isKeptElsewhere ? BlockKind::application : segment.kind;
}

} // namespace

Result<Blocks> splitJPEG(ByteSource& source)
{
    Blocks blocks;
    const auto visit = [&](const Segment& segment) -> Result<Done> {
        NP_TRY(blocks.add(BlockKind::filler, segment.filler));
        NP_TRY(blocks.add(segment.kind, segment.whole));
        return blocks.add(BlockKind::pixels, segment.scan);
    };
    const Ending ending = NP_TRY(walk(source, Extent::whole, visit));
    NP_TRY(blocks.add(BlockKind::trailer, ending.trailer));
    return blocks;
}

Result<Blocks> splitJPEGStream(ByteSource& source)
{
    ByteCursor cursor(source);
    Blocks blocks;
    bool sawScan = !cursor.startsWith(jpegStart);
    if (sawScan) {
        const std::uint64_t end = NP_TRY(endOfScan(source, 0));
        const ByteRange scan = NP_TRY(cursor.skip(end));
        NP_TRY(blocks.add(BlockKind::pixels, scan));
    } else {
        const ByteRange start = NP_TRY(cursor.skip(2));
        NP_TRY(blocks.add(BlockKind::structure, start));
    }
    while (!cursor.atEnd()) {
        const ByteCursor before = cursor;
        const auto segment = readTypedSegment(source, cursor, Extent::whole);
        const bool isEnd = !segment.ok() || segment.value().marker == marker::startOfImage;
        if (isEnd && !sawScan)
            return segment.ok() ? Error{"a second start of image", before.position()}
                                : segment.error();
        // What is no whole segment ends the stream: nothing is looked for in what it says it holds.
        if (isEnd || segment.value().marker == 0) {
            cursor = before;
            break;
        }
        NP_TRY(blocks.add(BlockKind::filler, segment.value().filler));
        NP_TRY(blocks.add(kindInStream(segment.value()), segment.value().whole));
        NP_TRY(blocks.add(BlockKind::pixels, segment.value().scan));
        sawScan = sawScan || segment.value().marker == marker::startOfScan;
        if (segment.value().marker == marker::endOfImage)
            break;
    }
    NP_TRY(blocks.add(BlockKind::trailer, cursor.rest()));
    return blocks;
}

constexpr ImageFormat jpegFormat{
    .type = ImageType::jpeg,
    .name = "JPEG",
    .hasSignature = hasSignature,
    .checkHeader = checkHeader,
    .countFrames = countFrames,
    .readProperties = readProperties,
    .split = splitJPEG,
    .planCleanCopy = planCleanCopy,
};

} // namespace nullprint::image
