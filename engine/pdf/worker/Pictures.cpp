#include "engine/pdf/worker/Pictures.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/ImageSource.h"
#include "engine/image/JPEG.h"
#include "engine/image/XMP.h"
#include "engine/support/ByteCursor.h"

#include <algorithm>
#include <optional>
#include <qpdf/Pipeline.hh>
#include <stdexcept>

namespace nullprint::pdf {
namespace {

// What the blocks that cameras and editors put into a JPEG begin with, or hold.
constexpr std::array<std::string_view, 4> metadataMarks{"Exif",
                                                        "Photoshop 3.0",
                                                        image::xmpElement,
                                                        image::xmpBasicNamespace};

Result<image::OutputPlan> planWhole(ByteSource& picture)
{
    const auto source = NP_TRY(image::ImageSource::open(picture));
    if (source.type() != image::ImageType::jpeg)
        return Error{"a stream that is not JPEG"};
    return image::jpegFormat.planCleanCopy(picture);
}

// Of a picture that is cut short or otherwise not whole: what a decoder can use. Without metadata
// it may be whole, so it gets the end mark that a whole one would get.
Result<image::OutputPlan> planPieces(ByteSource& picture)
{
    constexpr std::string_view end = "\xFF\xD9";
    if (!ByteCursor(picture).startsWith(image::jpegStart))
        return Error{"a damaged picture with metadata"};
    image::OutputPlan plan;
    ByteRange last;
    bool sawScan = false; // What colours mean is said before it.
    for (const image::Block& block : NP_TRY(image::splitJPEGStream(picture))) {
        if (!image::isKept(block.kind) ||
            (sawScan && block.kind == image::BlockKind::colourTransform))
            continue;
        sawScan = sawScan || block.kind == image::BlockKind::pixels;
        plan.copy(block.range);
        last = block.range;
    }
    const bool hasEnd = last.length >= end.size() &&
                        ByteCursor(picture, {last.end() - end.size(), end.size()}).startsWith(end);
    if (!hasEnd)
        plan.write(asBytes(end));
    return plan;
}

// Damaged pictures stay as they are, unless they carry metadata: readers differ in what they make
// of them.
Result<image::OutputPlan> planCopy(ByteSource& picture)
{
    auto whole = planWhole(picture);
    if (whole.ok())
        return whole;
    if (image::containsAny(picture, metadataMarks))
        return planPieces(picture);
    image::OutputPlan plan;
    plan.copy({0, picture.size()});
    return plan;
}

// Collects what a stream holds, up to a bound. The library's own way copies it three times.
class Collector final : public Pipeline {
public:
    explicit Collector(Bytes& content)
        : Pipeline("picture", nullptr)
        , content(content)
    {
    }

    void write(unsigned char const* data, size_t length) override
    {
        if (content.size() + length > limits::partBytes)
            throw std::runtime_error("a picture that is too large");
        append(content, ByteSpan(data, length));
    }
    void finish() override {}

private:
    Bytes& content;
};

// Readers look for where a picture starts, behind the line end that some writers put there.
ByteSpan withoutLeadingSpace(ByteSpan picture)
{
    constexpr std::string_view spaces("\0\t\n\f\r ", 6);
    const std::string_view text = asText(picture);
    const std::size_t start = text.find_first_not_of(spaces);
    const bool isPicture =
        start != std::string_view::npos && text.substr(start).starts_with(image::jpegStart);
    return isPicture ? picture.subspan(start) : picture;
}

class PipelineSink final : public ByteSink {
public:
    explicit PipelineSink(Pipeline& pipeline)
        : pipeline(pipeline)
    {
    }

    Result<Done> write(ByteSpan bytes) override
    {
        pipeline.write(bytes.data(), bytes.size());
        return Done{};
    }
    Result<Done> copy(ByteSource& source, ByteRange range) override
    {
        while (range.length > 0) {
            const auto step = std::min<std::uint64_t>(range.length, limits::windowBytes);
            const auto bytes = NP_TRY(source.view(range.offset, static_cast<std::size_t>(step)));
            NP_TRY(write(bytes));
            range.offset += step;
            range.length -= step;
        }
        return Done{};
    }

private:
    Pipeline& pipeline;
};

// Where in the file a stream's data is, when it stands there as it is.
std::optional<ByteRange> placeOf(QPDFObjectHandle stream, PDFFile& file)
{
    constexpr std::string_view end = "endstream";
    QPDFObjectHandle length = stream.getDict().getKey("/Length");
    const qpdf_offset_t offset = stream.getParsedOffset();
    if (file.document.isEncrypted() || offset < 0 || !length.isInteger())
        return std::nullopt;
    const ByteRange place{static_cast<std::uint64_t>(offset), length.getUIntValue()};
    if (!file.source.holds(place))
        return std::nullopt;
    ByteCursor behind(file.source, {place.end(), file.source.size() - place.end()});
    for (const char* lineEnd : {"\r", "\n"}) {
        if (behind.startsWith(lineEnd) && !behind.skip(1).ok())
            return std::nullopt;
    }
    return behind.startsWith(end) ? std::optional(place) : std::nullopt;
}

// The filters of a JPEG, and what they are given. The last one is the JPEG's own.
struct Coding {
    std::vector<QPDFObjectHandle> filters;
    std::vector<QPDFObjectHandle> parameters; // As many.

