// The records of a ZIP archive, for reading and for writing. Numbers such as 4.3.16 are those of
// APPNOTE.TXT, https://pkware.cachefly.net/webdocs/casestudies/APPNOTE.TXT.
#pragma once

#include <cstdint>
#include <string_view>

namespace nullprint::zip {

inline constexpr std::string_view entrySignature{"PK\x03\x04"};          // 4.3.7
inline constexpr std::string_view directorySignature{"PK\x01\x02"};      // 4.3.12
inline constexpr std::string_view wideEndSignature{"PK\x06\x06"};        // 4.3.14
inline constexpr std::string_view wideEndLocatorSignature{"PK\x06\x07"}; // 4.3.15
inline constexpr std::string_view endSignature{"PK\x05\x06"};            // 4.3.16

// Lengths without names, extra fields and comments.
inline constexpr std::uint64_t wideEndBytes = 56;
inline constexpr std::uint64_t wideEndLocatorBytes = 20;
inline constexpr std::uint64_t endBytes = 22;

// Stands where a number is too wide, and the true one is in a record of its own (4.4.1.4).
inline constexpr std::uint16_t seeElsewhere16 = 0xFFFF;
inline constexpr std::uint32_t seeElsewhere32 = 0xFFFFFFFF;
inline constexpr std::uint16_t wideNumbersField = 0x0001; // 4.5.3

// 4.4.4
inline constexpr std::uint16_t encryptedFlag = 1U << 0U;
inline constexpr std::uint16_t strongEncryptionFlag = 1U << 6U;
inline constexpr std::uint16_t utf8Flag = 1U << 11U;
inline constexpr std::uint16_t maskedHeaderFlag = 1U << 13U;

// 4.4.5
inline constexpr std::uint16_t methodStored = 0;
inline constexpr std::uint16_t methodDeflated = 8;

} // namespace nullprint::zip
