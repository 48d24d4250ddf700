// Reads a ZIP archive from its end: the end record leads to the central directory, which has one
// header per entry, which leads to the entry. Numbers such as 4.3.16 are those of APPNOTE.TXT,
// https://pkware.cachefly.net/webdocs/casestudies/APPNOTE.TXT.
#include "engine/package/PackageReader.h"

#include "engine/package/PartStream.h"
#include "engine/support/ByteCursor.h"

#include <algorithm>
#include <unordered_set>

namespace nullprint {
namespace {

constexpr Error notZIP{"it is not a ZIP archive"};
constexpr Error damaged{"it is damaged or cut short"};
constexpr Error tooLarge{"it is larger than it may be"};

constexpr const char* encryptedPart = "a part of it is encrypted";
constexpr const char* unknownMethod = "a part of it is packed in an unsupported way";
constexpr const char* unsafeName = "a part of it has an unsafe name";
constexpr const char* wrongSize = "a part of it is damaged";

constexpr std::string_view entrySignature{"PK\x03\x04"};
constexpr std::string_view directorySignature{"PK\x01\x02"};
constexpr std::string_view endSignature{"PK\x05\x06"};
constexpr std::string_view wideEndSignature{"PK\x06\x06"};
constexpr std::string_view wideEndLocatorSignature{"PK\x06\x07"};

// What password-protected documents and those of before 2007 begin with.
constexpr std::string_view compoundFileSignature{"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"};

constexpr std::uint64_t endBytes = 22;            // 4.3.16, without the comment.
constexpr std::uint64_t wideEndLocatorBytes = 20; // 4.3.15.
constexpr std::uint64_t wideEndBytes = 56;        // 4.3.14.
constexpr std::uint64_t commentBytes = 0xFFFF;

// Stands where the number is too wide, and the true one is in a record of its own (4.4.1.4).
constexpr std::uint16_t seeElsewhere16 = 0xFFFF;
constexpr std::uint32_t seeElsewhere32 = 0xFFFFFFFF;
constexpr std::uint16_t wideNumbersField = 0x0001; // 4.5.3.

// 4.4.4.
constexpr unsigned encryptedFlag = 1U << 0U;
constexpr unsigned strongEncryptionFlag = 1U << 6U;
constexpr unsigned utf8Flag = 1U << 11U;
constexpr unsigned maskedHeaderFlag = 1U << 13U;

// 4.4.5.
constexpr std::uint16_t methodStored = 0;
constexpr std::uint16_t methodDeflated = 8;

// Deflate's shortest code for its longest match: two bits for 258 bytes.
constexpr std::uint64_t highestRatio = 1032;

// Where the central directory is. Offsets in the archive count from `base`, which is not the
// file's start when something was put before the archive.
struct Directory {
    ByteRange range;
    std::uint64_t count = 0;
    std::uint64_t base = 0;
};

// 4.3.12, as far as it matters.
struct Entry {
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t checksum = 0;
    std::uint64_t packedBytes = 0;
    std::uint64_t sizeBytes = 0;
    std::uint64_t offset = 0;
    Bytes name;
};

bool hasAt(ByteSource& archive, std::uint64_t offset, std::string_view signature)
{
    const auto bytes = archive.view(offset, signature.size());
    return bytes.ok() && asText(bytes.value()) == signature;
}

Error complaintAboutNoEnd(ByteSource& archive)
{
    if (hasAt(archive, 0, compoundFileSignature))
        return {"it is protected by a password, or in an older format"};
    return hasAt(archive, 0, entrySignature) ? damaged : notZIP;
}

// The end record is followed by nothing but its comment, and by what was added to the file.
Result<std::uint64_t> findEnd(ByteSource& archive)
{
    const std::uint64_t size = archive.size();
    if (size < endBytes)
        return complaintAboutNoEnd(archive);
    const std::uint64_t length = std::min(size, endBytes + commentBytes);
    const auto tail = NP_TRY(archive.view(size - length, static_cast<std::size_t>(length)));
    const std::size_t place =
        asText(tail).rfind(endSignature, static_cast<std::size_t>(length - endBytes));
    if (place == std::string_view::npos)
        return complaintAboutNoEnd(archive);
    return size - length + place;
}

// 4.3.14, found by 4.3.15, which stands right before the end record at `end`.
Result<std::optional<Directory>> readWideEnd(ByteSource& archive, std::uint64_t end)
{
    if (end < wideEndLocatorBytes ||
        !hasAt(archive, end - wideEndLocatorBytes, wideEndLocatorSignature))
        return std::optional<Directory>();
    const std::uint64_t locatorPlace = end - wideEndLocatorBytes;
    ByteCursor locator(archive, {locatorPlace, wideEndLocatorBytes}, ByteOrder::little);
    NP_TRY(locator.skip(8)); // Signature, number of the disk.
    std::uint64_t place = NP_TRY(locator.u64());
    // With something put before the archive, the record is where it usually is.
    if (!hasAt(archive, place, wideEndSignature) && locatorPlace >= wideEndBytes)
        place = locatorPlace - wideEndBytes;
    if (place > locatorPlace || locatorPlace - place < wideEndBytes ||
        !hasAt(archive, place, wideEndSignature))
        return damaged;
    ByteCursor record(archive, {place, wideEndBytes}, ByteOrder::little);
    NP_TRY(record.skip(32)); // Signature, its own length, versions, disks, entries on this disk.
    Directory directory;
    directory.count = NP_TRY(record.u64());
    directory.range.length = NP_TRY(record.u64());
    directory.range.offset = NP_TRY(record.u64());
    directory.base = place; // For the moment: the directory's end.
    return std::optional(directory);
}

// 4.3.16.
Result<Directory> readEnd(ByteSource& archive, std::uint64_t end)
{
    ByteCursor record(archive, {end, endBytes}, ByteOrder::little);
    NP_TRY(record.skip(4));
    const std::uint16_t disk = NP_TRY(record.u16());
    const std::uint16_t directoryDisk = NP_TRY(record.u16());
    NP_TRY(record.skip(2)); // Entries on this disk.
    Directory directory;
    directory.count = NP_TRY(record.u16());
    directory.range.length = NP_TRY(record.u32());
    directory.range.offset = NP_TRY(record.u32());
    directory.base = end;
    const bool isWide = directory.count == seeElsewhere16 ||
                        directory.range.length == seeElsewhere32 ||
                        directory.range.offset == seeElsewhere32;
    if (isWide) {
        const auto wide = NP_TRY(readWideEnd(archive, end));
        if (wide)
            return *wide;
    }
    return disk == directoryDisk && disk == 0 ? Result<Directory>(directory) : damaged;
}

// Finds out where the directory really is, and with it where offsets count from.
Result<Directory> placeDirectory(ByteSource& archive, Directory directory)
{
    const std::uint64_t end = std::exchange(directory.base, 0);
    ByteRange& range = directory.range;
    if (range.length > end || range.offset > end - range.length)
        return damaged;
    if (directory.count == 0 && range.length == 0)
        return directory;
    if (hasAt(archive, range.offset, directorySignature))
        return directory;
    directory.base = end - range.length - range.offset;
    range.offset += directory.base;
    return hasAt(archive, range.offset, directorySignature) ? Result<Directory>(directory)
                                                            : damaged;
}

Result<Directory> findDirectory(ByteSource& archive)
{
    const std::uint64_t end = NP_TRY(findEnd(archive));
    const Directory announced = NP_TRY(readEnd(archive, end));
    const Directory directory = NP_TRY(placeDirectory(archive, announced));
    if (directory.range.length > limits::metadataBytes || directory.count > limits::packageParts)
        return tooLarge;
    return directory;
}

// 4.5.3: those numbers that had no room, in this order.
Result<Done> readWideNumbers(ByteCursor field, Entry& entry)
{
    for (std::uint64_t* number : {&entry.sizeBytes, &entry.packedBytes, &entry.offset}) {
        if (*number == seeElsewhere32)
            *number = NP_TRY(field.u64());
    }
    return Done{};
}

// 4.5.1: fields of a number, a length and so many bytes. What does not fit is nobody's.
Result<Done> readExtraFields(ByteCursor fields, Entry& entry)
{
    constexpr std::uint64_t headBytes = 4;
    while (fields.remaining() >= headBytes) {
        const std::uint16_t number = NP_TRY(fields.u16());
        const std::uint16_t length = NP_TRY(fields.u16());
        if (length > fields.remaining())
            break;
        const ByteCursor field = NP_TRY(fields.sub(length));
        if (number == wideNumbersField)
            return readWideNumbers(field, entry);
    }
    return Done{};
}

// 4.3.12.
Result<Entry> readEntry(ByteCursor& directory)
{
    NP_TRY(directory.skip(8)); // Signature, versions.
    Entry entry;
    entry.flags = NP_TRY(directory.u16());
    entry.method = NP_TRY(directory.u16());
    NP_TRY(directory.skip(4)); // Time, date.
    entry.checksum = NP_TRY(directory.u32());
    entry.packedBytes = NP_TRY(directory.u32());
    entry.sizeBytes = NP_TRY(directory.u32());
    const std::uint16_t nameLength = NP_TRY(directory.u16());
    const std::uint16_t extraLength = NP_TRY(directory.u16());
    const std::uint16_t commentLength = NP_TRY(directory.u16());
    NP_TRY(directory.skip(8)); // Disk, attributes.
    entry.offset = NP_TRY(directory.u32());
    entry.name = NP_TRY(directory.bytes(nameLength));
    const ByteCursor fields = NP_TRY(directory.sub(extraLength));
    NP_TRY(readExtraFields(fields, entry));
    NP_TRY(directory.skip(commentLength));
    return entry;
}

// 4.3.7: where the entry's bytes are, from its header to their end. They end before `end`.
Result<ByteRange> storedBytes(ByteSource& archive, std::uint64_t start, ByteRange within)
{
    if (start < within.offset || start >= within.end())
        return damaged;
    ByteCursor header(archive, {start, within.end() - start}, ByteOrder::little);
    if (!header.startsWith(entrySignature))
        return damaged;
    NP_TRY(header.skip(26)); // All that the directory has told already.
    const std::uint16_t nameLength = NP_TRY(header.u16());
    const std::uint16_t extraLength = NP_TRY(header.u16());
    NP_TRY(header.skip(nameLength));
    NP_TRY(header.skip(extraLength));
    return header.rest();
}

// The steps of a path; nothing when it leads out of its folder or cannot be a path.
std::optional<std::string> safeName(std::string_view stored)
{
    constexpr std::size_t driveLength = 2; // "C:"
    std::string separated(stored);
    std::ranges::replace(separated, '\\', '/');
    if (separated.starts_with('/') || separated.find('\0') != std::string::npos ||
        (separated.size() >= driveLength && separated[1] == ':'))
        return std::nullopt;
    std::string name;
    std::string_view rest(separated);
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find('/'), rest.size());
        const std::string_view step = rest.substr(0, length);
        rest.remove_prefix(std::min(length + 1, rest.size()));
        if (step == "..")
            return std::nullopt;
        if (step.empty() || step == ".")
            continue;
        name.append(name.empty() ? "" : "/").append(step);
    }
    return name.empty() ? std::nullopt : std::optional(std::move(name));
}

