#include "engine/support/Companion.h"

#include <filesystem>

namespace nullprint {

std::vector<std::string> companionPlaces(std::string_view name)
{
    std::error_code failure;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", failure);
    if (failure)
        return {};
    const auto folder = program.parent_path();
    return {folder / name, folder / "../lib/nullprint" / name};
}

} // namespace nullprint
