#include "engine/reveal/RevealReport.h"

#include "engine/reveal/ImageInspector.h"
#include "engine/reveal/OfficeInspector.h"
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
    case FileKind::pdf: // Documents have no inspector yet: none can be opened.
        return withNote(url,
                        "PDF",
                        "Couldn’t open this PDF (it may be damaged or password-protected).");
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
