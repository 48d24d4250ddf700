#include "fuzz/PackageProperties.h"

#include "engine/image/ImageSource.h"
#include "engine/package/PackageWriter.h"
#include "engine/scrub/FileTypes.h"
#include "engine/scrub/PackageRebuild.h"
#include "engine/scrub/XMLPart.h"
#include "fuzz/Require.h"
#include "fuzz/StrictSource.h"

#include <algorithm>

namespace nullprint::fuzz {
namespace {

void look(const PackageReader& reader, const PackagePart& part)
{
    const auto head = reader.readHead(part, 16);
    const auto source = reader.openPart(part, limits::windowBytes);
    require(head.ok() == source.ok() || part.problem == nullptr, "a problem is one for everybody");
    if (!head.ok() || head.value().empty())
        return;
    const auto first = source.value()->view(0, head.value().size());
    if (first.ok())
        require(asText(first.value()) == asText(head.value()), "a part begins with its head");
}

PackageReader mustOpen(ByteSource& archive)
{
    auto reader = PackageReader::open(archive);
    require(reader.ok() && reader.value().check().ok(), "a copy can be opened");
    return std::move(reader).value();
}

Bytes mustRead(const PackageReader& reader, const PackagePart& part)
{
    auto content = reader.read(part, limits::partBytes);
    require(content.ok(), "the parts of a copy are whole");
    return std::move(content).value();
}

bool isXML(const PackagePart& part)
{
    const std::string extension = extensionOf(part);
    return extension == "xml" || extension == "rels";
}

std::optional<Bytes> cleanPicture(ByteSpan picture)
{
    MemorySource bytes(picture);
    const auto source = image::ImageSource::open(bytes);
    MemorySink copy;
    if (!source.ok() || !writeCleanImage(source.value(), source.value().type(), copy).ok())
        return std::nullopt;
    return std::move(copy.content);
}

// What becomes of a part, by its name. A picture that cannot be cleaned stays.
Bytes cleanPart(const PackagePart& part, Bytes content)
{
    if (isXML(part))
        scrubXMLPart(part.name, content);
    else if (isImageExtension(extensionOf(part)))
        return cleanPicture(content).value_or(content);
    return content;
}

void checkCopiedPart(const PackageReader& original, const PackageReader& copy, std::size_t index)
{
    const PackagePart& part = original.parts()[index];
    const PackagePart& copied = copy.parts()[index];
    require(part.name == copied.name, "a copy has the parts of its original in their order");
    require(mustRead(copy, copied) == cleanPart(part, mustRead(original, part)),
            "a part of a copy is what its cleaner makes of it");
}

void checkCopy(const PackageReader& original, ByteSpan archive)
{
    StrictSource source(archive);
    const PackageReader copy = mustOpen(source);
    require(copy.parts().size() == original.parts().size(),
            "a copy has as many parts as its original");
    for (std::size_t index = 0; index < original.parts().size(); ++index)
        checkCopiedPart(original, copy, index);
    MemorySink again;
    require(!rebuildPackage(source, again).any(), "a copy can be cleaned");
    require(!isSettled(archive) || std::ranges::equal(again.content, archive),
            "cleaning a copy changes nothing");
}

bool isPictureThatStays(const PackageReader& reader, const PackagePart& part)
{
    return isImageExtension(extensionOf(part)) && !cleanPicture(mustRead(reader, part));
}

// Where parts of a recipe begin, and how the names of its letters are.
constexpr std::string_view mark = "\n@@";
constexpr std::array<std::string_view, 16> partNames{"docProps/core.xml",
                                                     "docProps/app.xml",
                                                     "docProps/custom.xml",
                                                     "word/settings.xml",
                                                     "word/document.xml",
                                                     "_rels/.rels",
                                                     "media/a.png",
                                                     "media/b.JPEG",
                                                     "a.bin",
                                                     "word/comments.xml",
                                                     "xl/workbook.xml",
                                                     "media/c.heic",
                                                     "media/d.tif",
                                                     "[Content_Types].xml",
                                                     "customXml/Custom.XML",
                                                     "media/e.emf"};
constexpr std::size_t partsOfAll = 9;

class Archive {
public:
    void add(std::string_view name, ByteSpan content)
    {
        PackagePart part;
        part.name = name;
        require(writer.replace(part, content).ok(), "memory takes every part");
    }

    Bytes finished()
    {
        require(writer.finish().ok(), "memory takes every archive");
        return std::move(sink.content);
    }

private:
    MemorySink sink;
    PackageWriter writer{sink};
};

} // namespace

void checkPackage(ByteSpan archive)
{
    StrictSource source(archive);
    MemorySink sink;
    const RebuildFailures failures = rebuildPackage(source, sink);
    const auto original = PackageReader::open(source);
    if (!original.ok()) {
        require(failures.opening.has_value(), "what cannot be opened is not cleaned");
        return;
    }
    for (const PackagePart& part : original.value().parts())
        look(original.value(), part);
    require(!failures.writing, "memory takes every copy");
    if (!failures.any())
        checkCopy(original.value(), sink.content);
}

bool isSettled(ByteSpan archive)
{
    StrictSource source(archive);
    const PackageReader reader = mustOpen(source);
    return std::ranges::all_of(reader.parts(), [&reader](const PackagePart& part) {
        Bytes content = mustRead(reader, part);
        return !isXML(part) || scrubXMLPart(part.name, content) == XMLScrubResult::unchanged;
    });
}

void checkReport(const RevealReport& report, ByteSpan copy)
{
    StrictSource source(copy);
    const PackageReader reader = mustOpen(source);
    const bool hasPictureThatStays =
        std::ranges::any_of(reader.parts(), [&reader](const PackagePart& part) {
            return isPictureThatStays(reader, part);
        });
    for (const RevealItem& item : report.items) {
        const bool mayStay = item.label == "Document ID" || item.label == "Created → last modified";
        require(mayStay || (item.label == "Embedded photo location" && hasPictureThatStays),
                "a copy gives nothing away");
    }
}

Bytes packageOf(ByteSpan recipe)
{
    Archive archive;
    const std::string_view text = asText(recipe);
    std::size_t next = text.find(mark);
    const auto common = recipe.first(std::min(next, text.size()));
    for (const std::string_view name : std::span(partNames).first(common.empty() ? 0 : partsOfAll))
        archive.add(name, common);
    while (next < text.size()) {
        const std::size_t start = std::min(next + mark.size(), text.size());
        next = std::min(text.find(mark, start), text.size());
        const ByteSpan content = recipe.subspan(start, next - start);
        if (!content.empty())
            archive.add(partNames[content.front() % partNames.size()], content.subspan(1));
    }
    return archive.finished();
}

} // namespace nullprint::fuzz
