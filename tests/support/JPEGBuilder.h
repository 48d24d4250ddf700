// JPEG files from their segments, well-formed or not. What stands for coded samples is not
// decodable.
#pragma once

#include "tests/support/Joined.h"

namespace nullprint::tests::jpeg {

inline Bytes segment(Byte marker, ByteSpan payload)
{
    Bytes out{0xFF, marker};
    append16(out, static_cast<std::uint16_t>(payload.size() + 2), ByteOrder::big);
    append(out, payload);
    return out;
}

inline Bytes segment(Byte marker, std::string_view payload)
{
    return segment(marker, asBytes(payload));
}

inline const Bytes start{0xFF, 0xD8};
inline const Bytes end{0xFF, 0xD9};

// `unit`: 0 none, 1 inch, 2 centimetre.
inline Bytes jfif(Byte unit, std::uint16_t x, std::uint16_t y, std::string_view thumbnail = {})
{
    Bytes payload = joined({bytesOf({"JFIF\0\1\1", 7}), {unit}});
    append16(payload, x, ByteOrder::big);
    append16(payload, y, ByteOrder::big);
    const auto pixels = static_cast<Byte>(thumbnail.size() / 3); // One, or none.
    return segment(0xE0, joined({payload, {pixels, pixels}, bytesOf(thumbnail)}));
}

inline Bytes adobe(Byte transform, std::string_view more = {})
{
    const Bytes head = bytesOf({"Adobe\0\x64\0\0\0\0", 11});
    return segment(0xEE, joined({head, {transform}, bytesOf(more)}));
}

inline Bytes exif(const Bytes& structure)
{
    return segment(0xE1, joined({bytesOf({"Exif\0\0", 6}), structure}));
}

inline Bytes icc(Byte number, Byte count, std::string_view part)
{
    const Bytes head = bytesOf({"ICC_PROFILE\0", 12});
    return segment(0xE2, joined({head, {number, count}, bytesOf(part)}));
}

inline Bytes quantisation(std::string_view more = {})
{
    return segment(0xDB, joined({{0}, Bytes(64, 1), bytesOf(more)}));
}

// One code of one bit.
inline Bytes huffman(std::string_view more = {})
{
    return segment(0xC4, joined({{0, 1}, Bytes(16, 0), bytesOf(more)}));
}

// A frame of 16 by 8 with a component for each name.
inline Bytes frame(Byte marker, std::string_view names, Byte precision = 8, Byte lines = 8)
{
    Bytes payload{precision, 0, lines, 0, 16, static_cast<Byte>(names.size())};
    for (const char name : names)
        append(payload, Bytes{static_cast<Byte>(name), 0x11, 0});
    return segment(marker, payload);
}

inline Bytes scan(std::string_view names, std::string_view data)
{
    Bytes payload{static_cast<Byte>(names.size())};
    for (const char name : names)
        append(payload, Bytes{static_cast<Byte>(name), 0});
    append(payload, Bytes{0, 63, 0});
    Bytes out = segment(0xDA, payload);
    append(out, data);
    return out;
}

inline constexpr std::string_view colour = "\1\2\3";

// Everything a baseline picture has but its start, application segments, and end.
inline Bytes body(std::string_view names = colour)
{
    return joined({quantisation(), frame(0xC0, names), huffman(), scan(names, "coded samples")});
}

// A baseline picture with `segments` behind its start.
inline Bytes picture(std::initializer_list<Bytes> segments, std::string_view names = colour)
{
    return joined({start, joined(segments), body(names), end});
}

} // namespace nullprint::tests::jpeg
