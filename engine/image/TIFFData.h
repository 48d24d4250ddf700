// The coded data of all pages of a TIFF file: which bytes of it a copy has, and where.
#pragma once

#include "engine/image/Blocks.h"
#include "engine/image/OutputPlan.h"
#include "engine/image/TIFFPage.h"

namespace nullprint::image {

// Data keeps the order it has in the file, and what pages share stays shared. So data that lies
// side by side is copied as one.
class TIFFData {
public:
    // Fails where data overlaps that cannot be told apart, or is not what its compression says.
    static Result<TIFFData> gather(ByteSource& source, std::span<const TIFFPage> pages);

    // What the data consists of, in file order: also what is dropped from it.
    const Blocks& blocks() const { return parts; }

    // Says where in the copy the data begins.
    void placeAt(std::uint64_t start);

    // Where in the copy a strip, tile, table or stream is. Fails when nothing is left of it. After
    // placeAt.
    Result<ByteRange> placeOf(ByteRange original) const;

    // Adds the data to the copy, at the place told before.
    void appendTo(OutputPlan& plan) const;

private:
    struct Claim;
    struct Run {
        ByteRange original;
        ByteRange copy;
        std::optional<OutputPlan> plan; // Where the copy is not simply the original's bytes.
    };

    Result<Done> claimPage(const TIFFPage& page, std::vector<Claim>& claims) const;
    Result<Done> checkStripsOfStreams(std::span<const TIFFPage> pages) const;
    Result<Done> take(ByteSource& source, const Claim& claim, std::uint64_t from);
    Result<Done> takeJPEG(ByteSource& source, const Claim& claim);
    Result<Done> takeWebP(ByteSource& source, const Claim& claim);
    Result<Done> keep(BlockKind kind, ByteRange range);

    Blocks parts;
    std::vector<Run> runs; // In the order of the original.
};

} // namespace nullprint::image
