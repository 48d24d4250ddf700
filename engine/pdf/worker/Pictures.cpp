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

// Of a picture that is cut short or otherwise not whole: what a decoder can use.
Result<image::OutputPlan> planPieces(ByteSource& picture)
{
    if (!ByteCursor(picture).startsWith(image::jpegStart))
        return Error{"a damaged picture with metadata"};
    image::OutputPlan plan;
    for (const image::Block& block : NP_TRY(image::splitJPEGStream(picture))) {
        if (image::isKept(block.kind))
            plan.copy(block.range);
    }
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

// Collects what a stream holds. The library's own way copies it three times.
class Collector final : public Pipeline {
public:
    explicit Collector(Bytes& content)
        : Pipeline("picture", nullptr)
        , content(content)
    {
    }

    void write(unsigned char const* data, size_t length) override
    {
        append(content, ByteSpan(data, length));
    }
    void finish() override {}

private:
    Bytes& content;
};

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

// Cleans a stream at the moment that it is written, so that one picture is in memory at a time.
class CleanPicture final : public QPDFObjectHandle::StreamDataProvider {
public:
    CleanPicture(QPDFObjectHandle original, PDFFile& file, std::shared_ptr<Bytes> memory)
        : original(original.copyStream())
        , place(placeOf(original, file))
        , file(file)
        , memory(std::move(memory))
    {
    }

    void provideStreamData(QPDFObjGen const&, Pipeline* pipeline) override
    {
        MemorySource picture(read());
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
        memory->clear();
        Collector collector(*memory);
        bool isFiltered = false;
        if (!original.pipeStreamData(&collector, &isFiltered, 0, qpdf_dl_none))
            throw std::runtime_error("a picture cannot be read");
        return *memory;
    }

    QPDFObjectHandle original;
    std::optional<ByteRange> place;
    PDFFile& file;
    std::shared_ptr<Bytes> memory; // All pictures use the same, one after the other.
};

bool isOnlyDCT(QPDFObjectHandle filter)
{
    if (filter.isArray() && filter.getArrayNItems() == 1)
        filter = filter.getArrayItem(0);
    return filter.isNameAndEquals("/DCTDecode");
}

bool isPicture(QPDFObjectHandle object)
{
    if (!object.isStream())
        return false;
    QPDFObjectHandle dictionary = object.getDict();
    return isOnlyDCT(dictionary.getKey("/Filter")) &&
           !dictionary.getKey("/Type").isNameAndEquals("/EmbeddedFile") && !dictionary.hasKey("/F");
}

} // namespace

void cleanPictures(PDFFile& file)
{
    const auto memory = std::make_shared<Bytes>();
    for (QPDFObjectHandle object : file.document.getAllObjects()) {
        if (!isPicture(object))
            continue;
        QPDFObjectHandle dictionary = object.getDict();
        object.replaceStreamData(std::make_shared<CleanPicture>(object, file, memory),
                                 dictionary.getKey("/Filter"),
                                 dictionary.getKey("/DecodeParms"));
    }
}

} // namespace nullprint::pdf
