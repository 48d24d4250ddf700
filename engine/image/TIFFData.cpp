#include "engine/image/TIFFData.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/ImageFormats.h"
#include "engine/image/JPEG.h"

#include <algorithm>
#include <tuple>

namespace nullprint::image {
namespace {

// How a stretch of data is taken over.
enum class Taking : std::uint8_t {
    stream, // JPEG, with or without a scan
    jpeg,   // JPEG with a scan
    scan,   // The same, or the scan alone
    webp,
    samples, // As it is
    tables,  // As it is
};

bool contains(ByteRange outer, ByteRange inner)
{
    return inner.offset >= outer.offset && inner.end() <= outer.end();
}

Taking takingOf(TIFFCoding coding)
{
    switch (coding) {
    case TIFFCoding::jpeg:
        return Taking::jpeg;
    case TIFFCoding::oldJPEG:
        return Taking::scan;
    case TIFFCoding::webp:
        return Taking::webp;
    default:
        return Taking::samples;
    }
}

// The stream of an old-style JPEG page, with the strips that begin inside of it: its length is
// sometimes told a few bytes short.
std::optional<ByteRange> streamOf(const TIFFPage& page)
{
    if (!page.jpegStream)
        return std::nullopt;
    ByteRange stream = *page.jpegStream;
    for (const ByteRange& strip : page.data) {
        const bool beginsInside = strip.offset >= stream.offset && strip.offset < stream.end();
        if (beginsInside && strip.end() > stream.end())
            stream.length = strip.end() - stream.offset;
    }
    return stream;
}

} // namespace

struct TIFFData::Claim {
    ByteRange range;
    Taking taking;

