#include "engine/pdf/worker/Pictures.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/ImageSource.h"
#include "engine/image/JPEG.h"
#include "engine/image/XMP.h"
#include "engine/support/ByteCursor.h"

#include <algorithm>
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
    explicit Collector(std::uint64_t expected)
        : Pipeline("picture", nullptr)
    {
        content.reserve(static_cast<std::size_t>(std::min(expected, limits::metadataBytes)));
    }

    void write(unsigned char const* data, size_t length) override
    {
        append(content, ByteSpan(data, length));
    }
    void finish() override {}

    Bytes content;
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

// Cleans a stream at the moment that it is written, so that one picture is in memory at a time.
class CleanPicture final : public QPDFObjectHandle::StreamDataProvider {
public:
    explicit CleanPicture(QPDFObjectHandle original)
        : original(original)
    {
    }

    void provideStreamData(QPDFObjGen const&, Pipeline* pipeline) override
    {
        QPDFObjectHandle length = original.getDict().getKey("/Length");
        Collector data(length.isInteger() ? length.getUIntValue() : 0);
        bool isFiltered = false;
        if (!original.pipeStreamData(&data, &isFiltered, 0, qpdf_dl_none))
            throw std::runtime_error("a picture cannot be read");
        MemorySource picture(data.content);
        const auto plan = planCopy(picture);
        PipelineSink sink(*pipeline);
        if (!plan.ok() || !plan.value().writeTo(sink, picture).ok())
            throw std::runtime_error("a picture cannot be cleaned");
        pipeline->finish();
    }

private:
    QPDFObjectHandle original;
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
    for (QPDFObjectHandle object : file.document.getAllObjects()) {
        if (!isPicture(object))
            continue;
        QPDFObjectHandle dictionary = object.getDict();
        object.replaceStreamData(std::make_shared<CleanPicture>(object.copyStream()),
                                 dictionary.getKey("/Filter"),
                                 dictionary.getKey("/DecodeParms"));
    }
}

} // namespace nullprint::pdf
