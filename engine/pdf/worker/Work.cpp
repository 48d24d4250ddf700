#include "engine/pdf/worker/Work.h"

#include "engine/pdf/worker/Facts.h"
#include "engine/pdf/worker/Metadata.h"
#include "engine/pdf/worker/Pictures.h"

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

} // namespace

Work::Work(ByteSource& source)
    : source(source)
{
}

Work::~Work() = default;

Outcome Work::open()
{
    return guarded(Outcome::unopenable, [this] { file = std::make_unique<PDFFile>(source); });
}

Outcome Work::describe(DocumentFacts& facts)
{
    const Outcome opened = open();
    if (opened != Outcome::done)
        return opened;
    return guarded(Outcome::unopenable, [&] { facts = factsOf(*file); });
}

Outcome Work::writeClean(ByteSink& sink)
{
    const Outcome opened = open();
    if (opened != Outcome::done)
        return opened;
    return guarded(Outcome::unwritable, [&] {
        file->document.getWarnings(); // From now on, those of what has not been read yet.
        removeMetadata(*file);
        if (file->document.anyWarnings()) {
            file = std::make_unique<PDFFile>(source);
            file->readPages();
            removeMetadata(*file);
        }
        cleanPictures(*file);
        file->write(sink);
    });
}

} // namespace nullprint::pdf
