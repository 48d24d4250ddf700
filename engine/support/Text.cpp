#include "engine/support/Text.h"

#include <algorithm>
#include <clocale>
#include <cstring>
#include <cwctype>

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

// The first code point of the text; nothing when there is none or the bytes there are not UTF-8.
std::optional<CodePoint> decodeFirst(std::string_view text)
{
    if (text.empty())
        return std::nullopt;
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

// To a std::string or to Bytes.
template <typename Out> void appendUTF8(Out& out, char32_t value)
{
    const auto put = [&](char32_t byte) {
        out.push_back(static_cast<typename Out::value_type>(byte));
    };
    const auto tail = [&](unsigned shift) { put(0x80 | (value >> shift & 0x3F)); };
    if (value < 0x80) {
        put(value);
    } else if (value < 0x800) {
        put(0xC0 | value >> 6);
        tail(0);
    } else if (value < 0x10000) {
        put(0xE0 | value >> 12);
        tail(6);
        tail(0);
    } else {
        put(0xF0 | value >> 18);
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

bool isSurrogate(char32_t value)
{
    return value >= 0xD800 && value < 0xE000;
}

std::size_t lengthInUTF8(char32_t value)
{
    if (value < 0x800)
        return value < 0x80 ? 1 : 2;
    return value < 0x10000 ? 3 : 4;
}

// The UTF-16 code point at `index`, counted in units; half of a pair as the surrogate it is.
CodePoint decodeUTF16(ByteSpan bytes, std::size_t index, ByteOrder order)
{
    const auto unitAt = [&](std::size_t unit) -> char32_t {
        const char32_t first = bytes[2 * unit];
        const char32_t second = bytes[2 * unit + 1];
        return order == ByteOrder::big ? first << 8 | second : second << 8 | first;
    };
    const char32_t high = unitAt(index);
    const bool isPair = high >= 0xD800 && high < 0xDC00 && 2 * index + 4 <= bytes.size();
    const char32_t low = isPair ? unitAt(index + 1) : 0;
    if (low < 0xDC00 || low >= 0xE000)
        return {high, 2};
    return {0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00), 4};
}

// How many bytes of ASCII the text opens with, in steps of eight.
std::size_t leadingASCII(std::string_view text)
{
    std::size_t length = 0;
    for (std::uint64_t eight = 0; length + 8 <= text.size(); length += 8) {
        std::memcpy(&eight, text.substr(length).data(), 8);
        if ((eight & 0x8080808080808080U) != 0)
            break;
    }
    return length;
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
    while (true) {
        text.remove_prefix(leadingASCII(text));
        if (text.empty())
            return true;
        const auto point = decodeFirst(text);
        if (!point)
            return false;
        text.remove_prefix(point->length);
    }
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
    std::string out;
    for (std::size_t index = 0; index < bytes.size() / 2;) {
        const CodePoint point = decodeUTF16(bytes, index, order);
        if (point.value == 0)
            break;
        appendUTF8(out, isSurrogate(point.value) ? 0xFFFD : point.value);
        index += point.length / 2;
    }
    return out;
}

std::optional<Bytes> utf8FromUTF16(ByteSpan bytes, ByteOrder order)
{
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    std::size_t length = 0; // Known beforehand, so that no memory is spent on growing.
    for (std::size_t index = 0; index < bytes.size() / 2;) {
        const CodePoint point = decodeUTF16(bytes, index, order);
        if (isSurrogate(point.value))
            return std::nullopt;
        length += lengthInUTF8(point.value);
        index += point.length / 2;
    }
    Bytes out;
    out.reserve(length);
    for (std::size_t index = 0; index < bytes.size() / 2;) {
        const CodePoint point = decodeUTF16(bytes, index, order);
        appendUTF8(out, point.value);
        index += point.length / 2;
    }
    return out;
}

Bytes utf16FromUTF8(std::string_view text, ByteOrder order)
{
    const auto units = static_cast<std::size_t>(std::ranges::count_if(text, [](char each) {
        return (each & 0xC0) != 0x80; // Every code point has a unit, and ...
    }));
    const auto pairs = static_cast<std::size_t>(std::ranges::count_if(text, [](char each) {
        return static_cast<Byte>(each) >= 0xF0; // ... those beyond U+FFFF have another.
    }));
    Bytes out;
    out.reserve(2 * (units + pairs));
    for (auto point = decodeFirst(text); point; point = decodeFirst(text)) {
        text.remove_prefix(point->length);
        const char32_t beyond = point->value - 0x10000;
        if (point->value >= 0x10000)
            append16(out, static_cast<std::uint16_t>(0xD800 + (beyond >> 10)), order);
        const char32_t last = point->value < 0x10000 ? point->value : 0xDC00 + (beyond & 0x3FF);
        append16(out, static_cast<std::uint16_t>(last), order);
    }
    return out;
}

// The one capital letter whose small letter is two characters (Unicode, SpecialCasing.txt).
constexpr char32_t dottedCapitalI = 0x130;

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
            if (point->value == dottedCapitalI) {
                out += "i\u0307";
                return;
            }
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
