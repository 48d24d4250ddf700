// What is still in the parts of an Office package.
#pragma once

#include "engine/support/FileURL.h"

#include <vector>

namespace nullprint {

// The findings in the archive's order: of an XML part the first match of each pattern, of a
// picture its position and its artist. Never fails: what cannot be read has none.
std::vector<std::string> auditOfficePackage(const FileURL& url);

} // namespace nullprint