bool isFolder(const Entry& entry)
{
    return !entry.name.empty() && (entry.name.back() == '/' || entry.name.back() == '\\');
}

const char* problemOf(const Entry& entry)
{
    constexpr unsigned anyEncryption = encryptedFlag | strongEncryptionFlag | maskedHeaderFlag;
    if ((entry.flags & anyEncryption) != 0)
        return encryptedPart;
    if (entry.method == methodStored)
        return entry.sizeBytes == entry.packedBytes ? nullptr : wrongSize;
    if (entry.method != methodDeflated)
        return unknownMethod;
    // No stream of this length can hold as much, so nobody needs to make room for it.
    return entry.sizeBytes / highestRatio > entry.packedBytes ? wrongSize : nullptr;
}

PackagePart partOf(const Entry& entry, std::uint64_t dataOffset)
{
    PackagePart part;
    auto name = safeName(asText(entry.name));
    part.problem = name ? problemOf(entry) : unsafeName;
    part.name = name ? *std::move(name) : std::string(asText(entry.name));
    part.usesUTF8 = (entry.flags & utf8Flag) != 0;
    part.isDeflated = entry.method == methodDeflated;
    part.checksum = entry.checksum;
    part.sizeBytes = entry.sizeBytes;
    part.stored = {dataOffset, entry.packedBytes};
    return part;
}

