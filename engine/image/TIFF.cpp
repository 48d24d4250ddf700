// TIFF: directories of tagged fields, which say where values, strips and tiles are. Nothing is
// decoded. Clauses are sections of TIFF 6.0; for 64-bit offsets the BigTIFF design.
#include "engine/image/TIFF.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/EXIF.h"
#include "engine/image/IPTC.h"
#include "engine/image/TIFFData.h"
#include "engine/image/TIFFTags.h"
#include "engine/image/TIFFWriter.h"

#include <algorithm>
#include <queue>
#include <tuple>
#include <unordered_set>

namespace nullprint::image {
namespace {

bool hasSignature(ByteSpan head)
{
    constexpr std::array<std::string_view, 4> signatures{
        {{"II*\0", 4}, {"MM\0*", 4}, {"II+\0", 4}, {"MM\0+", 4}}};
    return std::ranges::any_of(signatures, [head](std::string_view signature) {
        return asText(head).starts_with(signature);
    });
}

Result<Done> checkHeader(ByteSource& source)
{
    const IFDReader reader = NP_TRY(IFDReader::open(source));
    const Directory first = NP_TRY(reader.readDirectory(reader.firstDirectory()));
    if (!describesPicture(reader, first))
        return Error{"directory that describes no picture", first.place.offset};
    return Done{};
}

// Directories of the main chain that describe no picture are passed over, here and in a copy.
Result<std::uint32_t> countFrames(ByteSource& source)
{
    const IFDReader reader = NP_TRY(IFDReader::open(source));
    std::uint32_t pages = 0;
    NP_TRY(walkDirectories(reader, source, [&](const Directory& directory) -> Result<bool> {
        pages += describesPicture(reader, directory) ? 1U : 0U;
        return true;
    }));
    return pages;
}

// Stored as 32-bit numbers, IIM is sometimes turned into the order of the file.
void straighten(Bytes& stream)
{
    constexpr Byte datasetMark = 0x1C;
    const bool isTurned =
        stream.size() >= 4 && stream[0] != datasetMark && stream[3] == datasetMark;
    for (std::size_t at = 0; isTurned && at + 4 <= stream.size(); at += 4)
        std::ranges::reverse(std::span(stream).subspan(at, 4));
}

void readCaptions(ByteSource& source, const Directory& directory, Properties& properties)
{
    if (const Field* field = directory.find(tag::iptc)) {
        auto stream = source.copyOf(field->value);
        if (stream.ok() && field->type == FieldType::unsigned32)
            straighten(stream.value());
        if (stream.ok())
            readIIM(stream.value(), properties);
    }
    if (const Field* field = directory.find(tag::photoshop)) {
        const auto resources = source.copyOf(field->value);
        if (resources.ok())
            readPhotoshopResources(resources.value(), properties);
    }
}

Properties readProperties(ByteSource& source, std::uint32_t frame)
{
    Properties properties;
    const auto reader = IFDReader::open(source);
    if (!reader.ok())
        return properties;
    std::uint32_t page = 0;
    const auto visit = [&](const Directory& directory) -> Result<bool> {
        if (!describesPicture(reader.value(), directory) || page++ != frame)
            return true;
        readEXIFDirectories(reader.value(), source, directory.place.offset, properties);
        readCaptions(source, directory, properties);
        return false;
    };
    // What stands before the damage of a damaged file is told all the same.
    static_cast<void>(walkDirectories(reader.value(), source, visit).ok());
    return properties;
}

Result<std::vector<TIFFPage>> readPages(const IFDReader& reader, ByteSource& source)
{
    std::vector<TIFFPage> pages;
    std::uint64_t effort = 0;
    const auto visit = [&](const Directory& directory) -> Result<bool> {
        if (!describesPicture(reader, directory)) {
            // Raw formats have the picture proper in one that does not tell its size.
            if (hasStripsOrTiles(directory))
                return Error{"strips or tiles of no known size", directory.place.offset};
            return true;
        }
        pages.push_back(NP_TRY(readTIFFPage(reader, source, directory, effort)));
        return true;
    };
    NP_TRY(walkDirectories(reader, source, visit));
    if (pages.empty())
        return Error{"TIFF without pages"};
    return pages;
}

// Something that a stretch of the file is said to be. Of claims to a byte the one with the lowest
// rank wins, and among those the first.
struct Claim {
    ByteRange range;
    BlockKind kind;
    unsigned rank;
};

constexpr unsigned dataRank = 0;
constexpr unsigned keptRank = 1;
constexpr unsigned metadataRank = 2; // Directories, and values that a copy does not have
constexpr unsigned previewRank = 3;

class Claims {
public:
    Claims(const IFDReader& reader, ByteSource& source)
        : reader(reader)
        , source(source)
    {
    }

