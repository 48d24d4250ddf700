// Sizes and checksum of a part are known before it is written, so that nothing needs to be written
// twice and there are no data descriptors.
#include "engine/package/PackageWriter.h"

#include "engine/package/ZIPRecords.h"
#include "engine/support/Deflate.h"

#include <algorithm>

namespace nullprint {
namespace {

constexpr std::uint16_t usualVersion = 20; // 4.4.3.2: deflate, folders in names.
constexpr std::uint16_t wideVersion = 45;  // The same: numbers of 64 bits.
constexpr std::uint16_t noTime = 0;
constexpr std::uint16_t firstDate = 1U << 5U | 1U; // 1980-01-01, the earliest there is (4.4.6).

class Record {
public:
    explicit Record(std::string_view signature) { append(bytes, signature); }
    Record& u16(std::uint64_t value)
    {
        append16(bytes, static_cast<std::uint16_t>(value), ByteOrder::little);
        return *this;
    }
    Record& u32(std::uint64_t value)
    {
        append32(bytes, static_cast<std::uint32_t>(value), ByteOrder::little);
        return *this;
    }
    Record& u64(std::uint64_t value)
    {
        append64(bytes, value, ByteOrder::little);
        return *this;
    }
    Record& text(std::string_view value)
    {
        append(bytes, value);
        return *this;
    }

    Bytes bytes;
};

bool isWide(std::uint64_t number)
{
    return number >= zip::seeElsewhere32;
}

std::uint64_t narrow32(std::uint64_t number)
{
    return std::min<std::uint64_t>(number, zip::seeElsewhere32);
}

std::uint64_t narrow16(std::uint64_t number)
{
    return std::min<std::uint64_t>(number, zip::seeElsewhere16);
}

// 4.5.3. A header of an entry has both sizes or none; one of the directory, what is too wide.
Bytes wideNumbers(std::span<const std::uint64_t> numbers)
{
    if (numbers.empty())
        return {};
    Record field("");
    field.u16(zip::wideNumbersField).u16(numbers.size() * sizeof(std::uint64_t));
    for (const std::uint64_t number : numbers)
        field.u64(number);
    return field.bytes;
}

// 4.4.4. Names that every encoding spells alike need not tell how the writer went about them.
std::uint16_t flagsOf(const PackagePart& part)
{
    const auto isASCII = [](char letter) { return static_cast<Byte>(letter) < 0x80; };
    return part.usesUTF8 && !std::ranges::all_of(part.name, isASCII) ? zip::utf8Flag : 0;
}

// What 4.3.7 and 4.3.12 have in common, from the flags to the lengths.
void describe(Record& record, const PackagePart& part, const Bytes& extra)
{
    record.u16(flagsOf(part))
        .u16(part.isDeflated ? zip::methodDeflated : zip::methodStored)
        .u16(noTime)
        .u16(firstDate)
        .u32(part.checksum);
    const bool isSizeWide = isWide(part.sizeBytes) || isWide(part.stored.length);
    record.u32(isSizeWide ? zip::seeElsewhere32 : part.stored.length)
        .u32(isSizeWide ? zip::seeElsewhere32 : part.sizeBytes)
        .u16(part.name.size())
        .u16(extra.size());
}

std::vector<std::uint64_t> wideSizes(const PackagePart& part)
{
    if (!isWide(part.sizeBytes) && !isWide(part.stored.length))
        return {};
    return {part.sizeBytes, part.stored.length};
}

// 4.3.7.
Bytes entryHeader(const PackagePart& part)
{
    const Bytes extra = wideNumbers(wideSizes(part));
    Record record(zip::entrySignature);
    record.u16(extra.empty() ? usualVersion : wideVersion);
    describe(record, part, extra);
    record.text(part.name).text(asText(extra));
    return record.bytes;
}

// 4.3.12.
Bytes directoryHeader(const PackagePart& part, std::uint64_t offset)
{
    std::vector<std::uint64_t> wide = wideSizes(part);
    if (isWide(offset))
        wide.push_back(offset);
    const Bytes extra = wideNumbers(wide);
    const std::uint16_t version = extra.empty() ? usualVersion : wideVersion;
    Record record(zip::directorySignature);
    record.u16(version).u16(version);
    describe(record, part, extra);
    record.u16(0).u16(0).u16(0).u32(0); // Comment, disk, attributes.
    record.u32(narrow32(offset)).text(part.name).text(asText(extra));
    return record.bytes;
}

// 4.3.14 and 4.3.15, for archives that need them.
Bytes wideEnd(std::uint64_t count, std::uint64_t length, std::uint64_t offset)
{
    constexpr std::uint64_t uncounted = 12; // Signature and this length.
    Record record(zip::wideEndSignature);
    record.u64(zip::wideEndBytes - uncounted).u16(wideVersion).u16(wideVersion).u32(0).u32(0);
    record.u64(count).u64(count).u64(length).u64(offset);
    record.text(zip::wideEndLocatorSignature).u32(0).u64(offset + length).u32(1);
    return record.bytes;
}

// 4.3.16.
Bytes endOfArchive(std::uint64_t count, std::uint64_t length, std::uint64_t offset)
{
    Bytes end;
    if (count >= zip::seeElsewhere16 || isWide(length) || isWide(offset))
        end = wideEnd(count, length, offset);
    Record record(zip::endSignature);
    record.u16(0).u16(0).u16(narrow16(count)).u16(narrow16(count));
    record.u32(narrow32(length)).u32(narrow32(offset)).u16(0);
    append(end, record.bytes);
    return end;
}

// Whether deflating is worth trying. Coded pictures never get smaller, and the middle of one, which
// is far from headers and padding, shows it.
bool looksCompressible(ByteSpan content)
{
    constexpr std::size_t sampleBytes = 8UL * 1024;
    constexpr std::size_t leastGain = sampleBytes / 64;
    if (content.size() < 4 * sampleBytes)
        return true;
    const ByteSpan sample = content.subspan(content.size() / 2, sampleBytes);
    return deflate(sample, sampleBytes - leastGain).has_value();
}

} // namespace

Result<Done> PackageWriter::begin(const PackagePart& part)
{
    const Bytes header = entryHeader(part);
    append(directory, directoryHeader(part, writtenBytes));
    ++count;
    writtenBytes += header.size() + part.stored.length;
    return sink->write(header);
}

Result<Done> PackageWriter::copy(const PackageReader& reader, const PackagePart& part)
{
    PackagePart taken = part;
    // Nothing at all is no deflate stream, though some writers call it one.
    taken.isDeflated = part.isDeflated && part.stored.length > 0;
    NP_TRY(begin(taken));
    return sink->copy(reader.source(), part.stored);
}

Result<Done> PackageWriter::replace(const PackagePart& part, ByteSpan content)
{
    std::optional<Bytes> deflated;
    if (!content.empty() && looksCompressible(content))
        deflated = deflate(content, content.size() - 1);
    const ByteSpan packed = deflated ? ByteSpan(*deflated) : content;
    PackagePart fresh;
    fresh.name = part.name;
    fresh.usesUTF8 = part.usesUTF8;
    fresh.isDeflated = deflated.has_value();
    fresh.checksum = checksum(content);
    fresh.sizeBytes = content.size();
    fresh.stored.length = packed.size();
    NP_TRY(begin(fresh));
    return sink->write(packed);
}

Result<Done> PackageWriter::finish()
{
    NP_TRY(sink->write(directory));
    return sink->write(endOfArchive(count, directory.size(), writtenBytes));
}

} // namespace nullprint
