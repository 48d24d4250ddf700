// Cleaning one XML part of an Office package: names, dates, identifiers and links to local files.
#pragma once

#include "engine/support/Bytes.h"

namespace nullprint {

enum class XMLScrubResult {
    changed,
    unchanged,
    unreadable, // Neither UTF-8 nor UTF-16 with its byte-order mark: left as it was, never guessed.
};

// Applies the rules to the text of a part, which is not parsed, and keeps its encoding and its
// byte-order mark. `partName` is the part's name in its package; only its last component counts.
// Time is linear in the size, and beside `content` no second copy is made of a text in UTF-8.
XMLScrubResult scrubXMLPart(std::string_view partName, Bytes& content);

} // namespace nullprint