    void add(BlockKind kind, ByteRange range, unsigned rank)
    {
        if (range.length != 0)
            claims.push_back({range, kind, rank});
    }

    // The directory of a page, its values and, one after the other, the directories it leads to;
    // none any more once those of all pages have turned out to overlap.
    void addPage(const Directory& directory)
    {
        addDirectory(directory, BlockKind::structure);
        while (!pending.empty() && linkedBytes <= source.size()) {
            const auto [offset, kind] = pending.back();
            pending.pop_back();
            if (seen.size() == limits::directories || !seen.insert(offset).second)
                continue;
            const auto linked = reader.readDirectory(offset);
            if (!linked.ok())
                continue;
            linkedBytes += linked.value().place.length;
            if (linkedBytes > source.size())
                return; // They overlap, so they are not what they are said to be.
            addDirectory(linked.value(), kind);
            if (kind == BlockKind::extraImage)
                addExtraImage(linked.value());
        }
    }

    // Whether data that a copy has lies across metadata.
    bool haveMetadataInData();

    Result<Blocks> resolved();

private:
    void addDirectory(const Directory& directory, BlockKind kind)
    {
        const bool isPage = kind == BlockKind::structure;
        add(kind, directory.place, metadataRank);
        for (const Field& field : directory.fields) {
            const BlockKind own = isPage ? kindOfTag(field.tag) : kind;
            const bool isInside = field.value.offset >= directory.place.offset &&
                                  field.value.end() <= directory.place.end();
            if (!isInside)
                add(own, field.value, isKept(own) ? keptRank : metadataRank);
            follow(field);
        }
    }

    void follow(const Field& field)
    {
        const bool leads = field.tag == tag::exifIFD || field.tag == tag::gpsIFD ||
                           field.tag == tag::interoperabilityIFD || field.tag == tag::subIFDs;
        if (!leads || field.count > limits::blocks - effort)
            return;
        effort += field.count;
        const auto offsets = reader.integers(field, limits::directories);
        if (!offsets.ok())
            return;
        for (const std::uint64_t offset : offsets.value())
            pending.emplace_back(offset, kindOfTag(field.tag));
    }

    void addExtraImage(const Directory& directory)
    {
        const auto page = readTIFFPage(reader, source, directory, effort);
        if (!page.ok())
            return;
        for (const ByteRange& data : page.value().data)
            add(BlockKind::extraImage, data, previewRank);
    }

