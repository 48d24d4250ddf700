#include "engine/support/ByteSink.h"

namespace nullprint {

Result<Done> MemorySink::write(ByteSpan bytes)
{
    append(content, bytes);
    return Done{};
}

Result<Done> MemorySink::copy(ByteSource& source, ByteRange range)
{
    if (!source.holds(range))
        return Error{"range past the end", range.offset};
    const std::size_t start = content.size();
    content.resize(start + static_cast<std::size_t>(range.length));
    return source.read(range.offset, std::span(content).subspan(start));
}

} // namespace nullprint
