#include "engine/pdf/worker/Work.h"

#include "engine/pdf/worker/Facts.h"
#include "engine/pdf/worker/Metadata.h"
#include "engine/pdf/worker/Pictures.h"

#include <optional>

namespace nullprint::pdf {
namespace {

template <typename Step> Outcome guarded(Outcome failure, Step step)
{
    try {
        step();
        return Outcome::done;
    } catch (const QPDFExc& problem) {
        return problem.getErrorCode() == qpdf_e_password ? Outcome::locked : failure;
    } catch (...) { // Also when memory runs out: a document has asked for too much of it.
        return failure;
    }
}

Outcome open(ByteSource& source, std::optional<PDFFile>& file)
{
    return guarded(Outcome::unopenable, [&] { file.emplace(source); });
}

} // namespace

Outcome describe(ByteSource& source, DocumentFacts& facts)
{
    std::optional<PDFFile> file;
    const Outcome opened = open(source, file);
    if (opened != Outcome::done)
        return opened;
    return guarded(Outcome::unopenable, [&] { facts = factsOf(*file); });
}

Outcome writeClean(ByteSource& source, ByteSink& sink)
{
    std::optional<PDFFile> file;
    const Outcome opened = open(source, file);
    if (opened != Outcome::done)
        return opened;
    return guarded(Outcome::unwritable, [&] {
        removeMetadata(*file);
        cleanPictures(*file);
        file->write(sink);
    });
}

} // namespace nullprint::pdf