// Entries that share bytes make small archives unpack to enormous ones, and are no one's mistake.
bool areApart(std::vector<ByteRange> places)
{
    std::ranges::sort(places, {}, &ByteRange::offset);
    const auto meet = [](const ByteRange& left, const ByteRange& right) {
        return left.end() > right.offset;
    };
    return std::ranges::adjacent_find(places, meet) == places.end();
}

// Unpackers overwrite, so the last one is what a program that opens the document gets.
void dropReplacedParts(std::vector<PackagePart>& parts)
{
    std::unordered_set<std::string_view> names;
    std::vector<bool> isReplaced(parts.size());
    for (std::size_t index = parts.size(); index-- > 0;)
        isReplaced[index] = !names.insert(parts[index].name).second;
    std::vector<PackagePart> kept;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        if (!isReplaced[index])
            kept.push_back(std::move(parts[index]));
    }
    parts = std::move(kept);
}

Result<std::vector<PackagePart>> readParts(ByteSource& archive, const Directory& directory)
{
    std::vector<PackagePart> parts;
    std::vector<ByteRange> places;
    const ByteRange entries{directory.base, directory.range.offset - directory.base};
    ByteCursor cursor(archive, directory.range, ByteOrder::little);
    std::uint64_t count = 0;
    for (; cursor.startsWith(directorySignature); ++count) {
        if (count == limits::packageParts)
            return tooLarge;
        const Entry entry = NP_TRY(readEntry(cursor));
        if (entry.offset > entries.length)
            return damaged;
        const std::uint64_t start = entries.offset + entry.offset;
        const ByteRange rest = NP_TRY(storedBytes(archive, start, entries));
        if (entry.packedBytes > rest.length)
            return damaged;
        places.push_back({start, rest.offset + entry.packedBytes - start});
        if (!isFolder(entry))
            parts.push_back(partOf(entry, rest.offset));
    }
    // Writers without wide records count in 16 bits.
    if (static_cast<std::uint16_t>(count) != static_cast<std::uint16_t>(directory.count))
        return damaged;
    if (!areApart(std::move(places)))
        return damaged;
    dropReplacedParts(parts);
    return parts;
}

