#include "engine/scrub/FileTypes.h"

#include "engine/support/Text.h"

#include <algorithm>

namespace nullprint {
namespace {

FileKind kindOf(std::string_view extension)
{
    const auto isIn = [extension](const auto& set) {
        return std::ranges::find(set, extension) != set.end();
    };
    if (isIn(imageExtensions))
        return FileKind::image;
    if (extension == "pdf")
        return FileKind::pdf;
    if (isIn(officeExtensions))
        return FileKind::office;
    return isIn(legacyOfficeExtensions) ? FileKind::legacyOffice : FileKind::other;
}

} // namespace

FileType fileTypeOf(const FileURL& url)
{
    std::string extension = lowerCased(url.pathExtension());
    const FileKind kind = kindOf(extension);
    return {kind, std::move(extension)};
}

} // namespace nullprint
