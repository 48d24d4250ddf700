// TIFF files from their fields, well-formed or not.
#pragma once

#include "engine/support/Bytes.h"

#include <string_view>

namespace nullprint::tests {

// Writes values and data as they come, then a directory of the fields gathered so far, in the order
// in which they were gathered.
class TIFFBuilder {
public:
    explicit TIFFBuilder(ByteOrder order = ByteOrder::little, bool isBig = false)
        : order(order)
        , isBig(isBig)
    {
        append(file, order == ByteOrder::little ? std::string_view("II") : std::string_view("MM"));
        append16(file, isBig ? 43 : 42, order);
        if (isBig) {
            append16(file, 8, order);
            append16(file, 0, order);
        }
        link = file.size();
        appendOffset(file, 0);
    }

    // Appends bytes and tells where they are.
    std::uint64_t data(ByteSpan bytes)
    {
        const std::uint64_t place = file.size();
        append(file, bytes);
        return place;
    }
    std::uint64_t data(std::string_view text) { return data(asBytes(text)); }

    TIFFBuilder& shorts(std::uint16_t tag, std::initializer_list<std::uint16_t> values)
    {
        Bytes raw;
        for (const std::uint16_t value : values)
            append16(raw, value, order);
        return field(tag, 3, values.size(), raw);
    }

    TIFFBuilder& longs(std::uint16_t tag, const std::vector<std::uint64_t>& values, Byte type = 4)
    {
        Bytes raw;
        for (const std::uint64_t value : values)
            append32(raw, static_cast<std::uint32_t>(value), order);
        return field(tag, type, values.size(), raw);
    }

    TIFFBuilder& rationals(std::uint16_t tag, const std::vector<std::uint32_t>& pairs)
    {
        Bytes raw;
        for (const std::uint32_t value : pairs)
            append32(raw, value, order);
        return field(tag, 5, pairs.size() / 2, raw);
    }

    TIFFBuilder& text(std::uint16_t tag, std::string_view value)
    {
        Bytes raw(value.begin(), value.end());
        raw.push_back(0);
        return field(tag, 2, raw.size(), raw);
    }

    TIFFBuilder& opaque(std::uint16_t tag, ByteSpan value, Byte type = 7)
    {
        return field(tag, type, type == 4 ? value.size() / 4 : value.size(), value);
    }

    // A field with any count and any bytes in place of its value.
    TIFFBuilder& field(std::uint16_t tag, Byte type, std::uint64_t count, ByteSpan raw)
    {
        append16(fields, tag, order);
        append16(fields, type, order);
        appendOffset(fields, count);
        Bytes value(raw.begin(), raw.end());
        if (raw.size() > offsetBytes()) {
            value.clear();
            appendOffset(value, data(raw));
        }
        value.resize(offsetBytes());
        append(fields, value);
        ++fieldCount;
        return *this;
    }

    // Writes a directory of the fields gathered so far, which nothing leads to yet.
    std::uint64_t directory(std::uint64_t next = 0)
    {
        const std::uint64_t place = file.size();
        isBig ? append64(file, fieldCount, order)
              : append16(file, static_cast<std::uint16_t>(fieldCount), order);
        append(file, fields);
        appendOffset(file, next);
        fields.clear();
        fieldCount = 0;
        return place;
    }

    // The same, as the next page.
    std::uint64_t page()
    {
        const std::uint64_t place = directory();
        patch(link, place);
        link = file.size() - offsetBytes();
        return place;
    }

    // Lets the chain of pages go on at `place`.
    void leadTo(std::uint64_t place) { patch(link, place); }

    std::size_t offsetBytes() const { return isBig ? 8 : 4; }

    Bytes file;

private:
    void appendOffset(Bytes& out, std::uint64_t value) const
    {
        isBig ? append64(out, value, order)
              : append32(out, static_cast<std::uint32_t>(value), order);
    }

    void patch(std::size_t place, std::uint64_t value)
    {
        Bytes raw;
        appendOffset(raw, value);
        for (std::size_t index = 0; index < raw.size(); ++index)
            file[place + index] = raw[index];
    }

    ByteOrder order;
    bool isBig;
    std::size_t link = 0; // Where the offset of the next page goes.
    Bytes fields;
    std::uint64_t fieldCount = 0;
};

} // namespace nullprint::tests