// A deflated part, as far as it has been looked into.
class UnpackedSource final : public ByteSource {
public:
    UnpackedSource(ByteSource& archive, const PackagePart& part, std::uint64_t most)
        : stream(archive, part)
        , sizeBytes(part.sizeBytes)
        , most(most)
    {
    }

    std::uint64_t size() const override { return sizeBytes; }

    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override
    {
        NP_TRY(unpackTo(offset, length));
        return ByteSpan(content).subspan(static_cast<std::size_t>(offset), length);
    }

    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override
    {
        NP_TRY(unpackTo(offset, target.size()));
        const auto place = ByteSpan(content).subspan(static_cast<std::size_t>(offset));
        std::ranges::copy(place.first(target.size()), target.begin());
        return Done{};
    }

private:
    Result<Done> unpackTo(std::uint64_t offset, std::size_t length)
    {
        if (!holds({offset, length}) || offset + length > most)
            return Error{"bytes past what may be unpacked", offset};
        const auto end = static_cast<std::size_t>(offset + length);
        while (content.size() < end) {
            const std::size_t start = content.size();
            const std::uint64_t step = std::max<std::uint64_t>(end - start, stepBytes);
            const std::uint64_t room = std::min(sizeBytes, most) - start;
            content.resize(start + static_cast<std::size_t>(std::min(step, room)));
            const auto made = stream.read(std::span(content).subspan(start));
            content.resize(start + (made.ok() ? made.value() : 0));
            if (content.size() < end && (!made.ok() || made.value() == 0))
                return Error{wrongSize, offset};
        }
        return Done{};
    }

