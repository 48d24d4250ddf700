#include "engine/image/TIFFPage.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/ICC.h"
#include "engine/image/JPEG.h"
#include "engine/image/TIFFTags.h"

#include <algorithm>
#include <unordered_set>

namespace nullprint::image {
namespace {

struct CompressionRow {
    std::uint64_t number;
    TIFFCoding coding;
};

// TIFF 6.0, sections 3, 9 to 11, 13, 14 and 22, and the registered numbers above. A compression
// that is not named here is foreign: picture formats of their own, JBIG with its comments, and what
// nobody knows.
constexpr std::array compressions{
    CompressionRow{1, TIFFCoding::plain},
    CompressionRow{2, TIFFCoding::packed}, // CCITT's, for fax
    CompressionRow{3, TIFFCoding::packed},
    CompressionRow{4, TIFFCoding::packed},
    CompressionRow{5, TIFFCoding::packed}, // LZW
    CompressionRow{6, TIFFCoding::oldJPEG},
    CompressionRow{7, TIFFCoding::jpeg},
    CompressionRow{8, TIFFCoding::packed},     // Deflate
    CompressionRow{32766, TIFFCoding::packed}, // NeXT's two bits
    CompressionRow{32771, TIFFCoding::packed}, // CCITT's, rows in words
    CompressionRow{32773, TIFFCoding::packed}, // PackBits
    CompressionRow{32809, TIFFCoding::packed}, // ThunderScan's four bits
    CompressionRow{32908, TIFFCoding::packed}, // Pixar's
    CompressionRow{32909, TIFFCoding::packed},
    CompressionRow{32946, TIFFCoding::packed}, // Deflate, before 8
    CompressionRow{33007, TIFFCoding::jpeg},
    CompressionRow{34676, TIFFCoding::packed}, // SGI's LogL and LogLuv
    CompressionRow{34677, TIFFCoding::packed},
    CompressionRow{34887, TIFFCoding::packed}, // LERC
    CompressionRow{34892, TIFFCoding::jpeg},   // Lossy JPEG of DNG
    CompressionRow{34925, TIFFCoding::packed}, // LZMA
    CompressionRow{34926, TIFFCoding::packed}, // Zstandard, before 50000
    CompressionRow{34927, TIFFCoding::webp},   // WebP, before 50001
    CompressionRow{50000, TIFFCoding::packed}, // Zstandard
    CompressionRow{50001, TIFFCoding::webp},
};

constexpr std::uint64_t photometricRGB = 2;
constexpr std::uint64_t photometricPalette = 3;
constexpr std::uint64_t photometricYCbCr = 6;
constexpr std::uint64_t planarSeparate = 2;
constexpr std::uint64_t largestSide = 0xFFFFFFFF;

// What the layout of strips and tiles follows from.
struct Samples {
    std::uint64_t width = 0;
    std::uint64_t length = 0;
    std::uint64_t depth = 1;
    std::uint64_t perPixel = 1;
    std::uint64_t bits = 1; // Of the first sample
    std::uint64_t bitsOfPixel = 1;
    std::uint64_t photometric = 0;
    bool isSeparate = false;
};

// The size of a strip or tile.
struct Piece {
    std::uint64_t columns = 0;
    std::uint64_t rows = 0;
    std::uint64_t depth = 1; // Of a tile
};

std::uint64_t quotientUp(std::uint64_t total, std::uint64_t part)
{
    return total / part + (total % part != 0 ? 1 : 0);
}

// Reads one directory.
class PageReader {
public:
    PageReader(const IFDReader& reader,
               ByteSource& source,
               const Directory& directory,
               std::uint64_t& effort)
        : reader(reader)
        , source(source)
        , directory(directory)
        , effort(effort)
    {
    }

