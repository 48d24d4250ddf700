// ZIP archives entry by entry, well-formed or not.
#pragma once

#include "engine/support/Bytes.h"

#include <optional>
#include <string>

namespace nullprint::tests {

// What an archive tells of an entry is right unless it is set here.
struct ZIPEntry {
    std::string name;
    Bytes content;
    bool isDeflated = false;
    std::optional<Bytes> packed; // Instead of what `content` comes to.
    std::optional<std::uint16_t> method;
    std::optional<std::uint32_t> checksum;
    std::optional<std::uint32_t> packedSize;
    std::optional<std::uint32_t> size;
    std::optional<std::uint32_t> offset;
    std::optional<std::string> localName;
    std::uint16_t flags = 0;
    std::uint32_t attributes = 0; // A symbolic link has 0xA1FF0000.
    Bytes extra;                  // In both headers.
    std::string comment;
    bool isWide = false;        // Sizes and offset stand in extra fields of 64 bits.
    bool hasDescriptor = false; // The entry's own header tells no sizes; they follow the data.
};

ZIPEntry storedEntry(std::string name, std::string_view content);
ZIPEntry deflatedEntry(std::string name, std::string_view content);

class ZIPBuilder {
public:
    ZIPBuilder& add(const ZIPEntry& entry);
    // Bytes between the entries.
    ZIPBuilder& gap(std::string_view bytes);
    ZIPBuilder& comment(std::string text);
    ZIPBuilder& announceCount(std::uint16_t number);
    // Has an end record that counts in 64 bits.
    ZIPBuilder& wideEnd();

    Bytes build() const;

private:
    Bytes wideEndRecords() const;
    Bytes endRecord() const;

    Bytes body;
    Bytes directory;
    std::uint64_t count = 0;
    std::string archiveComment;
    std::optional<std::uint16_t> announcedCount;
    bool hasWideEnd = false;
};

} // namespace nullprint::tests
