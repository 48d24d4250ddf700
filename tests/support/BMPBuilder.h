// Puts BMPs together field by field, well-formed or not.
#pragma once

#include "engine/support/Bytes.h"

#include <string>
#include <string_view>

namespace nullprint::tests {

// Every member may be set to anything; `bytes` lays out file header, DIB header, masks, palette,
// gap, pixels and tail, and computes nothing but what the file header says about them.
struct BMPBuilder {
    std::uint32_t headerBytes = 40;
    std::int32_t width = 2;
    std::int32_t height = 2;
    std::uint16_t planes = 1;
    std::uint16_t depth = 24;
    std::uint32_t compression = 0;
    std::uint32_t imageBytes = 0;
    std::uint32_t coloursUsed = 0;
    std::uint32_t coloursImportant = 0;
    std::uint32_t colourSpace = fourCC("sRGB");
    std::uint32_t profileOffset = 0;
    std::uint32_t profileBytes = 0;
    std::string masks;
    std::string palette;
    std::string gap;
    std::string pixels = std::string("abcdef\0\0ghijkl\0\0", 16);
    std::string tail;
    std::string filler = std::string(4, '\0'); // Of fields without meaning.

    std::uint32_t pixelOffset() const
    {
        return 14 + headerBytes +
               static_cast<std::uint32_t>(masks.size() + palette.size() + gap.size());
    }

    // The place of `tail`, as the profile's field wants it.
    std::uint32_t tailOffset() const
    {
        return pixelOffset() - 14 + static_cast<std::uint32_t>(pixels.size());
    }

    Bytes bytes() const
    {
        Bytes file;
        append(file, "BM");
        append(file, filler);
        append(file, filler);
        put32(file, pixelOffset());
        append(file, header());
        for (const std::string& part : {masks, palette, gap, pixels, tail})
            append(file, part);
        return file;
    }

    Bytes header() const
    {
        Bytes header;
        put32(header, headerBytes);
        if (headerBytes == 12) {
            append16(header, static_cast<std::uint16_t>(width), ByteOrder::little);
            append16(header, static_cast<std::uint16_t>(height), ByteOrder::little);
        } else {
            put32(header, static_cast<std::uint32_t>(width));
            put32(header, static_cast<std::uint32_t>(height));
        }
        append16(header, planes, ByteOrder::little);
        append16(header, depth, ByteOrder::little);
        for (const std::uint32_t value : {compression, imageBytes, 2835U, 2836U, coloursUsed})
            put32(header, value);
        put32(header, coloursImportant);
        while (header.size() < 124)
            append(header, header.size() == 40 && headerBytes >= 52 ? sampleMasks() : filler);
        replace(header, 56, colourSpace);
        replace(header, 112, profileOffset);
        replace(header, 116, profileBytes);
        header.resize(headerBytes);
        return header;
    }

    static std::string sampleMasks() { return {"\0\0\xFF\0\0\xFF\0\0\xFF\0\0\0\0\0\0\xFF", 16}; }

private:
    static void put32(Bytes& out, std::uint32_t value) { append32(out, value, ByteOrder::little); }

    static void replace(Bytes& out, std::size_t at, std::uint32_t value)
    {
        for (std::size_t index = at; index < at + 4; ++index, value >>= 8)
            out.at(index) = static_cast<Byte>(value);
    }
};

} // namespace nullprint::tests