    Result<TIFFPage> read()
    {
        page.coding = codingOf(number(tag::compression).value_or(1));
        page.isTiled = directory.find(tag::tileWidth) != nullptr;
        const bool isReduced = (number(tag::newSubfileType).value_or(0) & 1) != 0;
        page.isPreview = directory.find(tag::dngVersion) != nullptr ||
                         (isReduced && directory.find(tag::subIFDs) != nullptr);
        NP_TRY(readSamples());
        readPiece();
        const bool isRegular = samples.depth == 1 && samples.photometric != photometricYCbCr;
        if (page.coding == TIFFCoding::plain && !isRegular)
            page.coding = TIFFCoding::packed;
        NP_TRY(readFields());
        if (page.coding == TIFFCoding::oldJPEG)
            NP_TRY(readOldJPEG());
        NP_TRY(readData());
        return std::move(page);
    }

private:
    std::optional<std::uint64_t> number(std::uint16_t tag) const
    {
        return reader.firstInteger(directory.find(tag));
    }

    // Pages may share what they name, and one that fails has taken its time as well.
    Result<Done> spend(std::uint64_t numbers)
    {
        const bool isTooMuch = numbers > limits::blocks - effort;
        effort = isTooMuch ? limits::blocks : effort + numbers;
        return isTooMuch ? Result<Done>(fail("too many strips")) : Result<Done>(Done{});
    }

    Result<std::vector<std::uint64_t>> firstIntegers(Field field, std::uint64_t most)
    {
        field.count = std::min(field.count, most);
        field.value.length = field.count * sizeOfType(field.type);
        NP_TRY(spend(field.count));
        return reader.integers(field, limits::blocks);
    }

    static TIFFCoding codingOf(std::uint64_t compression)
    {
        const auto* row = std::ranges::find(compressions, compression, &CompressionRow::number);
        return row != compressions.end() ? row->coding : TIFFCoding::foreign;
    }

    Error fail(const char* what) const { return {what, directory.place.offset}; }

    Result<Done> readSamples()
    {
        samples.width = number(tag::imageWidth).value_or(0);
        samples.length = number(tag::imageLength).value_or(0);
        samples.depth = number(tag::imageDepth).value_or(1);
        samples.perPixel = number(tag::samplesPerPixel).value_or(1);
        samples.photometric = number(tag::photometric).value_or(0);
        samples.isSeparate = number(tag::planarConfiguration).value_or(1) == planarSeparate;
        const bool hasSize = samples.width > 0 && samples.length > 0 && samples.depth > 0;
        const bool isBounded = samples.width <= largestSide && samples.length <= largestSide &&
                               samples.depth <= 0x7FFF && samples.perPixel <= 0xFFFF;
        if (!hasSize || !isBounded || samples.perPixel == 0)
            return fail("page without a size");
        return readBits();
    }

    Result<Done> readBits()
    {
        const Field* field = directory.find(tag::bitsPerSample);
        const bool isSeveral =
            samples.photometric == photometricRGB || (field != nullptr && field->count > 1);
        if (isSeveral && !number(tag::samplesPerPixel))
            return fail("page without a number of samples");
        if (field == nullptr) {
            samples.bitsOfPixel = samples.perPixel;
            return Done{};
        }
        const auto bits = NP_TRY(firstIntegers(*field, samples.perPixel));
        if (bits.empty())
            return fail("page without a sample size");
        samples.bits = bits[0];
        samples.bitsOfPixel = 0;
        for (const std::uint64_t size : bits) {
            if (size == 0 || size > limits::sampleBits)
                return fail("page with an impossible sample size");
            samples.bitsOfPixel += size;
        }
        samples.bitsOfPixel += (samples.perPixel - bits.size()) * bits[0];
        return Done{};
    }

    void readPiece()
    {
        piece.columns = page.isTiled ? number(tag::tileWidth).value_or(0) : samples.width;
        piece.rows = page.isTiled ? number(tag::tileLength).value_or(0)
                                  : number(tag::rowsPerStrip).value_or(largestSide);
        piece.depth = number(tag::tileDepth).value_or(1);
    }

    bool isUsed(const TagRow& row) const
    {
        const bool isOld = page.coding == TIFFCoding::oldJPEG;
        if (row.use == Use::jpeg)
            return page.coding == TIFFCoding::jpeg;
        return row.use == Use::always || isOld;
    }

    bool isVital(const TagRow& row, const Field& field) const
    {
        if (row.kind == BlockKind::palette)
            return samples.photometric == photometricPalette;
        if (row.tag == tag::subSampling)
            return samples.photometric == photometricYCbCr;
        // An empty field is as good as none, but where it should say how samples are laid out.
        return row.isVital && (field.count != 0 || row.kind == BlockKind::structure);
    }

