#include "engine/pdf/worker/Input.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace nullprint::pdf {
namespace {

// Read as the end of the file, a failure would have the library look for its damage again and
// again.
ByteSpan bytesAt(ByteSource& source, std::uint64_t offset, std::uint64_t length)
{
    const auto bytes = source.view(offset, static_cast<std::size_t>(length));
    if (!bytes.ok())
        throw std::runtime_error("the file cannot be read");
    return bytes.value();
}

bool endsLine(Byte byte)
{
    return byte == '\r' || byte == '\n';
}

} // namespace

// Some bytes from here on; none at the end.
ByteSpan Input::window() const
{
    constexpr std::uint64_t stretch = 4096;
    if (at >= source.size())
        return {};
    return bytesAt(source, at, std::min<std::uint64_t>(source.size() - at, stretch));
}

// The answer is where the line ends; all line ends that follow are passed over.
qpdf_offset_t Input::findAndSkipNextEOL()
{
    std::optional<std::uint64_t> end;
    for (ByteSpan bytes = window(); !bytes.empty(); bytes = window()) {
        const auto hit =
            end ? std::ranges::find_if_not(bytes, endsLine) : std::ranges::find_if(bytes, endsLine);
        at += static_cast<std::uint64_t>(hit - bytes.begin());
        if (hit == bytes.end())
            continue;
        if (end)
            return static_cast<qpdf_offset_t>(*end);
        end = at;
    }
    return static_cast<qpdf_offset_t>(end.value_or(at));
}

void Input::seek(qpdf_offset_t offset, int whence)
{
    qpdf_offset_t from = 0;
    if (whence == SEEK_CUR)
        from = tell();
    else if (whence == SEEK_END)
        from = static_cast<qpdf_offset_t>(source.size());
    qpdf_offset_t place = 0;
    if (__builtin_add_overflow(from, offset, &place) || place < 0)
        throw std::runtime_error("a place before the start of the file");
    at = static_cast<std::uint64_t>(place);
}

size_t Input::read(char* buffer, size_t length)
{
    setLastOffset(tell());
    const std::span target(buffer, length);
    std::size_t done = 0;
    while (done < length && at < source.size()) {
        const auto bytes = bytesAt(
            source,
            at,
            std::min<std::uint64_t>({length - done, source.size() - at, limits::windowBytes}));
        std::ranges::copy(asText(bytes), target.subspan(done).begin());
        done += bytes.size();
        at += bytes.size();
    }
    return done;
}

} // namespace nullprint::pdf
