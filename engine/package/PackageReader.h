// The ZIP archive that an Office document is: which parts it has, and what is in them.
#pragma once

#include "engine/support/ByteSource.h"

#include <memory>
#include <string>

namespace nullprint {

// One file of the archive. Folder entries are never parts.
struct PackagePart {
    // Folders and file with "/" between them, whatever the archive puts there, without empty and
    // "." steps: "word/document.xml". Bytes as stored; usesUTF8 is what the archive says of them.
    std::string name;
    bool usesUTF8 = false;
    bool isDeflated = false;
    std::uint32_t checksum = 0;
    std::uint64_t sizeBytes = 0; // Unpacked, as the archive announces it.
    ByteRange stored;            // In the archive.
    // Why the part cannot be read (it is encrypted, ...), or nullptr.
    const char* problem = nullptr;
};

// The text after the last dot of the part's last component, in lower case; empty without a dot.
std::string extensionOf(const PackagePart& part);

// Every `Error::what` from here is a clause that a user can read: "it is not a ZIP archive".
class PackageReader {
public:
    // Reads the table of contents. `archive` is borrowed for the life of the reader. Fails on
    // anything but a ZIP archive whose parts lie in it side by side.
    static Result<PackageReader> open(ByteSource& archive);

    // In the archive's order. Of parts with one name only the last is there.
    std::span<const PackagePart> parts() const { return contents; }
    // The part of exactly this name, or else of one that is it but for the case of ASCII letters,
    // which names no other part (ECMA-376 part 2, 6.2.2.3); or nullptr.
    const PackagePart* find(std::string_view name) const;

    // Fails when any part has a problem or when all of them are too large. What the parts hold is
    // not looked at.
    Result<Done> check() const;

    // A whole part of at most `most` bytes, after its length and checksum have been compared.
    Result<Bytes> read(const PackagePart& part, std::uint64_t most) const;

    // The first bytes of a part, at most `most` of them, unchecked. What follows is not unpacked.
    Result<Bytes> readHead(const PackagePart& part, std::uint64_t most) const;

    // A part as a source, for which reader and part must stay. Of a deflated part no more is
    // unpacked, and kept in memory, than what is looked at lies into it; it cannot be looked at
    // beyond `most` bytes. Nothing is checked.
    Result<std::unique_ptr<ByteSource>> openPart(const PackagePart& part, std::uint64_t most) const;

    // Unpacks a part to nowhere: fails unless length and checksum are as announced and nothing
    // but the part is in its place.
    Result<Done> verify(const PackagePart& part) const;

    // Where the bytes of `PackagePart::stored` are.
    ByteSource& source() const { return *archive; }

private:
    explicit PackageReader(ByteSource& archive)
        : archive(&archive)
    {
    }

    // Whether all parts together would unpack to more than they may, by what the archive announces.
    bool isTooLarge() const;

    ByteSource* archive;
    std::vector<PackagePart> contents;
};

} // namespace nullprint
