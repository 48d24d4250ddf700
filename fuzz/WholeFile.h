// The front doors, scrubFile and revealFile, with a file of any bytes at all.
#pragma once

#include "engine/reveal/RevealReport.h"
#include "engine/support/Bytes.h"

#include <optional>
#include <string_view>

namespace nullprint::fuzz {

// What came of cleaning a file: its copy, what revealFile tells of that, and the copy's own copy.
struct CleanedFile {
    Bytes copy;
    RevealReport report;
    Bytes again;
};

// Makes a file of `bytes`, alone in a folder in memory, and looks at it and cleans it. Ends the
// program unless the file stays as it is, a copy is cleaned, too, and can be looked at, and nothing
// but the copies is left, here or where temporary files go. Nothing when there is no copy.
std::optional<CleanedFile> cleanFile(std::string_view extension, ByteSpan bytes);

// Whether an item with this label is in the report.
bool tellsOf(const RevealReport& report, std::string_view label);

} // namespace nullprint::fuzz
