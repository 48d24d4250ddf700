#include "engine/image/ICC.h"

namespace nullprint::image {
namespace {

constexpr std::uint32_t smallestBytes = 128 + 4; // ICC.1, 7.1: a header and a number of tags.

// ICC.1, 7.2: the size comes first, and the signature is at 36.
Result<std::uint32_t> readSize(ByteCursor& cursor)
{
    const std::uint32_t size = NP_TRY(cursor.u32());
    NP_TRY(cursor.skip(32));
    if (size < smallestBytes || !cursor.startsWith("acsp"))
        return cursor.fail("no profile");
    return size;
}

} // namespace

std::optional<std::uint32_t> profileBytes(ByteCursor cursor)
{
    const auto size = readSize(cursor);
    return size.ok() ? std::optional(size.value()) : std::nullopt;
}

} // namespace nullprint::image
