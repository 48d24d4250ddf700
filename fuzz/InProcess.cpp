// Stands in for the process that works on PDFs, in targets: its work is done here, where a fuzzing
// engine sees which code it reaches, and a thousand times faster.
#include "engine/pdf/PDFDocument.h"
#include "engine/pdf/worker/MarkWatch.h"
#include "engine/pdf/worker/Work.h"

#include <unistd.h>

namespace nullprint::pdf {

std::optional<DocumentFacts> factsOf(const FileSource& source)
{
    const auto file = FileSource::of(::dup(source.descriptor()));
    DocumentFacts facts;
    if (!file.ok() || Work(*file.value()).describe(facts) != Outcome::done)
        return std::nullopt;
    return facts;
}

Outcome writeCleanDocument(const FileSource& source, const PendingFile& destination)
{
    const auto file = FileSource::of(::dup(source.descriptor()));
    MemorySink copy;
    const Outcome outcome = file.ok() ? Work(*file.value()).writeClean(copy) : Outcome::unopenable;
    if (outcome != Outcome::done)
        return outcome;
    const auto length = static_cast<ssize_t>(copy.content.size());
    if (::write(destination.descriptor(), copy.content.data(), copy.content.size()) != length)
        return Outcome::unwritable;
    MarkWatch marks;
    marks.look(copy.content);
    return marks.seen() ? Outcome::marked : Outcome::done;
}

} // namespace nullprint::pdf
