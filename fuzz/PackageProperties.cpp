#include "fuzz/PackageProperties.h"

#include "engine/package/PackageWriter.h"
#include "engine/scrub/PackageRebuild.h"
#include "fuzz/Require.h"
#include "fuzz/StrictSource.h"

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

void checkCopiedPart(const PackageReader& original, const PackageReader& copy, std::size_t index)
{
    const PackagePart& part = original.parts()[index];
    const PackagePart& copied = copy.parts()[index];
    require(part.name == copied.name, "a copy has the parts of its original in their order");
    require(copy.verify(copied).ok(), "the parts of a copy are whole");
    const std::string extension = extensionOf(part);
    if (extension == "bin")
        require(part.checksum == copied.checksum && part.sizeBytes == copied.sizeBytes,
                "what is no XML and no picture stays as it is");
}

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
    if (failures.any())
        return;
    StrictSource copySource(sink.content);
    const auto copy = PackageReader::open(copySource);
    require(copy.ok() && copy.value().check().ok(), "a copy can be opened");
    require(copy.value().parts().size() == original.value().parts().size(),
            "a copy has as many parts as its original");
    for (std::size_t index = 0; index < original.value().parts().size(); ++index)
        checkCopiedPart(original.value(), copy.value(), index);
}

void checkParts(ByteSpan content)
{
    MemorySink sink;
    PackageWriter writer(sink);
    PackagePart part;
    bool isWritten = true;
    for (const char* name : {"docProps/custom.xml", "_rels/.rels", "media/a.png", "a.bin"}) {
        part.name = name;
        isWritten = isWritten && writer.replace(part, content).ok();
    }
    require(isWritten && writer.finish().ok(), "memory takes every archive");
    checkPackage(sink.content);
}

} // namespace nullprint::fuzz
