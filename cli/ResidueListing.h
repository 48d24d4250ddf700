// The terse listing of what is still in a file.
#pragma once

#include "engine/support/FileURL.h"

#include <string>

namespace nullprint {

// Prints a heading, then one line a finding, or that the file is clean. Never fails: what cannot
// be read has no findings.
void listResidue(const FileURL& url);

} // namespace nullprint
