// Every bound that the program sets on what a file may ask of it, with the reason. A number that a
// format's own fields set (255 parts that are counted in a byte) stands where the format is read.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nullprint::limits {

// How much of a file is in memory at a time while it is walked. Large enough that a system call
// per window costs nothing beside reading it, small enough to stay in the processor's cache.
inline constexpr std::size_t windowBytes = 256UL * 1024;

// The largest picture that stays in memory while it is cleaned, as far as it has to be read for
// that: then it is read once. Phones and cameras make pictures of 2 to 12 MB.
inline constexpr std::uint64_t keptBytes = 16UL * 1024 * 1024;

// The first read after a jump. A walk over headers then reads headers, not what lies between.
inline constexpr std::size_t jumpWindowBytes = 4UL * 1024;

// How far beyond a window a walk may step and still be said to go on. GIF's pieces have 255 bytes.
inline constexpr std::size_t stepBytes = 256;

// The largest single piece of metadata that is brought into memory (a text chunk, an IPTC block).
// Real ones stay under a few megabytes; a larger one is dropped like any other, but not read.
inline constexpr std::uint64_t metadataBytes = 64UL * 1024 * 1024;

// What a compressed metadata chunk may unpack to. Raw profiles in PNG text are hexadecimal Exif,
// which JPEG's segment size keeps near 64 KiB.
inline constexpr std::size_t inflatedBytes = 4UL * 1024 * 1024;

// How many "Raw profile" texts of one PNG are looked into. Writers make one or two.
inline constexpr std::size_t rawProfiles = 16;

// How many segments of one JPEG are looked at that are called its colour profile. They are counted
// in a byte, so a profile has 255 at the most, and more than that make none.
inline constexpr std::size_t profileSegments = 256;

// The longest text that is taken from a metadata field.
inline constexpr std::uint64_t textBytes = 1024UL * 1024;

// The most numbers that are taken from a metadata field for showing. No field that is shown has
// more than a handful.
inline constexpr std::uint64_t listedNumbers = 1024;

// Directories (pages, sub-images, Exif and GPS) that one TIFF structure may have.
inline constexpr std::size_t directories = 65536;

// Fields of one directory. BigTIFF counts them in 64 bits, but nobody writes more than the 16 bits
// of TIFF can count.
inline constexpr std::size_t directoryFields = 65535;

// Bits of one sample. The widest known are complex numbers of twice 64.
inline constexpr std::uint64_t sampleBits = 128;

// Separate blocks or strips that a picture, or pieces that its copy may consist of: more than any
// encoder writes (a 100 MB PNG in 8 KiB chunks has 12,800), few enough that listing them stays
// small.
inline constexpr std::size_t blocks = 4UL * 1024 * 1024;

// Items of one HEIF file, and boxes of its top level. A phone's photo has about 60 of the one, a
// gigapixel grid some thousands; of the other there are a handful.
inline constexpr std::size_t items = 65536;

// Parts of one package. The largest documents have some ten thousand.
inline constexpr std::size_t packageParts = 256UL * 1024;

// What the deflated parts of one package may unpack to, all together: the answer to archives that
// are small and hold enormous nothings. Parts that are only stored cannot be larger than the file.
inline constexpr std::uint64_t unpackedBytes = 2UL * 1024 * 1024 * 1024;

// The largest XML part or embedded picture, which is in memory while it is looked at and cleaned.
// Long novels have 10 MB, spreadsheets with a million rows some 100 MB.
inline constexpr std::uint64_t partBytes = 128UL * 1024 * 1024;

// How much of a package's pictures is unpacked to their end only to see whether that can be done.
// Most documents have fewer; of a large one, 3 ms are spent on this.
inline constexpr std::uint64_t verifiedPictureBytes = 1024UL * 1024;

// What the names of a document's editors, or the findings of a listing, may take in memory, and
// what each counts for beside its letters. A thousand editors take 0.1 MB.
inline constexpr std::size_t listedBytes = 32UL * 1024 * 1024;
inline constexpr std::size_t listedTextBytes = 96;

// What the tables of an HEIF file may list beside its items: extents, references, properties of
// items. A grid of 65,536 tiles needs about 300,000 entries.
inline constexpr std::size_t itemLinks = std::size_t{1024} * 1024;

// What the tables of an HEIF file take at the most in a copy, in which offsets may be wider.
inline constexpr std::uint64_t tableBytes = 2 * metadataBytes;

// Items of HEIF that are parts of items that are parts of items: nobody writes them.
inline constexpr unsigned itemNesting = 4;

// Brands that one HEIF file is compatible with, and bytes of an auxiliary picture's kind. A file
// has a handful of the one, and some fifty of the other.
inline constexpr std::uint64_t brands = 256;
inline constexpr std::uint64_t auxiliaryBytes = 256;

// The longest supplemental message between coded samples that can be one that is kept. The longest
// of these has about 100 bytes.
inline constexpr std::uint64_t messageBytes = 4096;

// How many Exif and how many IPTC items of one HEIF file are looked into. A picture has one.
inline constexpr std::size_t metadataItems = 16;

// How deep the tree of a PDF's pages may be. Balanced trees of a million pages have ten levels.
inline constexpr std::size_t pageTreeDepth = 1000;

// What the process that looks at a PDF may use: so much, and so many times the size of the file.
// Packed objects become ten times their size when they are unpacked, and as much again as values.
inline constexpr std::uint64_t documentMemoryBytes = 512UL * 1024 * 1024;
inline constexpr std::uint64_t documentMemoryFactor = 32;
inline constexpr std::uint64_t documentOutputBytes = 64UL * 1024 * 1024;
inline constexpr std::uint64_t documentOutputFactor = 16;

// Processor time for a PDF: so many seconds, and one for so many bytes. A tenth of that is usual
// on a slow machine.
inline constexpr std::uint64_t documentSeconds = 10;
inline constexpr std::uint64_t documentBytesPerSecond = 1024UL * 1024;

} // namespace nullprint::limits
