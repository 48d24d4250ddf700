// A ZIP archive is read from its end: the end record leads to the central directory, which has one
// header per entry, which leads to the entry.
#include "engine/package/ZIPDirectory.h"

#include "engine/package/ZIPRecords.h"
#include "engine/support/ByteCursor.h"

#include <algorithm>

namespace nullprint::zip {
namespace {

constexpr Error damaged{"it is damaged or cut short"};
constexpr Error tooLarge{"it is larger than it may be"};

// What password-protected documents and those of before 2007 begin with.
constexpr std::string_view compoundFileSignature{"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"};

constexpr std::uint64_t commentBytes = 0xFFFF;

// What 4.3.16 or 4.3.14, at `place`, tells of the central directory before it.
struct EndRecord {
    std::uint64_t place = 0;
    std::uint64_t count = 0;
    std::uint64_t length = 0;
    std::uint64_t offset = 0;
};

// Where the central directory is. Offsets in the archive count from `base`, which is not the
// file's start when something was put before the archive.
struct Directory {
    std::uint64_t count = 0;
    std::uint64_t base = 0;
    ByteRange range;
};

// A header of the central directory, whose entry has not been looked for yet.
struct Header {
    Entry entry;
    std::uint64_t packedBytes = 0;
    std::uint64_t offset = 0; // Of the entry, from the base of the archive.
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
    return hasAt(archive, 0, entrySignature) ? damaged : Error{"it is not a ZIP archive"};
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
Result<std::optional<EndRecord>> readWideEnd(ByteSource& archive, std::uint64_t end)
{
    if (end < wideEndLocatorBytes ||
        !hasAt(archive, end - wideEndLocatorBytes, wideEndLocatorSignature))
        return std::optional<EndRecord>();
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
    ByteCursor cursor(archive, {place, wideEndBytes}, ByteOrder::little);
    NP_TRY(cursor.skip(32)); // Signature, its own length, versions, disks, entries on this disk.
    EndRecord record;
    record.place = place;
    record.count = NP_TRY(cursor.u64());
    record.length = NP_TRY(cursor.u64());
    record.offset = NP_TRY(cursor.u64());
    return std::optional(record);
}

// 4.3.16.
Result<EndRecord> readEnd(ByteSource& archive, std::uint64_t end)
{
    ByteCursor cursor(archive, {end, endBytes}, ByteOrder::little);
    NP_TRY(cursor.skip(4));
    const std::uint16_t disk = NP_TRY(cursor.u16());
    const std::uint16_t directoryDisk = NP_TRY(cursor.u16());
    NP_TRY(cursor.skip(2)); // Entries on this disk.
    EndRecord record;
    record.place = end;
    record.count = NP_TRY(cursor.u16());
    record.length = NP_TRY(cursor.u32());
    record.offset = NP_TRY(cursor.u32());
    const bool isWide = record.count == seeElsewhere16 || record.length == seeElsewhere32 ||
                        record.offset == seeElsewhere32;
    if (isWide) {
        const auto wide = NP_TRY(readWideEnd(archive, end));
        if (wide)
            return *wide;
    }
    return disk == 0 && directoryDisk == 0 ? Result(record) : damaged;
}

// The directory stands where the end record says, or right before that when something was put
// before the archive and nobody has corrected the offsets.
Result<Directory> placeDirectory(ByteSource& archive, const EndRecord& end)
{
    if (end.length > end.place || end.offset > end.place - end.length)
        return damaged;
    if (end.count == 0 && end.length == 0)
        return Directory{};
    if (hasAt(archive, end.offset, directorySignature))
        return Directory{end.count, 0, {end.offset, end.length}};
    const std::uint64_t before = end.place - end.length;
    if (hasAt(archive, before, directorySignature))
        return Directory{end.count, before - end.offset, {before, end.length}};
    return damaged;
}

Result<Directory> findDirectory(ByteSource& archive)
{
    const std::uint64_t end = NP_TRY(findEnd(archive));
    const EndRecord record = NP_TRY(readEnd(archive, end));
    const Directory directory = NP_TRY(placeDirectory(archive, record));
    if (directory.range.length > limits::metadataBytes || directory.count > limits::packageParts)
        return tooLarge;
    return directory;
}

// 4.5.3: those numbers that had no room, in this order.
Result<Done> readWideNumbers(ByteCursor field, Header& header)
{
    for (std::uint64_t* number : {&header.entry.sizeBytes, &header.packedBytes, &header.offset}) {
        if (*number == seeElsewhere32)
            *number = NP_TRY(field.u64());
    }
    return Done{};
}

// 4.5.1: fields of a number, a length and so many bytes. What does not fit is nobody's.
Result<Done> readExtraFields(ByteCursor fields, Header& header)
{
    constexpr std::uint64_t headBytes = 4;
    while (fields.remaining() >= headBytes) {
        const std::uint16_t number = NP_TRY(fields.u16());
        const std::uint16_t length = NP_TRY(fields.u16());
        if (length > fields.remaining())
            break;
        const ByteCursor field = NP_TRY(fields.sub(length));
        if (number == wideNumbersField)
            return readWideNumbers(field, header);
    }
    return Done{};
}

// 4.3.12.
Result<Header> readHeader(ByteCursor& directory)
{
    NP_TRY(directory.skip(8)); // Signature, versions.
    Header header;
    Entry& entry = header.entry;
    entry.flags = NP_TRY(directory.u16());
    entry.method = NP_TRY(directory.u16());
    NP_TRY(directory.skip(4)); // Time, date.
    entry.checksum = NP_TRY(directory.u32());
    header.packedBytes = NP_TRY(directory.u32());
    entry.sizeBytes = NP_TRY(directory.u32());
    const std::uint16_t nameLength = NP_TRY(directory.u16());
    const std::uint16_t extraLength = NP_TRY(directory.u16());
    const std::uint16_t commentLength = NP_TRY(directory.u16());
    NP_TRY(directory.skip(8)); // Disk, attributes.
    header.offset = NP_TRY(directory.u32());
    const Bytes name = NP_TRY(directory.bytes(nameLength));
    entry.name = asText(name);
    const ByteCursor fields = NP_TRY(directory.sub(extraLength));
    NP_TRY(readExtraFields(fields, header));
    NP_TRY(directory.skip(commentLength));
    return header;
}

Result<std::vector<Header>> readHeaders(ByteSource& archive, const Directory& directory)
{
    ByteCursor cursor(archive, directory.range, ByteOrder::little);
    std::vector<Header> headers;
    while (cursor.startsWith(directorySignature)) {
        if (headers.size() == limits::packageParts)
            return tooLarge;
        headers.push_back(NP_TRY(readHeader(cursor)));
    }
    // Writers that know no wide records count in 16 bits.
    if (static_cast<std::uint16_t>(headers.size()) != static_cast<std::uint16_t>(directory.count))
        return damaged;
    return headers;
}

// 4.3.7. Fills in where the entry's bytes are, and returns them along with those of its header.
Result<ByteRange> placeEntry(ByteSource& archive, const Directory& directory, Header& header)
{
    const std::uint64_t room = directory.range.offset - directory.base;
    if (header.offset > room)
        return damaged;
    const std::uint64_t start = directory.base + header.offset;
    ByteCursor cursor(archive, {start, room - header.offset}, ByteOrder::little);
    if (!cursor.startsWith(entrySignature))
        return damaged;
    NP_TRY(cursor.skip(26)); // What the central directory has told already.
    const std::uint16_t nameLength = NP_TRY(cursor.u16());
    const std::uint16_t extraLength = NP_TRY(cursor.u16());
    NP_TRY(cursor.skip(nameLength));
    NP_TRY(cursor.skip(extraLength));
    header.entry.stored = NP_TRY(cursor.skip(header.packedBytes));
    return ByteRange{start, cursor.position() - start};
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

Result<std::vector<Entry>> readEntries(ByteSource& archive, const Directory& directory)
{
    auto headers = NP_TRY(readHeaders(archive, directory));
    std::vector<Entry> entries;
    std::vector<ByteRange> places;
    for (Header& header : headers) {
        places.push_back(NP_TRY(placeEntry(archive, directory, header)));
        entries.push_back(std::move(header.entry));
    }
    return areApart(std::move(places)) ? Result(std::move(entries)) : damaged;
}

} // namespace

Result<std::vector<Entry>> readDirectory(ByteSource& archive)
{
    const Directory directory = NP_TRY(findDirectory(archive));
    auto entries = readEntries(archive, directory);
    // Whatever record ended too early, and where, is nothing to the user.
    if (!entries.ok() && entries.error().what != tooLarge.what)
        return Error{damaged.what, entries.error().offset};
    return entries;
}

} // namespace nullprint::zip
