// What the engine is asked to do with a list of files, one after the other. Runs on any thread.
#pragma once

#include "engine/reveal/RevealReport.h"
#include "engine/scrub/ScrubReport.h"

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

namespace nullprint::app {

struct CleanResult {
    std::vector<FileURL> outputs;
    // One line for each file that has no copy.
    std::vector<std::string> skipped;
};

// “• name — message”. Names and messages are bytes as they came.
std::string skipLine(const FileURL& file, const std::string& message);

// Told after every file, on the thread of the work.
using FileDone = std::function<void()>;

// One report a file, in their order. No file is begun after a stop was asked for.
std::vector<RevealReport>
revealAll(const std::vector<FileURL>& files, const std::stop_token& stop, const FileDone& fileDone);
CleanResult
cleanAll(const std::vector<FileURL>& files, const std::stop_token& stop, const FileDone& fileDone);

} // namespace nullprint::app
