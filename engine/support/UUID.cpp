#include "engine/support/UUID.h"

#include "engine/support/Bytes.h"

#include <array>
#include <random>
#include <sys/random.h>

namespace nullprint {
namespace {

std::array<Byte, 16> randomBytes()
{
    std::array<Byte, 16> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()))
        return bytes;
    std::random_device device; // Kernels without the call still have the device.
    for (Byte& byte : bytes)
        byte = static_cast<Byte>(device());
    return bytes;
}

} // namespace

std::string randomUUID()
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    auto bytes = randomBytes();
    bytes[6] = static_cast<Byte>((bytes[6] & 0x0F) | 0x40); // Version 4.
    bytes[8] = static_cast<Byte>((bytes[8] & 0x3F) | 0x80); // The standard's variant.
    std::string text;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (index == 4 || index == 6 || index == 8 || index == 10)
            text += '-';
        text += digits[bytes[index] >> 4];
        text += digits[bytes[index] & 0x0F];
    }
    return text;
}

} // namespace nullprint
