#include "engine/scrub/OfficeCleaner.h"

#include "engine/scrub/OutputName.h"
#include "engine/scrub/PackageRebuild.h"
#include "engine/support/FileSource.h"
#include "engine/support/TempFolder.h"

namespace nullprint {
namespace {

Failed couldNotOpen(const Error& error)
{
    return {std::string("Couldn’t open the document (") + error.what + ")."};
}

Failed couldNotRebuild(const Error& error)
{
    return {std::string("Couldn’t rebuild the document (") + error.what + ")."};
}

Failed sentenceFor(const RebuildFailures& failures)
{
    if (failures.opening)
        return couldNotOpen(*failures.opening);
    if (failures.hasUnreadableXML)
        return {"Part of the document used an encoding Nullprint couldn’t read, so it was left "
                "unchanged rather than reported clean."};
    if (failures.isEmpty)
        return {"The document appears to be empty."};
    return couldNotRebuild(*failures.writing);
}

} // namespace

Status scrubOffice(const FileURL& input)
{
    const Failed noWorkspace{"Couldn’t create a temporary workspace."};
    const auto workspace = TempFolder::create("nullprint-");
    if (!workspace.ok())
        return noWorkspace;
    const auto rebuilt = PendingFile::create(workspace.value().path(), "rebuilt.zip");
    if (!rebuilt.ok())
        return noWorkspace;
    const auto file = FileSource::open(input.path());
    if (!file.ok())
        return couldNotOpen({"the file cannot be read"});
    const auto failures = rebuildPackage(*file.value(), *rebuilt.value());
    if (failures.any())
        return sentenceFor(failures);
    if (const auto written = rebuilt.value()->flush(); !written.ok())
        return couldNotRebuild(written.error());
    // Parts were verified first and copied then; what came between them might hold anything.
    if (!file.value()->isUnchanged())
        return couldNotOpen({"it changed while it was read"});
    const auto output = keepAsCleanedOutput(*rebuilt.value(), input, file.value()->permissions());
    if (!output.ok())
        return Failed{"Couldn’t save the cleaned document."};
    return Cleaned{output.value()};
}

} // namespace nullprint
