// The names of cleaned copies.
#pragma once

#include "engine/support/FileURL.h"
#include "engine/support/PendingFile.h"

namespace nullprint {

// The first free place for a cleaned copy of `url`, in its folder: "Name (scrubbed).ext", then
// "Name (scrubbed 2).ext" and so on. Nothing is reserved.
FileURL cleanedOutputURL(const FileURL& url);

// Gives a finished copy of `input` the first such name that is free at that moment. Whatever else
// takes names meanwhile, nothing is replaced. Fastest when `pending` is on the same file system.
Result<FileURL>
keepAsCleanedOutput(PendingFile& pending, const FileURL& input, const Permissions& permissions);

} // namespace nullprint
