// HEIF files from their items, in every way that the standard has of writing them down.
#pragma once

#include "engine/support/Bytes.h"

#include <string_view>
#include <utility>
#include <vector>

namespace nullprint::tests::heif {

Bytes box(std::string_view type, ByteSpan content);
Bytes box(std::string_view type, std::string_view content);
Bytes fullBox(std::string_view type, Byte version, std::uint32_t flags, ByteSpan content);

// HEVC data: a NAL unit behind its length in four bytes, and supplemental information of one
// message (39 is the unit's type; 5 is user data, 165 says how alpha is meant).
Bytes unit(unsigned type, std::string_view payload);
Bytes message(unsigned type, std::string_view payload);

// Contents of properties.
Bytes hevcConfiguration(ByteSpan arrays = {}, Byte arrayCount = 0);
Bytes auxiliary(std::string_view name, ByteSpan subtype = {});
Bytes imageSize(std::uint32_t width, std::uint32_t height);

// An Exif item: the offset, and a structure with Make "secret".
Bytes exifItem(std::uint32_t offset, std::string_view between = {});

// Where the data of an item is.
enum class In : std::uint8_t { file = 0, idat = 1, item = 2 };

struct BuiltItem {
    std::uint32_t id;
    std::string_view type;
    Bytes data = {};
    std::vector<unsigned> properties = {}; // Numbers from 1; with 0x8000 for essential.
    bool isHidden = false;
    In in = In::file;
    unsigned extents = 1; // The data is cut into so many; bytes "gap!" lie between.
    Byte protection = 0;
    Byte dataReference = 0;
    bool isLocated = true;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> places =
        {}; // Instead of `data`, by offset.
};

struct HEIFBuilder {
    std::vector<std::string_view> brands{"heic", "mif1", "heic"}; // The first is the major one.
    std::uint32_t primary = 1;
    std::vector<BuiltItem> items;
    std::vector<Bytes> properties; // Boxes.
    struct Link {
        std::string_view type;
        std::uint32_t from;
        std::vector<std::uint32_t> to;
    };
    std::vector<Link> references;
    std::vector<Link> groups; // `from` is the group's identifier.

    Byte locationVersion = 1;
    unsigned offsetBytes = 4;
    unsigned lengthBytes = 4;
    unsigned baseBytes = 0;
    unsigned indexBytes = 0;
    bool isWide = false;        // 32-bit identifiers.
    bool hasWideIndex = false;  // 15-bit property numbers.
    unsigned mdatSizeBytes = 4; // 8, or 0 for a box to the end of the file.
    bool isMetaLast = false;
    Bytes moreMeta; // Boxes within "meta", at its end.
    Bytes before;   // Boxes behind "ftyp".
    Bytes after;    // Anything at the file's end.

    // Adds a box; yields its number, and the number as an essential one.
    unsigned property(std::string_view type, ByteSpan content);
    unsigned essential(std::string_view type, ByteSpan content);

    Bytes build() const;

private:
    Bytes meta(std::uint64_t dataStart) const;
    Bytes locations(std::uint64_t dataStart) const;
    Bytes information() const;
    Bytes associations() const;
    Bytes links() const;
    Bytes entityGroups() const;
    Bytes data(In in) const;
    void identifier(Bytes& out, std::uint32_t id) const;
};

Bytes bytesOf(std::string_view text);

// That the copy keeps what every format promises and does not hold the word "secret".
void expectClean(const Bytes& picture);

// That there is no copy.
void expectRefused(const HEIFBuilder& built);

// One picture with a configuration and a size, and nothing else. Its data is `unit(20, "pixels")`.
HEIFBuilder onePicture();

} // namespace nullprint::tests::heif
