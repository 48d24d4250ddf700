// What the first argument asks for.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nullprint {

// Does what `option` says with the files and returns the exit status; nothing when the word is no
// option of the command line.
std::optional<int> runOption(std::string_view option, const std::vector<std::string>& files);

} // namespace nullprint
