// GIF: a screen with a colour table, then images and extensions in a row, each a chain of
// sub-blocks. Nothing is unpacked. Numbers in comments are sections of GIF89a.
#include "engine/image/GIF.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/ICC.h"
#include "engine/support/ByteCursor.h"

#include <algorithm>

namespace nullprint::image {
namespace {

// The byte that a block begins with, and the one that tells extensions apart.
namespace introducer {
constexpr Byte extension = 0x21; // 23.c.i
constexpr Byte image = 0x2C;     // 20.c.i
constexpr Byte trailer = 0x3B;   // 27.c.i
} // namespace introducer

namespace label {
constexpr Byte plainText = 0x01;      // 25.c.ii
constexpr Byte graphicControl = 0xF9; // 23.c.ii
constexpr Byte comment = 0xFE;        // 24.c.ii
constexpr Byte application = 0xFF;    // 26.c.ii
} // namespace label

constexpr std::uint64_t headerBytes = 6; // 17
constexpr std::uint64_t screenBytes = 7; // 18
constexpr std::uint64_t graphicControlBytes = 4;
constexpr std::uint64_t loopBytes = 3;
// 26: introducer, label, block size, identifier and authentication code.
constexpr std::uint64_t applicationHeadBytes = 14;

// What a part of the file is beside its kind, as far as cleaning has to know.
enum class Role : std::uint8_t { other, image, graphicControl, loop, profile };

struct ApplicationName {
    std::string_view name; // Behind the size of the first sub-block, 26.c.iii to v.
    BlockKind kind;
    Role role = Role::other;
};

// An extension of an application that is not named here is `application`.
constexpr std::array applicationNames{
    ApplicationName{"\x0BNETSCAPE2.0", BlockKind::animation, Role::loop},
    ApplicationName{"\x0B"
                    "ANIMEXTS1.0",
                    BlockKind::animation,
                    Role::loop},
    ApplicationName{"\x0BICCRGBG1012", BlockKind::colourProfile, Role::profile}, // ICC.1, B.5
    ApplicationName{"\x0BXMP DataXMP", BlockKind::xmp}, // ISO 16684-3, 1.1.2
    ApplicationName{"\x0BMGK8BIM0000", BlockKind::iptc},
    ApplicationName{"\x0BMGKIPTC0000", BlockKind::iptc},
};

struct Part {
    BlockKind kind = BlockKind::unknown;
    ByteRange range;
    Role role = Role::other;
    ByteRange content; // All that counts in a graphic control or a loop extension.
};

// 15 and 16: pieces of up to 255 bytes, each behind its length, up to an empty one.
Result<ByteRange> nextSubBlock(ByteCursor& cursor)
{
    const std::uint8_t length = NP_TRY(cursor.u8());
    return cursor.skip(length);
}

Result<Done> skipSubBlocks(ByteCursor& cursor)
{
    while (NP_TRY(nextSubBlock(cursor)).length != 0) {
    }
    return Done{};
}

// The place of the first four bytes of a graphic control. Decoders pass over longer ones' rest.
std::optional<ByteRange> graphicControlIn(ByteCursor cursor)
{
    const auto first = nextSubBlock(cursor);
    if (!first.ok() || first.value().length < graphicControlBytes)
        return std::nullopt;
    return ByteRange{first.value().offset, graphicControlBytes};
}

// The place of the identifier 1 and the loop count behind it. `cursor` is behind the name.
std::optional<ByteRange> loopIn(ByteCursor cursor)
{
    for (;;) {
        const auto length = cursor.u8();
        const auto identifier = cursor.peek();
        if (!length.ok() || length.value() == 0 || !identifier)
            return std::nullopt;
        const auto piece = cursor.skip(length.value());
        if (!piece.ok())
            return std::nullopt;
        if (length.value() >= loopBytes && (*identifier & 7) == 1)
            return ByteRange{piece.value().offset, loopBytes};
    }
}

// The size that a profile says it has, when the data begins like one.
std::optional<std::uint32_t> profileSizeIn(ByteSource& source, ByteCursor cursor)
{
    constexpr std::size_t headBytes = 40; // As far as profiles are looked into.
    Bytes head;
    while (head.size() < headBytes) {
        const auto piece = nextSubBlock(cursor);
        if (!piece.ok() || piece.value().length == 0)
            return std::nullopt;
        const auto bytes = source.copyOf(piece.value());
        if (!bytes.ok())
            return std::nullopt;
        append(head, bytes.value());
    }
    MemorySource memory(head);
    return profileBytes(ByteCursor(memory));
}

// 26. An extension that does not hold what its name promises is another application's.
void nameApplication(ByteSource& source, ByteCursor cursor, Part& part)
{
    part.kind = BlockKind::application;
    const auto* row = std::ranges::find_if(applicationNames, [&](const auto& known) {
        return cursor.startsWith(known.name);
    });
    if (row == applicationNames.end())
        return;
    const bool isWhole = cursor.skip(row->name.size()).ok();
    const auto loop = row->role == Role::loop ? loopIn(cursor) : std::nullopt;
    const bool isBadLoop = row->role == Role::loop && !loop;
    const bool isBadProfile = row->role == Role::profile && !profileSizeIn(source, cursor);
    if (!isWhole || isBadLoop || isBadProfile)
        return;
    part.kind = row->kind;
    part.role = row->role;
    part.content = loop.value_or(ByteRange{});
}

// Tells what the extension is whose sub-blocks `cursor` is at.
void nameExtension(ByteSource& source, Byte code, const ByteCursor& cursor, Part& part)
{
    switch (code) {
    case label::graphicControl:
        if (const auto content = graphicControlIn(cursor)) {
            part.kind = BlockKind::animation;
            part.role = Role::graphicControl;
            part.content = *content;
        }
        return;
    case label::plainText:
    case label::comment:
        part.kind = BlockKind::text;
        return;
    case label::application:
        nameApplication(source, cursor, part);
        return;
    default:
        return;
    }
}

// 23 to 26. The introducer has been read.
Result<Part> readExtension(ByteSource& source, ByteCursor& cursor)
{
    Part part;
    const std::uint64_t start = cursor.position() - 1;
    const std::uint8_t code = NP_TRY(cursor.u8());
    nameExtension(source, code, cursor, part);
    NP_TRY(skipSubBlocks(cursor));
    part.range = {start, cursor.position() - start};
    return part;
}

// 18.c.iii and 20.c.vi: the bytes of the colour table that a packed field announces.
std::uint64_t colourTableBytes(std::uint8_t packed)
{
    return (packed & 0x80) == 0 ? 0 : 3ULL << ((packed & 7) + 1);
}

// 17 to 19: signature, screen and global colour table.
template <typename Visit> Result<Done> walkScreen(ByteCursor& cursor, Visit visit)
{
    NP_TRY(cursor.skip(headerBytes + 4));
    const std::uint8_t packed = NP_TRY(cursor.u8());
    NP_TRY(cursor.skip(2));
    const ByteRange table = NP_TRY(cursor.skip(colourTableBytes(packed)));
    NP_TRY(visit({BlockKind::structure, {0, headerBytes + screenBytes}, Role::other, {}}));
    return visit({BlockKind::palette, table, Role::other, {}});
}

// 20 to 22: descriptor, local colour table and coded pixels. The introducer has been read.
template <typename Visit> Result<Done> walkImage(ByteCursor& cursor, Visit visit)
{
    const std::uint64_t start = cursor.position() - 1;
    NP_TRY(cursor.skip(8));
    const std::uint8_t packed = NP_TRY(cursor.u8());
    const ByteRange table = NP_TRY(cursor.skip(colourTableBytes(packed)));
    NP_TRY(cursor.skip(1)); // Minimum code size
    NP_TRY(skipSubBlocks(cursor));
    NP_TRY(visit({BlockKind::structure, {start, table.offset - start}, Role::image, {}}));
    NP_TRY(visit({BlockKind::palette, table, Role::other, {}}));
    const ByteRange pixels{table.end(), cursor.position() - table.end()};
    return visit({BlockKind::pixels, pixels, Role::other, {}});
}

// The only walk over a GIF. `visit` gets every part, empty ones too. Zeros between blocks, of
// which encoders leave some, are no blocks; anything else that is none could hide any number of
// further images, so it is an error. The end may stand where the trailer should.
template <typename Visit> Result<Done> walk(ByteSource& source, Visit visit)
{
    ByteCursor cursor(source);
    NP_TRY(walkScreen(cursor, visit));
    while (!cursor.atEnd()) {
        const ByteRange here{cursor.position(), 1};
        switch (NP_TRY(cursor.u8())) {
        case 0:
            NP_TRY(visit({BlockKind::filler, here, Role::other, {}}));
            break;
        case introducer::extension: {
            const Part extension = NP_TRY(readExtension(source, cursor));
            NP_TRY(visit(extension));
            break;
        }
        case introducer::image:
            NP_TRY(walkImage(cursor, visit));
            break;
        case introducer::trailer:
            NP_TRY(visit({BlockKind::structure, here, Role::other, {}}));
            return visit({BlockKind::trailer, cursor.rest(), Role::other, {}});
        default:
            return cursor.fail("neither image nor extension");
        }
    }
    return Done{};
}

// What decides about parts that stand before it is known.
struct Facts {
    std::uint32_t frames = 0;
    std::uint64_t lastImage = 0;
};

Result<Facts> gatherFacts(ByteSource& source)
{
    Facts facts;
    NP_TRY(walk(source, [&](const Part& part) -> Result<Done> {
        if (part.role == Role::image) {
            ++facts.frames;
            facts.lastImage = part.range.offset;
        }
        return Done{};
    }));
    return facts;
}

// One picture does not loop, and a graphic control is about an image to come (23.d). It may be
// repeated, and between it and the image anything may stand: decoders let it apply all the same.
BlockKind kindOf(const Part& part, const Facts& facts)
{
    if (part.role == Role::loop && facts.frames < 2)
        return BlockKind::application;
    if (part.role == Role::graphicControl && part.range.offset > facts.lastImage)
        return BlockKind::extraImage;
    return part.kind;
}

// Longer ones than the standard's are written fresh, with the four bytes that count.
void planGraphicControl(const Part& part, OutputPlan& plan)
{
    constexpr std::uint64_t standardBytes = 3 + graphicControlBytes + 1;
    if (part.range.length == standardBytes) {
        plan.copy(part.range);
        return;
    }
    plan.write(Bytes{introducer::extension, label::graphicControl, graphicControlBytes});
    plan.copy(part.content);
    plan.write(Bytes{0});
}

// The name and the loop count alone: the extension has room for more.
void planLoop(const Part& part, OutputPlan& plan)
{
    plan.copy({part.range.offset, applicationHeadBytes});
    plan.write(Bytes{loopBytes, 1});
    plan.copy({part.content.offset + 1, loopBytes - 1});
    plan.write(Bytes{0});
}

// The profile up to the size it says it has. The lengths of whole sub-blocks are kept.
Result<Done> planProfile(ByteSource& source, const Part& part, OutputPlan& plan)
{
    ByteCursor cursor(source, part.range);
    plan.copy(NP_TRY(cursor.skip(applicationHeadBytes)));
    std::uint64_t left = profileSizeIn(source, cursor).value_or(0);
    while (left > 0) {
        const ByteRange piece = NP_TRY(nextSubBlock(cursor));
        const std::uint64_t taken = std::min(left, piece.length);
        if (taken == 0)
            break;
        if (taken == piece.length) {
            plan.copy({piece.offset - 1, taken + 1});
        } else {
            plan.write(Bytes{static_cast<Byte>(taken)});
            plan.copy({piece.offset, taken});
        }
        left -= taken;
    }
    plan.write(Bytes{0});
    return Done{};
}

Result<Done> planPart(ByteSource& source, const Part& part, OutputPlan& plan)
{
    switch (part.role) {
    case Role::graphicControl:
        planGraphicControl(part, plan);
        return Done{};
    case Role::loop:
        planLoop(part, plan);
        return Done{};
    case Role::profile:
        return planProfile(source, part, plan);
    default:
        plan.copy(part.range);
        return Done{};
    }
}

Result<OutputPlan> planCleanCopy(ByteSource& source)
{
    const Facts facts = NP_TRY(gatherFacts(source));
    if (facts.frames == 0)
        return Error{"GIF without images"};
    OutputPlan plan;
    bool hasTrailer = false;
    NP_TRY(walk(source, [&](const Part& part) -> Result<Done> {
        hasTrailer = hasTrailer || part.kind == BlockKind::trailer;
        return isKept(kindOf(part, facts)) ? planPart(source, part, plan) : Result<Done>(Done{});
    }));
    if (!hasTrailer)
        plan.write(Bytes{introducer::trailer});
    return plan;
}

bool hasSignature(ByteSpan head)
{
    return asText(head).starts_with("GIF87a") || asText(head).starts_with("GIF89a");
}

Result<Done> checkHeader(ByteSource& source)
{
    NP_TRY(ByteCursor(source).skip(headerBytes + screenBytes));
    return Done{};
}

Result<std::uint32_t> countFrames(ByteSource& source)
{
    return NP_TRY(gatherFacts(source)).frames;
}

// GIF has no fields of its own; an XMP packet is found by its text.
Properties readProperties(ByteSource&, std::uint32_t)
{
    return {};
}

} // namespace

Result<Blocks> splitGIF(ByteSource& source)
{
    const Facts facts = NP_TRY(gatherFacts(source));
    Blocks blocks;
    NP_TRY(walk(source,
                [&](const Part& part) { return blocks.add(kindOf(part, facts), part.range); }));
    return blocks;
}

constexpr ImageFormat gifFormat{
    .type = ImageType::gif,
    .name = "GIF",
    .hasSignature = hasSignature,
    .checkHeader = checkHeader,
    .countFrames = countFrames,
    .readProperties = readProperties,
    .split = splitGIF,
    .planCleanCopy = planCleanCopy,
};

} // namespace nullprint::image
