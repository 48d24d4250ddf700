// Stands in for a fuzzing engine: runs a target on files and folders, so that samples and past
// findings are ordinary tests.
#include "engine/support/Bytes.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> filesUnder(const fs::path& place)
{
    std::error_code failure;
    if (!fs::is_directory(place, failure))
        return {place};
    std::vector<fs::path> files;
    for (fs::recursive_directory_iterator entry(place, failure), end; entry != end;
         entry.increment(failure)) {
        if (entry->is_regular_file(failure))
            files.push_back(entry->path());
    }
    std::ranges::sort(files);
    return files;
}

bool replay(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        std::fprintf(stderr, "cannot read %s\n", path.c_str());
        return false;
    }
    const nullprint::Bytes bytes(std::istreambuf_iterator<char>(file), {});
    // Said beforehand: what stands last when the program ends is the culprit.
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return true;
}

} // namespace

int main(int count, char** words)
{
    std::size_t replayed = 0;
    for (const char* place : std::span(words, static_cast<std::size_t>(count)).subspan(1)) {
        for (const fs::path& path : filesUnder(place)) {
            if (!replay(path))
                return 1;
            ++replayed;
        }
    }
    std::printf("%zu files replayed\n", replayed);
    return replayed == 0 ? 1 : 0;
}
