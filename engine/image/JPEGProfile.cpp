#include "engine/image/JPEGProfile.h"

#include "engine/image/ICC.h"
#include "engine/support/ByteCursor.h"

#include <algorithm>

namespace nullprint::image {
namespace {

constexpr std::string_view profileName("ICC_PROFILE\0", 12);
constexpr Byte marker = 0xE2;            // APP2
constexpr std::uint64_t markerBytes = 4; // With the length.
constexpr std::size_t mostParts = 255;   // They are counted in a byte.
constexpr std::uint64_t beginning = 64;  // More than is looked at.

} // namespace

Result<JPEGProfile::Part> JPEGProfile::readPart(ByteSource& source, ByteRange payload)
{
    ByteCursor cursor(source, payload);
    NP_TRY(cursor.skip(profileName.size()));
    Part part;
    part.number = NP_TRY(cursor.u8());
    part.count = NP_TRY(cursor.u8());
    part.payload = payload;
    part.data = cursor.rest();
    return part;
}

Result<JPEGProfile> JPEGProfile::read(ByteSource& source, std::span<const ByteRange> segments)
{
    JPEGProfile profile;
    if (segments.size() > mostParts)
        return profile;
    for (const ByteRange& segment : segments) {
        const auto part = readPart(source, segment);
        if (part.ok()) // A segment without its numbers is none of a profile's.
            profile.parts.push_back(part.value());
    }
    profile.writtenCount = static_cast<Byte>(profile.parts.size());
    std::ranges::sort(profile.parts, {}, &Part::number);
    profile.cutTo(profile.isWhole() ? NP_TRY(profile.profileSize(source)) : 0);
    return profile;
}

bool JPEGProfile::isWhole() const
{
    Byte expected = 0;
    return std::ranges::all_of(parts, [&](const Part& part) {
        return part.count == writtenCount && part.number == ++expected;
    });
}

// 0 when it is no profile.
Result<std::uint64_t> JPEGProfile::profileSize(ByteSource& source) const
{
    Bytes head;
    for (const Part& part : parts) {
        if (head.size() < beginning) {
            const std::uint64_t length = std::min(part.data.length, beginning);
            append(head, NP_TRY(source.copyOf({part.data.offset, length})));
        }
    }
    MemorySource memory(head);
    return std::uint64_t{profileBytes(ByteCursor(memory)).value_or(0)};
}

void JPEGProfile::cutTo(std::uint64_t size)
{
    for (Part& part : parts) {
        part.data.length = std::min(part.data.length, size);
        size -= part.data.length;
    }
    std::erase_if(parts, [](const Part& part) { return part.data.length == 0; });
}

// Numbers are written fresh where parts are gone, and lengths where one is cut.
void JPEGProfile::planSegment(ByteRange payload, OutputPlan& plan) const
{
    const auto part = std::ranges::find(parts, payload.offset, [](const Part& each) {
        return each.payload.offset;
    });
    if (part == parts.end())
        return;
    const auto number = static_cast<Byte>(part - parts.begin() + 1);
    const auto count = static_cast<Byte>(parts.size());
    if (part->data.end() == payload.end() && number == part->number && count == part->count) {
        plan.copy({payload.offset - markerBytes, markerBytes + payload.length});
        return;
    }
    const std::uint64_t length = 2 + profileName.size() + 2 + part->data.length;
    Bytes head{0xFF, marker};
    append16(head, static_cast<std::uint16_t>(length), ByteOrder::big);
    append(head, profileName);
    append(head, Bytes{number, count});
    plan.write(head);
    plan.copy(part->data);
}

} // namespace nullprint::image
