// Text encodings: what is stored in files, and what a terminal may be shown.
#pragma once

#include "engine/support/Bytes.h"

#include <optional>
#include <string>

namespace nullprint {

// Whether the bytes are well-formed UTF-8 (RFC 3629: no overlong forms, no surrogates).
bool isUTF8(std::string_view text);

// The bytes up to the first NUL, as they are when they are UTF-8, otherwise taken as Latin-1.
std::string storedText(ByteSpan bytes);

// UTF-16 up to the first NUL, as UTF-8. Lone surrogates become U+FFFD.
std::string textFromUTF16(ByteSpan bytes, ByteOrder order);

// The same text in the other encoding, whole, with its byte-order mark if it has one. Nothing when
// the UTF-16 has half a unit or a lone surrogate; `text` is UTF-8.
std::optional<Bytes> utf8FromUTF16(ByteSpan bytes, ByteOrder order);
Bytes utf16FromUTF8(std::string_view text, ByteOrder order);

// Lower case of every letter that Unicode gives one; bytes that are not UTF-8 stay.
std::string lowerCased(std::string_view text);

// Control characters (C0 but tab and line feed, DEL, C1) and bytes that are not UTF-8, which a
// terminal may take for C1, replaced by U+FFFD.
std::string safeForTerminal(std::string_view text);

} // namespace nullprint
