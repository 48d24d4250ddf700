#include "fuzz/StrictSource.h"

#include <algorithm>

namespace nullprint::fuzz {

Result<ByteSpan> StrictSource::view(std::uint64_t offset, std::size_t length)
{
    loan.reset();
    if (length > limits::windowBytes)
        return Error{"more than a window", offset};
    const ByteSpan wanted = NP_TRY(memory.view(offset, length));
    loan = std::make_unique<Byte[]>(length);
    const std::span<Byte> lent(loan.get(), length);
    std::ranges::copy(wanted, lent.begin());
    return ByteSpan(lent);
}

Result<Done> StrictSource::read(std::uint64_t offset, std::span<Byte> target)
{
    loan.reset();
    return memory.read(offset, target);
}

} // namespace nullprint::fuzz
