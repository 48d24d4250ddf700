#include "engine/scrub/ImageCleaner.h"

#include "engine/image/ImageSource.h"
#include "engine/scrub/OutputName.h"
#include "engine/support/FileSource.h"

namespace nullprint {
namespace {

Result<FileURL> writeCopy(const image::ImageSource& source, FileSource& file, const FileURL& input)
{
    const auto pending = NP_TRY(PendingFile::create(input.folder()));
    NP_TRY(writeCleanImage(source, source.type(), *pending));
    // The copy was laid out by what the file held; ranges of another content might hold anything.
    if (!file.isUnchanged())
        return Error{"the file changed while it was read"};
    return keepAsCleanedOutput(*pending, input, file.permissions());
}

} // namespace

Status scrubImage(const FileURL& input)
{
    const Failed unreadable{"Couldn’t read the image."};
    const auto file = FileSource::open(input.path());
    if (!file.ok())
        return unreadable;
    file.value()->keepWhatIsRead();
    const auto source = image::ImageSource::open(*file.value());
    if (!source.ok())
        return unreadable;
    const auto output = writeCopy(source.value(), *file.value(), input);
    if (!output.ok())
        return Failed{"Couldn’t write the cleaned image."};
    return Cleaned{output.value()};
}

} // namespace nullprint
