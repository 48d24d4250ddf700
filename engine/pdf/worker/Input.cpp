#include "engine/pdf/worker/Input.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace nullprint::pdf {
namespace {

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
    const auto length = std::min<std::uint64_t>(source.size() - at, stretch);
    const auto bytes = source.view(at, static_cast<std::size_t>(length));
    return bytes.ok() ? bytes.value() : ByteSpan();
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
        const auto step = static_cast<std::size_t>(
            std::min<std::uint64_t>({length - done, source.size() - at, limits::windowBytes}));
        const auto bytes = source.view(at, step);
        if (!bytes.ok())
            break;
        std::ranges::copy(asText(bytes.value()), target.subspan(done).begin());
        done += step;
        at += step;
    }
    return done;
}

} // namespace nullprint::pdf
