#include "engine/reveal/RevealReport.h"

#include "engine/reveal/ImageInspector.h"
#include "engine/reveal/OfficeInspector.h"
#include "engine/reveal/PDFInspector.h"
#include "engine/scrub/FileTypes.h"

namespace nullprint {
namespace {

RevealReport withNote(const FileURL& url, std::string kind, std::string note)
{
    return {url, std::move(kind), {}, std::move(note)};
}

} // namespace

RevealReport revealFile(const FileURL& url)
{
    const auto [kind, extension] = fileTypeOf(url);
    switch (kind) {
    case FileKind::image:
        return inspectImage(url);
    case FileKind::pdf:
        return inspectPDF(url);
    case FileKind::office:
        return inspectOfficeDocument(url);
    case FileKind::legacyOffice:
        return withNote(url,
                        "Office document",
                        "Legacy “." + extension + "” isn’t supported — re-save it as “." +
                            extension + "x” first.");
    case FileKind::other:
        break;
    }
    return withNote(url,
                    "File",
                    "“." + extension +
                        "” isn’t a supported type (images, PDF, Word/Excel/PowerPoint).");
}

} // namespace nullprint