    std::uint64_t profileLength(const Field& field) const
    {
        const std::uint64_t size = profileBytes(ByteCursor(source, field.value)).value_or(0);
        return std::min(size, field.count);
    }

    // How many values a copy has of a field; 0 when the field has too few.
    std::uint64_t keptCount(const TagRow& row, const Field& field) const
    {
        const std::uint64_t count = field.count;
        const auto exactly = [count](std::uint64_t needed) { return count < needed ? 0 : needed; };
        const std::uint64_t levels = samples.bits <= 16 ? std::uint64_t{1} << samples.bits : 0;
        switch (row.amount) {
        case Amount::none:
            return 0;
        case Amount::one:
            return exactly(1);
        case Amount::two:
            return exactly(2);
        case Amount::three:
            return exactly(3);
        case Amount::six:
            return exactly(6);
        case Amount::perSample:
            return std::min(count, samples.perPixel);
        case Amount::twicePerSample:
            return std::min(count, 2 * samples.perPixel);
        case Amount::colourMap:
            return exactly(3 * levels);
        case Amount::transfer:
            return count >= 3 * levels ? 3 * levels : exactly(levels);
        case Amount::profile:
            return profileLength(field);
        case Amount::any:
            return count;
        }
        return 0;
    }

    static bool isSigned(FieldType type)
    {
        return type == FieldType::signedByte || type == FieldType::signed16 ||
               type == FieldType::signed32 || type == FieldType::signed64;
    }

    static bool hasForm(FieldType type, Form form)
    {
        const bool isInteger = type == FieldType::byte || type == FieldType::unsigned16 ||
                               type == FieldType::unsigned32 || type == FieldType::unsigned64 ||
                               isSigned(type);
        switch (form) {
        case Form::none:
            return false;
        case Form::integers:
            return isInteger;
        case Form::numbers:
            return isInteger || type == FieldType::rational || type == FieldType::signedRational ||
                   type == FieldType::float32 || type == FieldType::float64;
        case Form::opaque:
            return type == FieldType::undefined || type == FieldType::byte;
        }
        return false;
    }

    // As much of a field as a copy has; without values where it has nothing of it.
    Result<Field> keptOf(const TagRow& row, Field field)
    {
        field.count = hasForm(field.type, row.form) ? keptCount(row, field) : 0;
        field.value.length = field.count * sizeOfType(field.type);
        if (row.form != Form::integers || !isSigned(field.type))
            return field;
        NP_TRY(spend(field.count));
        if (!reader.integers(field, limits::blocks).ok())
            field.count = 0; // Some are negative.
        return field;
    }

    // Of fields with one tag the first counts, as it does for decoders.
    Result<Done> readFields()
    {
        for (const std::uint16_t cut : directory.cutTags) {
            const TagRow* row = rowOf(cut);
            if (row != nullptr && isKept(row->kind))
                return fail("file that ends before a value");
        }
        std::unordered_set<std::uint16_t> seen;
        for (const Field& field : directory.fields) {
            const TagRow* row = rowOf(field.tag);
            const bool isWanted = row != nullptr && row->form != Form::none && isUsed(*row) &&
                                  seen.insert(field.tag).second;
            if (!isWanted)
                continue;
            const Field kept = NP_TRY(keptOf(*row, field));
            if (kept.count != 0) {
                page.fields.push_back(kept);
            } else if (isVital(*row, field)) {
                return fail("field that cannot be what its tag says");
            }
        }
        std::ranges::sort(page.fields, {}, &Field::tag);
        return Done{};
    }

    // Strips or tiles of the whole page, as the standard has them.
    Result<std::uint64_t> expectedCount() const
    {
        const std::uint64_t planes = samples.isSeparate ? samples.perPixel : 1;
        if (!page.isTiled) {
            if (piece.rows == 0)
                return fail("strips without rows");
            return quotientUp(samples.length, piece.rows) * planes;
        }
        if (piece.columns == 0 || piece.rows == 0 || piece.depth == 0)
            return fail("tiles without a size");
        const std::uint64_t across = quotientUp(samples.width, piece.columns);
        const std::uint64_t down = quotientUp(samples.length, piece.rows);
        if (across > limits::blocks || down > limits::blocks)
            return fail("too many tiles");
        const std::uint64_t layers = quotientUp(samples.depth, piece.depth) * planes;
        if (across * down > limits::blocks || layers > limits::blocks)
            return fail("too many tiles");
        return across * down * layers;
    }

