// Running another program and hearing what it says.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nullprint {

struct ToolResult {
    std::int32_t status; // What the program exits with; the signal that ended it; -1: not started.
    std::string output;  // Standard output and standard error as they came. Empty when not UTF-8.
};

// Runs the program at `path` with exactly these arguments and no shell, in `folder` when one is
// given, and waits for it. When it cannot be started, `output` says why.
ToolResult runTool(const std::string& path,
                   const std::vector<std::string>& arguments,
                   const std::optional<std::string>& folder = {});

} // namespace nullprint
