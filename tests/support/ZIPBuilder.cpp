#include "tests/support/ZIPBuilder.h"

#include "engine/support/Deflate.h"
#include "tests/support/Joined.h"

namespace nullprint::tests {
namespace {

void text(Bytes& out, std::string_view more)
{
    append(out, more);
}
void u16(Bytes& out, std::uint64_t value)
{
    append16(out, static_cast<std::uint16_t>(value), ByteOrder::little);
}
void u32(Bytes& out, std::uint64_t value)
{
    append32(out, static_cast<std::uint32_t>(value), ByteOrder::little);
}
void u64(Bytes& out, std::uint64_t value)
{
    append64(out, value, ByteOrder::little);
}

Bytes packedBytes(const ZIPEntry& entry)
{
    if (entry.packed)
        return *entry.packed;
    return entry.isDeflated ? deflate(entry.content, SIZE_MAX).value() : entry.content;
}

std::uint32_t sizeOf(const ZIPEntry& entry)
{
    return entry.size.value_or(static_cast<std::uint32_t>(entry.content.size()));
}

std::uint32_t packedSizeOf(const ZIPEntry& entry, const Bytes& packed)
{
    return entry.packedSize.value_or(static_cast<std::uint32_t>(packed.size()));
}

void checksumAndSizes(Bytes& out, const ZIPEntry& entry, const Bytes& packed)
{
    u32(out, entry.checksum.value_or(checksum(entry.content)));
    u32(out, entry.isWide ? 0xFFFFFFFF : packedSizeOf(entry, packed));
    u32(out, entry.isWide ? 0xFFFFFFFF : sizeOf(entry));
}

Bytes extraOf(const ZIPEntry& entry, const Bytes& packed, std::optional<std::uint64_t> offset)
{
    Bytes extra = entry.extra;
    if (entry.isWide) {
        u16(extra, 1);
        u16(extra, offset ? 24 : 16);
        u64(extra, sizeOf(entry));
        u64(extra, packedSizeOf(entry, packed));
        if (offset)
            u64(extra, *offset);
    }
    return extra;
}

void common(Bytes& out, const ZIPEntry& entry)
{
    u16(out, 20);
    u16(out, entry.flags | (entry.hasDescriptor ? 8U : 0U));
    u16(out, entry.method.value_or(entry.isDeflated ? 8 : 0));
    u16(out, 0x6B3D); // Some afternoon,
    u16(out, 0x5A21); // some day in 2025.
}

Bytes localHeader(const ZIPEntry& entry, const Bytes& packed)
{
    const std::string name = entry.localName.value_or(entry.name);
    const Bytes extra = extraOf(entry, packed, std::nullopt);
    Bytes out;
    text(out, "PK\x03\x04");
    common(out, entry);
    if (entry.hasDescriptor) {
        out.resize(out.size() + 12);
    } else {
        checksumAndSizes(out, entry, packed);
    }
    u16(out, name.size());
    u16(out, extra.size());
    text(out, name);
    append(out, extra);
    return out;
}

Bytes descriptor(const ZIPEntry& entry, const Bytes& packed)
{
    Bytes out;
    text(out, "PK\x07\x08");
    checksumAndSizes(out, entry, packed);
    return out;
}

Bytes directoryHeader(const ZIPEntry& entry, const Bytes& packed, std::uint32_t offset)
{
    const Bytes extra = extraOf(entry, packed, offset);
    Bytes out;
    text(out, "PK\x01\x02");
    u16(out, 0x0314); // Made on Unix.
    common(out, entry);
    checksumAndSizes(out, entry, packed);
    u16(out, entry.name.size());
    u16(out, extra.size());
    u16(out, entry.comment.size());
    u16(out, 0); // Disk.
    u16(out, 0);
    u32(out, entry.attributes);
    u32(out, entry.isWide ? 0xFFFFFFFF : offset);
    text(out, entry.name);
    append(out, extra);
    text(out, entry.comment);
    return out;
}

} // namespace

ZIPEntry storedEntry(std::string name, std::string_view content)
{
    ZIPEntry entry;
    entry.name = std::move(name);
    entry.content = bytesOf(content);
    return entry;
}

ZIPEntry deflatedEntry(std::string name, std::string_view content)
{
    ZIPEntry entry = storedEntry(std::move(name), content);
    entry.isDeflated = true;
    return entry;
}

ZIPBuilder& ZIPBuilder::add(const ZIPEntry& entry)
{
    const Bytes packed = packedBytes(entry);
    const auto offset = static_cast<std::uint32_t>(body.size());
    append(body, localHeader(entry, packed));
    append(body, packed);
    if (entry.hasDescriptor)
        append(body, descriptor(entry, packed));
    append(directory, directoryHeader(entry, packed, entry.offset.value_or(offset)));
    ++count;
    return *this;
}

ZIPBuilder& ZIPBuilder::gap(std::string_view bytes)
{
    append(body, bytes);
    return *this;
}

ZIPBuilder& ZIPBuilder::comment(std::string text)
{
    archiveComment = std::move(text);
    return *this;
}

ZIPBuilder& ZIPBuilder::announceCount(std::uint16_t number)
{
    announcedCount = number;
    return *this;
}

ZIPBuilder& ZIPBuilder::wideEnd()
{
    hasWideEnd = true;
    return *this;
}

Bytes ZIPBuilder::build() const
{
    return joined({body, directory, hasWideEnd ? wideEndRecords() : Bytes(), endRecord()});
}

Bytes ZIPBuilder::wideEndRecords() const
{
    Bytes out;
    text(out, "PK\x06\x06");
    u64(out, 44);
    u16(out, 45);
    u16(out, 45);
    u32(out, 0);
    u32(out, 0);
    u64(out, count);
    u64(out, count);
    u64(out, directory.size());
    u64(out, body.size());
    text(out, "PK\x06\x07");
    u32(out, 0);
    u64(out, body.size() + directory.size());
    u32(out, 1);
    return out;
}

Bytes ZIPBuilder::endRecord() const
{
    const std::uint16_t number = announcedCount.value_or(static_cast<std::uint16_t>(count));
    Bytes out;
    text(out, "PK\x05\x06");
    u32(out, 0); // Disks.
    u16(out, hasWideEnd ? 0xFFFF : number);
    u16(out, hasWideEnd ? 0xFFFF : number);
    u32(out, hasWideEnd ? 0xFFFFFFFF : directory.size());
    u32(out, hasWideEnd ? 0xFFFFFFFF : body.size());
    u16(out, archiveComment.size());
    text(out, archiveComment);
    return out;
}

} // namespace nullprint::tests
