#include "engine/image/OutputPlan.h"

#include <algorithm>

namespace nullprint::image {

void OutputPlan::add(Piece piece)
{
    if (piece.range.length == 0 || hasTooMany)
        return;
    total += piece.range.length;
    if (!pieces.empty()) {
        Piece& last = pieces.back();
        if (last.isFresh == piece.isFresh && last.range.end() == piece.range.offset) {
            last.range.length += piece.range.length;
            return;
        }
    }
    if (pieces.size() < limits::blocks) {
        pieces.push_back(piece);
    } else {
        hasTooMany = true;
    }
}

void OutputPlan::copy(ByteRange range)
{
    add({false, range});
}

void OutputPlan::write(ByteSpan fresh)
{
    add({true, {freshBytes.size(), fresh.size()}});
    if (!hasTooMany)
        nullprint::append(freshBytes, fresh);
}

void OutputPlan::write(std::string_view fresh)
{
    write(asBytes(fresh));
}

void OutputPlan::append(const OutputPlan& part, std::uint64_t base)
{
    hasTooMany = hasTooMany || part.hasTooMany;
    if (hasTooMany)
        return;
    for (const Piece& piece : part.pieces) {
        const ByteRange& range = piece.range;
        if (piece.isFresh) {
            write(ByteSpan(part.freshBytes)
                      .subspan(static_cast<std::size_t>(range.offset),
                               static_cast<std::size_t>(range.length)));
        } else {
            copy({base + range.offset, range.length});
        }
    }
}

void OutputPlan::rewrite(std::uint64_t place, ByteSpan fresh)
{
    std::uint64_t start = 0;
    for (const Piece& piece : pieces) {
        if (place < start + piece.range.length) {
            const std::uint64_t within = place - start;
            assert(piece.isFresh && fresh.size() <= piece.range.length - within);
            std::ranges::copy(fresh,
                              freshBytes.begin() +
                                  static_cast<std::ptrdiff_t>(piece.range.offset + within));
            return;
        }
        start += piece.range.length;
    }
    assert(hasTooMany);
}

Result<Done> OutputPlan::writeTo(ByteSink& sink, ByteSource& source) const
{
    if (hasTooMany)
        return Error{"a picture of too many pieces"};
    for (const Piece& piece : pieces) {
        if (piece.isFresh) {
            NP_TRY(sink.write(ByteSpan(freshBytes)
                                  .subspan(static_cast<std::size_t>(piece.range.offset),
                                           static_cast<std::size_t>(piece.range.length))));
        } else {
            NP_TRY(sink.copy(source, piece.range));
        }
    }
    return Done{};
}

} // namespace nullprint::image