    const IFDReader& reader;
    ByteSource& source;
    std::vector<Claim> claims;
    std::vector<std::pair<std::uint64_t, BlockKind>> pending;
    std::unordered_set<std::uint64_t> seen;
    std::uint64_t linkedBytes = 0;
    std::uint64_t effort = 0; // Numbers read, for which limits::blocks is bound enough.
};

bool Claims::haveMetadataInData()
{
    std::ranges::sort(claims, {}, [](const Claim& claim) { return claim.range.offset; });
    std::uint64_t dataEnd = 0;
    std::uint64_t metadataEnd = 0;
    for (const Claim& claim : claims) {
        const bool isData = claim.rank == dataRank && isKept(claim.kind);
        if (!isData && claim.rank != metadataRank)
            continue;
        if (claim.range.offset < (isData ? metadataEnd : dataEnd))
            return true;
        std::uint64_t& end = isData ? dataEnd : metadataEnd;
        end = std::max(end, claim.range.end());
    }
    return false;
}

// One sweep from the file's start to its end; `open` holds the claims that the sweep has reached.
Result<Blocks> Claims::resolved()
{
    std::ranges::sort(claims, {}, [](const Claim& claim) {
        return std::tuple(claim.range.offset, claim.rank, claim.range.length, claim.kind);
    });
    const auto isWeaker = [this](std::size_t left, std::size_t right) {
        return std::tuple(claims[left].rank, left) > std::tuple(claims[right].rank, right);
    };
    std::priority_queue<std::size_t, std::vector<std::size_t>, decltype(isWeaker)> open(isWeaker);
    Blocks blocks;
    std::uint64_t at = 0;
    std::size_t next = 0;
    while (at < source.size()) {
        for (; next < claims.size() && claims[next].range.offset <= at; ++next)
            open.push(next);
        while (!open.empty() && claims[open.top()].range.end() <= at)
            open.pop();
        const std::uint64_t reach =
            next < claims.size() ? claims[next].range.offset : source.size();
        const std::uint64_t end =
            open.empty() ? reach : std::min(reach, claims[open.top()].range.end());
        const BlockKind kind = open.empty() ? BlockKind::filler : claims[open.top()].kind;
        NP_TRY(blocks.add(kind, {at, end - at}));
        at = end;
    }
    return blocks;
}

Result<Claims> claimsOf(const IFDReader& reader, ByteSource& source, const TIFFData& data)
{
    Claims claims(reader, source);
    claims.add(BlockKind::structure, {0, reader.isBig() ? 16U : 8U}, keptRank);
    for (const Block& block : data.blocks())
        claims.add(block.kind, block.range, dataRank);
    NP_TRY(walkDirectories(reader, source, [&](const Directory& directory) -> Result<bool> {
        claims.addPage(directory);
        return true;
    }));
    return claims;
}

// The length of coded data is what its byte count says, right or wrong. (That of plain samples
// follows from their number.) A wrong one must not bring metadata along.
Result<Done> checkCodedData(const IFDReader& reader,
                            ByteSource& source,
                            std::span<const TIFFPage> pages,
                            const TIFFData& data)
{
    const auto isPlain = [](const TIFFPage& page) { return page.coding == TIFFCoding::plain; };
    if (std::ranges::all_of(pages, isPlain))
        return Done{};
    Claims claims = NP_TRY(claimsOf(reader, source, data));
    return claims.haveMetadataInData() ? Result<Done>(Error{"strips that lie across metadata"})
                                       : Result<Done>(Done{});
}

Result<OutputPlan> planCleanCopy(ByteSource& source)
{
    const IFDReader reader = NP_TRY(IFDReader::open(source));
    const std::vector<TIFFPage> pages = NP_TRY(readPages(reader, source));
    if (std::ranges::any_of(pages, &TIFFPage::isPreview))
        return Error{"TIFF whose pages stand for a picture in another directory"};
    TIFFData data = NP_TRY(TIFFData::gather(source, pages));
    NP_TRY(checkCodedData(reader, source, pages, data));
    return planTIFF(reader, source, pages, std::move(data));
}

} // namespace

// Data is taken first, so that it is what a copy has of it, whatever else is said of the same
// bytes.
Result<Blocks> splitTIFF(ByteSource& source)
{
    const IFDReader reader = NP_TRY(IFDReader::open(source));
    const std::vector<TIFFPage> pages = NP_TRY(readPages(reader, source));
    const TIFFData data = NP_TRY(TIFFData::gather(source, pages));
    Claims claims = NP_TRY(claimsOf(reader, source, data));
    return claims.resolved();
}

constexpr ImageFormat tiffFormat{
    .type = ImageType::tiff,
    .name = "TIFF",
    .hasSignature = hasSignature,
    .checkHeader = checkHeader,
    .countFrames = countFrames,
    .readProperties = readProperties,
    .split = splitTIFF,
    .planCleanCopy = planCleanCopy,
};

} // namespace nullprint::image
