#include "engine/scrub/PackageRebuild.h"

#include "engine/image/ImageSource.h"
#include "engine/package/PackageWriter.h"
#include "engine/scrub/FileTypes.h"
#include "engine/scrub/XMLPart.h"

namespace nullprint {
namespace {

// The name chooses the cleaner, the content what it does.
enum class PartKind { xml, picture, other };

PartKind kindOf(const PackagePart& part)
{
    const std::string extension = extensionOf(part);
    if (extension == "xml" || extension == "rels")
        return PartKind::xml;
    // A picture that is too large to be cleaned in memory is no reason to refuse a document.
    const bool isPicture = isImageExtension(extension) && part.sizeBytes <= limits::partBytes;
    return isPicture ? PartKind::picture : PartKind::other;
}

// Nothing for a picture that is none, cannot be carried over, or needs no cleaning.
std::optional<Bytes> cleanedPicture(const Bytes& picture)
{
    MemorySource bytes(picture);
    const auto source = image::ImageSource::open(bytes);
    if (!source.ok())
        return std::nullopt;
    MemorySink copy;
    copy.content.reserve(picture.size()); // It is hardly ever larger.
    if (!writeCleanImage(source.value(), source.value().type(), copy).ok())
        return std::nullopt;
    if (copy.content == picture)
        return std::nullopt;
    return std::move(copy.content);
}

class Rebuild {
public:
    Rebuild(const PackageReader& reader, ByteSink& sink)
        : reader(&reader)
        , writer(sink)
    {
    }

    // Fails when a part cannot be unpacked; what else goes wrong waits in `failures`.
    Result<Done> addParts();

    RebuildFailures failures;

private:
    Result<Done> add(const PackagePart& part);
    Result<Done> addXML(const PackagePart& part);
    Result<Done> addPicture(const PackagePart& part);
    Result<Done> addOther(const PackagePart& part);
    void copy(const PackagePart& part);
    void replace(const PackagePart& part, const Bytes& content);
    void note(const Result<Done>& written);

    const PackageReader* reader;
    PackageWriter writer;
};

Result<Done> Rebuild::addParts()
{
    NP_TRY(reader->check());
    failures.isEmpty = reader->parts().empty();
    for (const PackagePart& part : reader->parts())
        NP_TRY(add(part));
    if (!failures.any())
        note(writer.finish());
    return Done{};
}

Result<Done> Rebuild::add(const PackagePart& part)
{
    switch (kindOf(part)) {
    case PartKind::xml:
        return addXML(part);
    case PartKind::picture:
        return addPicture(part);
    case PartKind::other:
        break;
    }
    return addOther(part);
}

Result<Done> Rebuild::addXML(const PackagePart& part)
{
    Bytes content = NP_TRY(reader->read(part, limits::partBytes));
    switch (scrubXMLPart(part.name, content)) {
    case XMLScrubResult::changed:
        replace(part, content);
        break;
    case XMLScrubResult::unchanged:
        copy(part);
        break;
    case XMLScrubResult::unreadable:
        failures.hasUnreadableXML = true;
        break;
    }
    return Done{};
}

Result<Done> Rebuild::addPicture(const PackagePart& part)
{
    const auto cleaned = cleanedPicture(NP_TRY(reader->read(part, limits::partBytes)));
    if (cleaned) {
        replace(part, *cleaned);
    } else {
        copy(part);
    }
    return Done{};
}

// A part that is damaged, or has something hidden behind it, is not handed on.
Result<Done> Rebuild::addOther(const PackagePart& part)
{
    NP_TRY(reader->verify(part));
    copy(part);
    return Done{};
}

void Rebuild::copy(const PackagePart& part)
{
    if (!failures.any())
        note(writer.copy(*reader, part));
}

void Rebuild::replace(const PackagePart& part, const Bytes& content)
{
    if (!failures.any())
        note(writer.replace(part, content));
}

void Rebuild::note(const Result<Done>& written)
{
    if (!written.ok())
        failures.writing = written.error();
}

} // namespace

RebuildFailures rebuildPackage(ByteSource& archive, ByteSink& sink)
{
    RebuildFailures failures;
    const auto reader = PackageReader::open(archive);
    if (!reader.ok()) {
        failures.opening = reader.error();
        return failures;
    }
    Rebuild rebuild(reader.value(), sink);
    const auto added = rebuild.addParts();
    failures = rebuild.failures;
    if (!added.ok())
        failures.opening = added.error();
    return failures;
}

} // namespace nullprint