    // The length of a strip or tile that is not compressed; nothing where that cannot be told.
    std::optional<std::uint64_t> plainLength(std::uint64_t index) const
    {
        if (page.coding != TIFFCoding::plain)
            return std::nullopt;
        const std::uint64_t bits = samples.isSeparate ? samples.bits : samples.bitsOfPixel;
        std::uint64_t rows = piece.rows;
        if (!page.isTiled) {
            const std::uint64_t before = index % quotientUp(samples.length, rows) * rows;
            rows = std::min(rows, samples.length - before);
        }
        if (piece.columns > largestSide || rows > largestSide)
            return std::nullopt;
        const std::uint64_t rowBytes = quotientUp(piece.columns * bits, 8);
        return rows <= source.size() / rowBytes ? rows * rowBytes : source.size() + 1;
    }

    // Bytes behind the samples of a strip are seen by nobody and stay behind.
    Result<ByteRange> dataRange(std::uint64_t offset, std::uint64_t stored, std::uint64_t index)
    {
        if (offset == 0 && stored == 0)
            return ByteRange{}; // A sparse file's way of saying that there are no samples.
        const std::uint64_t length = plainLength(index).value_or(stored);
        const bool isShort = stored != 0 && stored < length;
        const ByteRange range{offset, length};
        if (length == 0 || isShort || !source.holds(range))
            return Error{"strip or tile that is not all there", offset};
        return range;
    }

    const Field* either(std::uint16_t ofTiles, std::uint16_t ofStrips) const
    {
        const Field* first = directory.find(page.isTiled ? ofTiles : ofStrips);
        return first != nullptr ? first : directory.find(page.isTiled ? ofStrips : ofTiles);
    }

    Result<Done> readData()
    {
        // Either pair of tags is read for the other, as decoders do.
        const Field* place = either(tag::tileOffsets, tag::stripOffsets);
        const Field* size = either(tag::tileByteCounts, tag::stripByteCounts);
        if (place == nullptr && page.jpegStream)
            return Done{};
        if (place == nullptr)
            return fail("page without strips");
        std::uint64_t count = place->count;
        if (page.coding != TIFFCoding::oldJPEG)
            count = NP_TRY(expectedCount());
        if (count == 0 && !page.jpegStream)
            return fail("page without strips");
        if (count > place->count)
            return fail("page with too few strips");
        const auto offsets = NP_TRY(firstIntegers(*place, count));
        std::vector<std::uint64_t> lengths;
        if (size != nullptr)
            lengths = NP_TRY(firstIntegers(*size, count));
        lengths.resize(static_cast<std::size_t>(count));
        page.data.reserve(static_cast<std::size_t>(count));
        for (std::uint64_t index = 0; index < count; ++index) {
            const std::uint64_t offset = offsets[index];
            if (page.coding == TIFFCoding::oldJPEG && lengths[index] == 0 && offset != 0)
                lengths[index] = restOfStream(offset);
            page.data.push_back(NP_TRY(dataRange(offset, lengths[index], index)));
        }
        return Done{};
    }

    // Old-style JPEG names strips without lengths inside of its one stream.
    std::uint64_t restOfStream(std::uint64_t offset) const
    {
        const bool isInside =
            page.jpegStream && offset >= page.jpegStream->offset && offset < page.jpegStream->end();
        return isInside ? page.jpegStream->end() - offset : 0;
    }

    Result<Done> readOldJPEG()
    {
        const std::uint64_t offset = number(tag::jpegStream).value_or(0);
        if (offset != 0 && offset < source.size()) {
            const std::uint64_t length = number(tag::jpegStreamLength).value_or(0);
            const ByteRange rest{offset, source.size() - offset};
            const bool isTold = length != 0 && length <= rest.length;
            page.jpegStream = isTold ? ByteRange{offset, length} : NP_TRY(wholeStream(rest));
        }
        NP_TRY(readTables(tag::jpegQTables));
        NP_TRY(readTables(tag::jpegDCTables));
        return readTables(tag::jpegACTables);
    }

