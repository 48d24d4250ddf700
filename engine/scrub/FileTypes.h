// Which kind of document a file is, told from its name alone.
#pragma once

#include "engine/support/FileURL.h"

#include <array>
#include <string_view>

namespace nullprint {

inline constexpr std::array<std::string_view, 10>
    imageExtensions{"jpg", "jpeg", "png", "heic", "heif", "tiff", "tif", "gif", "bmp", "webp"};

inline constexpr std::array<std::string_view, 12> officeExtensions{"docx",
                                                                   "docm",
                                                                   "dotx",
                                                                   "dotm",
                                                                   "xlsx",
                                                                   "xlsm",
                                                                   "xltx",
                                                                   "xltm",
                                                                   "pptx",
                                                                   "pptm",
                                                                   "ppsx",
                                                                   "potx"};

inline constexpr std::array<std::string_view, 3> legacyOfficeExtensions{"doc", "xls", "ppt"};

enum class FileKind { image, pdf, office, legacyOffice, other };

struct FileType {
    FileKind kind;
    std::string extension; // In lower case.
};

FileType fileTypeOf(const FileURL& url);

// `extension` is in lower case.
bool isImageExtension(std::string_view extension);

} // namespace nullprint
