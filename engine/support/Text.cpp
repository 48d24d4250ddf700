#include "engine/support/Text.h"

#include <algorithm>
#include <clocale>
#include <cwctype>
#include <optional>

namespace nullprint {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

struct CodePoint {
    char32_t value;
    std::size_t length; // In bytes.
};

struct SequenceForm {
    Byte mask;
    Byte lead;
    std::size_t length;
    char32_t least; // A smaller value would have a shorter form.
};

constexpr std::array sequenceForms{
    SequenceForm{0x80, 0x00, 1, 0},
    SequenceForm{0xE0, 0xC0, 2, 0x80},
    SequenceForm{0xF0, 0xE0, 3, 0x800},
    SequenceForm{0xF8, 0xF0, 4, 0x10000},
};

// The first code point of well-formed text; nothing when the bytes there are not UTF-8.
std::optional<CodePoint> decodeFirst(std::string_view text)
{
    const auto lead = static_cast<Byte>(text[0]);
    const auto* form = std::ranges::find_if(sequenceForms, [lead](const SequenceForm& each) {
        return (lead & each.mask) == each.lead;
    });
    if (form == sequenceForms.end() || form->length > text.size())
        return std::nullopt;
    auto value = static_cast<char32_t>(lead & static_cast<Byte>(~form->mask));
    for (const char next : text.substr(1, form->length - 1)) {
        const auto byte = static_cast<Byte>(next);
        if ((byte & 0xC0) != 0x80)
            return std::nullopt;
        value = value << 6 | (byte & 0x3FU);
    }
    if (value < form->least || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000))
        return std::nullopt;
    return CodePoint{value, form->length};
}

void appendUTF8(std::string& out, char32_t value)
{
    const auto tail = [&](unsigned shift) {
        out += static_cast<char>(0x80 | (value >> shift & 0x3F));
    };
    if (value < 0x80) {
        out += static_cast<char>(value);
    } else if (value < 0x800) {
        out += static_cast<char>(0xC0 | value >> 6);
        tail(0);
    } else if (value < 0x10000) {
        out += static_cast<char>(0xE0 | value >> 12);
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0 | value >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

// Rewrites text code point by code point; `change` gets nothing for a byte that is not UTF-8.
template <typename Change> std::string rewritten(std::string_view text, Change change)
{
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const auto point = decodeFirst(text);
        const std::string_view raw = text.substr(0, point ? point->length : 1);
        change(out, point, raw);
        text.remove_prefix(raw.size());
    }
    return out;
}

bool isControl(char32_t value)
{
    if (value == '\t' || value == '\n')
        return false;
    return value < 0x20 || (value >= 0x7F && value < 0xA0);
}

// Unicode's case rules, whatever language the user's session is in. Made once, never freed.
locale_t unicodeLocale()
{
    static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

} // namespace

bool isUTF8(std::string_view text)
{
    while (!text.empty()) {
        const auto point = decodeFirst(text);
        if (!point)
            return false;
        text.remove_prefix(point->length);
    }
    return true;
}

std::string storedText(ByteSpan bytes)
{
    const std::string_view all = asText(bytes);
    const std::string_view text = all.substr(0, all.find('\0'));
    if (isUTF8(text))
        return std::string(text);
    std::string out;
    for (const char letter : text)
        appendUTF8(out, static_cast<Byte>(letter));
    return out;
}

std::string textFromUTF16(ByteSpan bytes, ByteOrder order)
{
    const auto unitAt = [&](std::size_t index) -> char32_t {
        const char32_t first = bytes[2 * index];
        const char32_t second = bytes[2 * index + 1];
        return order == ByteOrder::big ? first << 8 | second : second << 8 | first;
    };
    std::string out;
    const std::size_t count = bytes.size() / 2;
    for (std::size_t index = 0; index < count; ++index) {
        char32_t value = unitAt(index);
        if (value == 0)
            break;
        const bool isHigh = value >= 0xD800 && value < 0xDC00;
        const char32_t low = isHigh && index + 1 < count ? unitAt(index + 1) : 0;
        if (low >= 0xDC00 && low < 0xE000) {
            value = 0x10000 + ((value - 0xD800) << 10) + (low - 0xDC00);
            ++index;
        }
        appendUTF8(out, value >= 0xD800 && value < 0xE000 ? 0xFFFD : value);
    }
    return out;
}

std::string lowerCased(std::string_view text)
{
    return rewritten(text, [](std::string& out, auto point, std::string_view raw) {
        if (!point) {
            out += raw;
        } else if (point->value < 0x80 || unicodeLocale() == nullptr) {
            const char letter = raw[0];
            out += letter >= 'A' && letter <= 'Z' ? std::string(1, static_cast<char>(letter + 32))
                                                  : std::string(raw);
        } else {
            const auto lower = ::towlower_l(static_cast<wint_t>(point->value), unicodeLocale());
            appendUTF8(out, static_cast<char32_t>(lower));
        }
    });
}

std::string safeForTerminal(std::string_view text)
{
    return rewritten(text, [](std::string& out, auto point, std::string_view raw) {
        out += !point || isControl(point->value) ? replacement : raw;
    });
}

} // namespace nullprint