    bool isPacked() const { return filters.size() > 1; }
};

std::vector<QPDFObjectHandle> listed(QPDFObjectHandle value)
{
    return value.isArray() ? value.getArrayAsVector() : std::vector{value};
}

Coding codingOf(QPDFObjectHandle dictionary)
{
    Coding coding{listed(dictionary.getKey("/Filter")), listed(dictionary.getKey("/DecodeParms"))};
    coding.parameters.resize(coding.filters.size(), QPDFObjectHandle::newNull());
    return coding;
}

// Replaces `content` by what the filters before the last one make of a stream. Whether that is all
// there is.
bool unpack(QPDFObjectHandle stream, PDFFile& file, Bytes& content)
{
    Coding coding = codingOf(stream.getDict());
    coding.filters.pop_back();
    coding.parameters.pop_back();
    auto packed = QPDFObjectHandle::newStream(&file.document);
    packed.replaceStreamData(stream.getRawStreamData(),
                             QPDFObjectHandle::newArray(coding.filters),
                             QPDFObjectHandle::newArray(coding.parameters));
    content.clear();
    Collector collector(content);
    bool isFiltered = false;
    try {
        return packed.pipeStreamData(&collector, &isFiltered, 0, qpdf_dl_generalized) && isFiltered;
    } catch (const std::runtime_error&) { // Damaged. What came before the damage is there.
        return false;
    }
}

// Cleans a stream at the moment that it is written, so that one picture is in memory at a time.
class CleanPicture final : public QPDFObjectHandle::StreamDataProvider {
public:
    CleanPicture(QPDFObjectHandle original, PDFFile& file, std::shared_ptr<Bytes> memory)
        : original(original.copyStream())
        , isPacked(codingOf(original.getDict()).isPacked())
        , place(isPacked ? std::nullopt : placeOf(original, file))
        , file(file)
        , memory(std::move(memory))
    {
    }

    void provideStreamData(QPDFObjGen const&, Pipeline* pipeline) override
    {
        MemorySource picture(withoutLeadingSpace(read()));
        const auto plan = planCopy(picture);
        PipelineSink sink(*pipeline);
        if (!plan.ok() || !plan.value().writeTo(sink, picture).ok())
            throw std::runtime_error("a picture cannot be cleaned");
        pipeline->finish();
    }

private:
    ByteSpan read()
    {
        if (place) {
            const auto length = static_cast<std::size_t>(place->length);
            memory->resize(std::max(memory->size(), length));
            const auto data = std::span(*memory).first(length);
            if (!file.source.read(place->offset, data).ok())
                throw std::runtime_error("a picture cannot be read");
            return data;
        }
        if (isPacked) {
            if (!unpack(original, file, *memory))
                throw std::runtime_error("a picture cannot be unpacked");
            return *memory;
        }
        memory->clear();
        Collector collector(*memory);
        bool isFiltered = false;
        if (!original.pipeStreamData(&collector, &isFiltered, 0, qpdf_dl_none))
            throw std::runtime_error("a picture cannot be read");
        return *memory;
    }

    QPDFObjectHandle original;
    bool isPacked;
    std::optional<ByteRange> place;
    PDFFile& file;
    std::shared_ptr<Bytes> memory; // All pictures use the same, one after the other.
};

// The short name is for pictures inside the instructions for a page. Readers take it anywhere.
bool isDCT(QPDFObjectHandle filter)
{
    return filter.isNameAndEquals("/DCTDecode") || filter.isNameAndEquals("/DCT");
}

bool isPicture(QPDFObjectHandle object)
{
    if (!object.isStream())
        return false;
    QPDFObjectHandle dictionary = object.getDict();
    const Coding coding = codingOf(dictionary);
    return !coding.filters.empty() && isDCT(coding.filters.back()) &&
           !dictionary.getKey("/Type").isNameAndEquals("/EmbeddedFile") && !dictionary.hasKey("/F");
}

// Whether there is anything in a packed picture that has to go. Otherwise it stays packed; so does
// one that cannot be unpacked, unless metadata is seen in what can.
bool needsCleaning(QPDFObjectHandle picture, PDFFile& file, Bytes& memory)
{
    if (!codingOf(picture.getDict()).isPacked())
        return true;
    const bool isWhole = unpack(picture, file, memory);
    MemorySource content(withoutLeadingSpace(memory));
    const auto plan = planCopy(content);
    if (!plan.ok() || (!isWhole && plan.value().size() != content.size()))
        throw std::runtime_error("a packed picture cannot be cleaned");
    return isWhole && plan.value().size() != memory.size();
}

} // namespace

void cleanPictures(PDFFile& file)
{
    const auto memory = std::make_shared<Bytes>();
    for (QPDFObjectHandle object : file.document.getAllObjects()) {
        if (!isPicture(object) || !needsCleaning(object, file, *memory))
            continue;
        const Coding coding = codingOf(object.getDict());
        object.replaceStreamData(std::make_shared<CleanPicture>(object, file, memory),
                                 coding.filters.back(),
                                 coding.parameters.back());
    }
}

} // namespace nullprint::pdf
