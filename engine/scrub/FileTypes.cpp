#include "engine/scrub/FileTypes.h"

#include "engine/support/Text.h"

#include <algorithm>

namespace nullprint {
namespace {

template <typename Set> bool isIn(const Set& set, std::string_view extension)
{
    return std::ranges::find(set, extension) != set.end();
}

FileKind kindOf(std::string_view extension)
{
    if (isImageExtension(extension))
        return FileKind::image;
    if (extension == "pdf")
        return FileKind::pdf;
    if (isIn(officeExtensions, extension))
        return FileKind::office;
    return isIn(legacyOfficeExtensions, extension) ? FileKind::legacyOffice : FileKind::other;
}

} // namespace

FileType fileTypeOf(const FileURL& url)
{
    std::string extension = lowerCased(url.pathExtension());
    const FileKind kind = kindOf(extension);
    return {kind, std::move(extension)};
}

bool isImageExtension(std::string_view extension)
{
    return isIn(imageExtensions, extension);
}

} // namespace nullprint
