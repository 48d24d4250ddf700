#include "fuzz/StrictSource.h"

#include <cstring>

namespace nullprint::fuzz {

Result<ByteSpan> StrictSource::view(std::uint64_t offset, std::size_t length)
{
    loan.reset();
    if (length > limits::windowBytes)
        return Error{"more than a window", offset};
    const ByteSpan wanted = NP_TRY(memory.view(offset, length));
    loan = std::make_unique<Byte[]>(length);
    if (length > 0) // Not a loop, each round of which a fuzzing engine would count.
        std::memcpy(loan.get(), wanted.data(), length);
    return ByteSpan(loan.get(), length);
}

Result<Done> StrictSource::read(std::uint64_t offset, std::span<Byte> target)
{
    loan.reset();
    return memory.read(offset, target);
}

} // namespace nullprint::fuzz
