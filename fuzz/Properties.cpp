#include "fuzz/Properties.h"

#include "fuzz/Require.h"
#include "fuzz/Samples.h"
#include "fuzz/StrictSource.h"

#include <algorithm>

namespace nullprint::fuzz {
namespace {

using namespace nullprint::image;

// Of how many frames of a copy the properties are looked at.
constexpr std::uint32_t lookedAt = 8;

void checkBlocks(const Blocks& blocks, std::uint64_t size)
{
    std::uint64_t end = 0;
    for (const Block& block : blocks) {
        require(block.range.offset == end, "blocks follow one another");
        require(block.range.length > 0 && block.range.length <= size - end,
                "blocks are in the file");
        end = block.range.end();
    }
    require(end == size, "blocks laid end to end are the file");
}

void checkNothingRevealed(const Properties& properties)
{
    for (const Group group : {Group::exif, Group::gps, Group::iptc})
        require(properties.count(group) == 0, "a copy has no Exif, GPS or IPTC fields");
    for (const auto tag :
         {tag::make, tag::model, tag::software, tag::dateTime, tag::artist, tag::copyright})
        require(!properties.text(Group::tiff, tag), "a copy has no fields about its origin");
}

// What a viewer would ask of a picture.
std::optional<std::uint32_t> look(const ImageFormat& format, ByteSource& source)
{
    const auto frames = format.countFrames(source);
    format.readProperties(source, 0);
    if (!frames.ok())
        return std::nullopt;
    if (frames.value() > 1)
        format.readProperties(source, frames.value() - 1);
    return frames.value();
}

std::optional<Bytes> cleanCopy(const ImageFormat& format, ByteSource& source)
{
    const auto plan = format.planCleanCopy(source);
    if (!plan.ok())
        return std::nullopt;
    MemorySink sink;
    require(plan.value().writeTo(sink, source).ok(), "what is planned can be written");
    require(sink.content.size() == plan.value().size(), "a copy is as long as planned");
    return std::move(sink.content);
}

void checkCopy(const ImageFormat& format, ByteSpan copy, std::optional<std::uint32_t> frames)
{
    StrictSource source(copy);
    require(formatOf(source) == &format, "a copy is of the type of its original");
    require(format.checkHeader(source).ok(), "a copy can be opened");
    require(look(format, source) == frames, "a copy has the frames of its original");
    for (std::uint32_t frame = 0; frame < std::min(frames.value_or(1), lookedAt); ++frame)
        checkNothingRevealed(format.readProperties(source, frame));
    const auto blocks = format.split(source);
    require(blocks.ok(), "a copy can be split");
    checkBlocks(blocks.value(), copy.size());
    const auto again = cleanCopy(format, source);
    require(again.has_value(), "a copy can be cleaned");
    require(std::ranges::equal(*again, copy), "cleaning a copy changes nothing");
}

} // namespace

void checkPicture(const ImageFormat& format, ByteSpan bytes)
{
    StrictSource source(bytes);
    if (formatOf(source) != &format) // A parser is only ever called behind its signature.
        return;
    const auto frames = look(format, source);
    const auto blocks = format.split(source);
    if (blocks.ok())
        checkBlocks(blocks.value(), bytes.size());
    if (!format.checkHeader(source).ok())
        return;
    const auto copy = cleanCopy(format, source);
    if (!copy)
        return;
    require(blocks.ok(), "what can be cleaned can be split");
    checkCopy(format, *copy, frames);
    checkSamples(bytes, *copy);
}

} // namespace nullprint::fuzz
