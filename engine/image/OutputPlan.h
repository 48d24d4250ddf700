// What a cleaned picture will be, before a byte of it is written: ranges of the original that are
// taken over as they are, and a few bytes that are written fresh between them.
#pragma once

#include "engine/support/ByteSink.h"

#include <optional>

namespace nullprint::image {

class OutputPlan {
public:
    // `range` must lie within the source that the plan is written from.
    void copy(ByteRange range);
    void write(ByteSpan fresh);
    void write(std::string_view fresh);
    // Adds what another plan holds, made from the part of the same source that begins at `base`.
    void append(const OutputPlan& part, std::uint64_t base);

    // Length of the finished picture in bytes.
    std::uint64_t size() const { return total; }

    // Replaces fresh bytes written earlier, at the place in the finished picture where they stand
    // (the size field of a container, known only at the end).
    void rewrite(std::uint64_t place, ByteSpan fresh);

    // Fails, before anything is written, on a plan of more pieces than limits::blocks.
    Result<Done> writeTo(ByteSink& sink, ByteSource& source) const;

private:
    struct Piece {
        bool isFresh;
        ByteRange range; // In the source, or in `freshBytes`.
    };

    void add(Piece piece);

    std::vector<Piece> pieces;
    Bytes freshBytes;
    std::uint64_t total = 0;
    bool hasTooMany = false; // Of which those past the limit are not there.
};

} // namespace nullprint::image