    static constexpr std::uint64_t stepBytes = 16UL * 1024;

    PartStream stream;
    std::uint64_t sizeBytes;
    std::uint64_t most;
    Bytes content;
};

} // namespace

Result<PackageReader> PackageReader::open(ByteSource& archive)
{
    const Directory directory = NP_TRY(findDirectory(archive));
    auto parts = readParts(archive, directory);
    if (!parts.ok())
        return parts.error().what == tooLarge.what ? tooLarge : damaged;
    PackageReader reader(archive);
    reader.contents = std::move(parts).value();
    return reader;
}

const PackagePart* PackageReader::find(std::string_view name) const
{
    const auto found = std::ranges::find(contents, name, &PackagePart::name);
    return found == contents.end() ? nullptr : &*found;
}

Result<Done> PackageReader::check() const
{
    std::uint64_t unpacked = 0;
    for (const PackagePart& part : contents) {
        if (part.problem != nullptr)
            return Error{part.problem, part.stored.offset};
        if (!part.isDeflated)
            continue;
        if (part.sizeBytes > limits::unpackedBytes - unpacked)
            return tooLarge;
        unpacked += part.sizeBytes;
    }
    return Done{};
}

Result<Bytes> PackageReader::read(const PackagePart& part, std::uint64_t most) const
{
    if (part.problem != nullptr)
        return Error{part.problem, part.stored.offset};
    if (part.sizeBytes > most)
        return Error{"a part of it is larger than it may be", part.stored.offset};
    PartStream stream(*archive, part);
    Bytes content(static_cast<std::size_t>(part.sizeBytes));
    NP_TRY(stream.read(content));
    NP_TRY(stream.checkEnd());
    return content;
}

Result<Bytes> PackageReader::readHead(const PackagePart& part, std::uint64_t most) const
{
    if (part.problem != nullptr)
        return Error{part.problem, part.stored.offset};
    PartStream stream(*archive, part);
    Bytes head(static_cast<std::size_t>(std::min(part.sizeBytes, most)));
    head.resize(NP_TRY(stream.read(head)));
    return head;
}

Result<std::unique_ptr<ByteSource>> PackageReader::openPart(const PackagePart& part,
                                                            std::uint64_t most) const
{
    if (part.problem != nullptr)
        return Error{part.problem, part.stored.offset};
    std::unique_ptr<ByteSource> source;
    if (part.isDeflated) {
        source = std::make_unique<UnpackedSource>(*archive, part, most);
    } else {
        source = std::make_unique<PartSource>(*archive, part.stored);
    }
    return source;
}

Result<Done> PackageReader::verify(const PackagePart& part) const
{
    if (part.problem != nullptr)
        return Error{part.problem, part.stored.offset};
    PartStream stream(*archive, part);
    Bytes window(limits::windowBytes);
    while (NP_TRY(stream.read(window)) > 0)
        continue;
    return stream.checkEnd();
}

} // namespace nullprint