    friend bool operator==(const Claim&, const Claim&) = default;
};

Result<Done> TIFFData::claimPage(const TIFFPage& page, std::vector<Claim>& claims) const
{
    if (page.coding == TIFFCoding::foreign)
        return Error{"strips whose compression may carry metadata"};
    const std::optional<ByteRange> stream = streamOf(page);
    const auto claim = [&](ByteRange range, Taking taking) {
        const bool isPartOfStream = stream && contains(*stream, range);
        if (range.length != 0 && !isPartOfStream)
            claims.push_back({range, taking});
    };
    if (stream)
        claims.push_back({*stream, Taking::stream});
    for (const ByteRange& data : page.data)
        claim(data, takingOf(page.coding));
    for (const TIFFTables& tables : page.tables) {
        for (const ByteRange& table : tables.tables)
            claim(table, Taking::tables);
    }
    if (claims.size() > limits::blocks)
        return Error{"too many strips"};
    return Done{};
}

Result<TIFFData> TIFFData::gather(ByteSource& source, std::span<const TIFFPage> pages)
{
    TIFFData data;
    std::vector<Claim> claims;
    for (const TIFFPage& page : pages)
        NP_TRY(data.claimPage(page, claims));
    std::ranges::sort(claims, {}, [](const Claim& claim) {
        return std::tuple(claim.range.offset, ~claim.range.length, claim.taking);
    });
    std::uint64_t end = 0;
    const Claim* coded = nullptr; // The last one that is not simply copied.
    for (const Claim& claim : claims) {
        if (coded != nullptr && claim == *coded)
            continue;
        const bool isCoded = claim.taking < Taking::samples;
        const bool isInCoded = coded != nullptr && claim.range.offset < coded->range.end();
        if (isInCoded || (isCoded && claim.range.offset < end))
            return Error{"strips that overlap", claim.range.offset};
        NP_TRY(data.take(source, claim, std::max(end, claim.range.offset)));
        end = std::max(end, claim.range.end());
        coded = isCoded ? &claim : coded;
    }
    NP_TRY(data.checkStripsOfStreams(pages));
    return data;
}

// What stands in a stream without being a scan of it is not kept, whoever calls it a strip.
Result<Done> TIFFData::checkStripsOfStreams(std::span<const TIFFPage> pages) const
{
    std::vector<ByteRange> scans;
    for (const Block& block : parts) {
        if (block.kind == BlockKind::pixels)
            scans.push_back(block.range);
    }
    for (const TIFFPage& page : pages) {
        const std::optional<ByteRange> stream = streamOf(page);
        for (const ByteRange& strip : page.data) {
            if (!stream || strip.length == 0 || !contains(*stream, strip))
                continue;
            const auto scan = std::ranges::upper_bound(scans, strip.offset, {}, &ByteRange::end);
            if (scan == scans.end() || scan->offset >= strip.end())
                return Error{"JPEG strip without a scan", strip.offset};
        }
    }
    return Done{};
}

Result<Done> TIFFData::take(ByteSource& source, const Claim& claim, std::uint64_t from)
{
    if (claim.taking == Taking::webp)
        return takeWebP(source, claim);
    if (claim.taking < Taking::webp)
        return takeJPEG(source, claim);
    if (from >= claim.range.end())
        return Done{};
    const bool isTable = claim.taking == Taking::tables;
    const ByteRange rest{from, claim.range.end() - from};
    return keep(isTable ? BlockKind::codingTables : BlockKind::pixels, rest);
}

Result<Done> TIFFData::takeJPEG(ByteSource& source, const Claim& claim)
{
    PartSource part(source, claim.range);
    if (claim.taking != Taking::scan && !ByteCursor(part).startsWith(jpegStart))
        return Error{"strip that is not JPEG", claim.range.offset};
    const Blocks blocks = NP_TRY(splitJPEGStream(part));
    bool hasPixels = false;
    for (const Block& block : blocks) {
        hasPixels = hasPixels || block.kind == BlockKind::pixels;
        NP_TRY(keep(block.kind, {claim.range.offset + block.range.offset, block.range.length}));
    }
    if (!hasPixels && claim.taking != Taking::stream)
        return Error{"JPEG strip without a scan", claim.range.offset};
    return Done{};
}

Result<Done> TIFFData::takeWebP(ByteSource& source, const Claim& claim)
{
    PartSource part(source, claim.range);
    const ImageFormat* format = formatOf(part);
    if (format == nullptr || format->type != ImageType::webp)
        return Error{"strip that is not WebP", claim.range.offset};
    NP_TRY(format->checkHeader(part));
    const Blocks blocks = NP_TRY(format->split(part));
    for (const Block& block : blocks) {
        const ByteRange range{claim.range.offset + block.range.offset, block.range.length};
        NP_TRY(parts.add(block.kind, range));
    }
    runs.push_back({claim.range, {}, NP_TRY(format->planCleanCopy(part))});
    return Done{};
}

Result<Done> TIFFData::keep(BlockKind kind, ByteRange range)
{
    NP_TRY(parts.add(kind, range));
    if (!isKept(kind))
        return Done{};
    const bool continues =
        !runs.empty() && !runs.back().plan && runs.back().original.end() == range.offset;
    if (continues) {
        runs.back().original.length += range.length;
    } else if (range.length != 0) {
        runs.push_back({range, {}, std::nullopt});
    }
    return Done{};
}

void TIFFData::placeAt(std::uint64_t start)
{
    for (Run& run : runs) {
        run.copy = {start, run.plan ? run.plan->size() : run.original.length};
        start = run.copy.end();
    }
}

Result<ByteRange> TIFFData::placeOf(ByteRange original) const
{
    const auto first = std::ranges::upper_bound(runs, original.offset, {}, [](const Run& run) {
        return run.original.end();
    });
    const auto behind =
        std::ranges::lower_bound(first, runs.end(), original.end(), {}, [](const Run& run) {
            return run.original.offset;
        });
    if (first == behind)
        return Error{"strip or table of which nothing is kept", original.offset};
    const Run& last = *std::prev(behind);
    std::uint64_t begin = first->copy.offset;
    std::uint64_t end = last.copy.end();
    if (!first->plan && original.offset > first->original.offset)
        begin += original.offset - first->original.offset;
    if (!last.plan && original.end() < last.original.end())
        end -= last.original.end() - original.end();
    return ByteRange{begin, end - begin};
}

void TIFFData::appendTo(OutputPlan& plan) const
{
    for (const Run& run : runs) {
        if (run.plan) {
            plan.append(*run.plan, run.original.offset);
        } else {
            plan.copy(run.original);
        }
    }
}

} // namespace nullprint::image
