// Puts GIFs together block by block, well-formed or not.
#pragma once

#include "engine/support/Bytes.h"

#include <algorithm>
#include <string>

namespace nullprint::tests {

class GIFBuilder {
public:
    // A screen of 2 by 1 pixels with a global colour table of two colours.
    explicit GIFBuilder(std::string_view signature = "GIF89a")
    {
        append(bytes, signature);
        append(bytes, std::string_view("\2\0\1\0\x80\0\0\x10\x20\x30\xA0\xB0\xC0", 13));
    }

    GIFBuilder& raw(std::string_view more)
    {
        append(bytes, more);
        return *this;
    }

    // Data as sub-blocks of `most` bytes, with the empty one at the end.
    GIFBuilder& subBlocks(std::string_view data, std::size_t most = 255)
    {
        for (; !data.empty(); data.remove_prefix(std::min(most, data.size()))) {
            const std::string_view piece = data.substr(0, most);
            bytes.push_back(static_cast<Byte>(piece.size()));
            append(bytes, piece);
        }
        bytes.push_back(0);
        return *this;
    }

    // Two pixels of the colours 0 and 1.
    GIFBuilder& image() { return raw({"\x2C\0\0\0\0\2\0\1\0\0\2\2\x44\x0A\0", 15}); }

    GIFBuilder& imageWithTable()
    {
        return raw({"\x2C\0\0\0\0\2\0\1\0\x80LOCAL!\2\2\x44\x0A\0", 21});
    }

    GIFBuilder& extension(Byte label, std::string_view data)
    {
        bytes.push_back(0x21);
        bytes.push_back(label);
        return subBlocks(data);
    }

    // A delay of `hundredths` of a second, with colour 1 transparent.
    GIFBuilder& control(Byte hundredths)
    {
        const std::string delay(1, static_cast<char>(hundredths));
        return extension(0xF9, "\x05" + delay + std::string("\0\1", 2));
    }

    GIFBuilder& comment(std::string_view text) { return extension(0xFE, text); }

    // `name` has 11 bytes.
    GIFBuilder& application(std::string_view name, std::string_view data, std::size_t most = 255)
    {
        raw("\x21\xFF\x0B").raw(name);
        return subBlocks(data, most);
    }

    GIFBuilder& loop(char count, std::string_view name = "NETSCAPE2.0")
    {
        return application(name, std::string{1, count, 0});
    }

    // An XMP packet as it is, behind which falling numbers lead every reader to the end.
    GIFBuilder& xmp(std::string_view packet)
    {
        raw("\x21\xFF\x0BXMP DataXMP").raw(packet);
        bytes.push_back(1);
        for (int value = 255; value >= 0; --value)
            bytes.push_back(static_cast<Byte>(value));
        bytes.push_back(0);
        return *this;
    }

    Bytes end() { return raw(";").bytes; }
    Bytes withoutEnd() { return bytes; }

private:
    Bytes bytes;
};

} // namespace nullprint::tests
