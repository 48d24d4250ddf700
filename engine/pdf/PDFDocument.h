// Documents that are looked at or cleaned by a process of their own. The PDF library is large, slow
// to load and given files by strangers: what it loads costs nobody else's start, what it asks of
// the machine has bounds, and when it fails the worst way, a file could not be opened.
#pragma once

#include "engine/pdf/DocumentFacts.h"
#include "engine/pdf/Outcome.h"
#include "engine/support/FileSource.h"
#include "engine/support/PendingFile.h"

#include <optional>

namespace nullprint::pdf {

// Whether the program that opens documents is where it belongs. Without it none can be opened.
bool canOpenDocuments();

// What the document tells; nothing when it cannot be opened.
std::optional<DocumentFacts> factsOf(const FileSource& source);

// Writes the document without its metadata, with the encryption that it has. `destination` is
// empty before; on failure it holds an unfinished document, which the caller throws away.
Outcome writeCleanDocument(const FileSource& source, const PendingFile& destination);

} // namespace nullprint::pdf