    // Of all streams together so much is walked over as the file has twice.
    Result<Done> spendWalk(std::uint64_t bytes)
    {
        const std::uint64_t bytesPerNumber = source.size() / (limits::blocks / 2) + 1;
        return spend(bytes / bytesPerNumber);
    }

    // A stream of unknown length ends with its end mark, or cannot be told from what follows it.
    Result<ByteRange> wholeStream(ByteRange rest)
    {
        NP_TRY(spend(1)); // Nothing is walked over any more when too much has been.
        PartSource part(source, rest);
        const auto blocks = splitJPEGStream(part);
        if (!blocks.ok()) {
            NP_TRY(spendWalk(rest.length));
            return blocks.error();
        }
        std::uint64_t end = 0;
        for (const Block& block : blocks.value())
            end = block.kind == BlockKind::trailer ? end : block.range.end();
        NP_TRY(spendWalk(end));
        if (end < 2 || !ByteCursor(source, {rest.offset + end - 2, 2}).startsWith("\xFF\xD9"))
            return Error{"JPEG stream without an end", rest.offset};
        return ByteRange{rest.offset, end};
    }

    Result<Done> readTables(std::uint16_t tag)
    {
        const Field* field = directory.find(tag);
        if (field == nullptr)
            return Done{};
        TIFFTables found{tag, {}};
        for (const std::uint64_t offset : NP_TRY(firstIntegers(*field, samples.perPixel)))
            found.tables.push_back(NP_TRY(readTable(tag, offset)));
        page.tables.push_back(std::move(found));
        return Done{};
    }

    // Section 22: 64 bytes, or the number of codes of each of 16 lengths and then a byte a code.
    Result<ByteRange> readTable(std::uint16_t tag, std::uint64_t offset) const
    {
        if (offset == 0)
            return ByteRange{};
        if (offset > source.size())
            return Error{"JPEG table past the end", offset};
        ByteCursor cursor(source, {offset, source.size() - offset});
        if (tag == tag::jpegQTables)
            return cursor.skip(64);
        std::uint64_t codes = 0;
        for (int length = 1; length <= 16; ++length)
            codes += NP_TRY(cursor.u8());
        NP_TRY(cursor.skip(codes));
        return ByteRange{offset, 16 + codes};
    }

    const IFDReader& reader;
    ByteSource& source;
    const Directory& directory;
    std::uint64_t& effort;
    Samples samples;
    Piece piece;
    TIFFPage page;
};

} // namespace

bool hasStripsOrTiles(const Directory& directory)
{
    return directory.find(tag::stripOffsets) != nullptr ||
           directory.find(tag::tileOffsets) != nullptr;
}

bool describesPicture(const IFDReader& reader, const Directory& directory)
{
    const auto isPositive = [&](std::uint16_t tag) {
        return reader.firstInteger(directory.find(tag)).value_or(0) > 0;
    };
    const bool hasData = hasStripsOrTiles(directory) || directory.find(tag::jpegStream) != nullptr;
    return isPositive(tag::imageWidth) && isPositive(tag::imageLength) && hasData;
}

Result<Done>
walkDirectories(const IFDReader& reader, ByteSource& source, const VisitDirectory& visit)
{
    std::unordered_set<std::uint64_t> seen;
    std::uint64_t bytes = 0;
    for (std::uint64_t offset = reader.firstDirectory(); offset != 0;) {
        if (seen.size() == limits::directories || !seen.insert(offset).second)
            return Error{"chain of directories without an end", offset};
        const Directory directory = NP_TRY(reader.readDirectory(offset));
        bytes += directory.place.length;
        if (bytes > source.size())
            return Error{"directories that overlap", offset};
        if (!NP_TRY(visit(directory)))
            return Done{};
        offset = directory.next;
    }
    return Done{};
}

Result<TIFFPage> readTIFFPage(const IFDReader& reader,
                              ByteSource& source,
                              const Directory& directory,
                              std::uint64_t& effort)
{
    return PageReader(reader, source, directory, effort).read();
}

} // namespace nullprint::image
