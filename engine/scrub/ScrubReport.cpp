#include "engine/scrub/ScrubReport.h"

#include "engine/scrub/FileTypes.h"
#include "engine/scrub/ImageCleaner.h"
#include "engine/scrub/OfficeCleaner.h"
#include "engine/scrub/PDFCleaner.h"

namespace nullprint {
namespace {

std::string legacyMessage(const std::string& extension)
{
    return "Legacy “." + extension +
           "” format isn’t supported. Open it in the Office app and re-save as “." + extension +
           "x”, then scrub that.";
}

std::string unsupportedMessage(const std::string& extension)
{
    return "Unsupported file type “." + extension +
           "”. Supported: images, PDF, and Word/Excel/PowerPoint (.docx / .xlsx / .pptx).";
}

} // namespace

ScrubReport scrubFile(const FileURL& url)
{
    const FileType type = fileTypeOf(url);
    switch (type.kind) {
    case FileKind::image:
        return {url, scrubImage(url)};
    case FileKind::pdf:
        return {url, scrubPDF(url)};
    case FileKind::office:
        return {url, scrubOffice(url)};
    case FileKind::legacyOffice:
        return {url, Unsupported{legacyMessage(type.extension)}};
    case FileKind::other:
        break;
    }
    return {url, Unsupported{unsupportedMessage(type.extension)}};
}

} // namespace nullprint
