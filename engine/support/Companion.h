// What is installed along with the program: its worker and its module.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nullprint {

// Where such a file is looked for, in this order: beside the program that runs, and where an
// installation has it. Empty when the system does not tell which program runs.
std::vector<std::string> companionPlaces(std::string_view name);

} // namespace nullprint
