// Cleaning PDFs: the document is written anew without its metadata, then its bytes are looked over.
#pragma once

#include "engine/scrub/ScrubReport.h"

#include <string_view>

namespace nullprint {

// Called by scrubFile for a file with a PDF's name.
Status scrubPDF(const FileURL& input);

// `text`, one character a byte, with every match of a pattern (RE2's syntax) blanked: the range of
// its group, or the whole match with group 0, becomes spaces. A pattern that is none changes
// nothing; the length never changes.
std::string blankMatches(std::string text, const std::string& pattern, int group);

} // namespace nullprint
