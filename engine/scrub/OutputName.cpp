#include "engine/scrub/OutputName.h"

#include <sys/stat.h>

namespace nullprint {
namespace {

// Counts through the candidates. Number 1 stands for the name without a number.
FileURL candidate(const FileURL& url, std::uint64_t number)
{
    const std::string extension = url.pathExtension();
    std::string name = url.nameWithoutExtension() + " (scrubbed";
    if (number > 1)
        name.append(" ").append(std::to_string(number));
    name += ")";
    if (!extension.empty())
        name.append(".").append(extension);
    return FileURL::fromPath(url.folder() + "/" + name);
}

// A link that leads nowhere has its name all the same.
bool isTaken(const FileURL& url)
{
    struct stat status {};
    return ::lstat(url.path().c_str(), &status) == 0;
}

std::uint64_t firstFreeNumber(const FileURL& url, std::uint64_t from)
{
    while (isTaken(candidate(url, from)))
        ++from;
    return from;
}

} // namespace

FileURL cleanedOutputURL(const FileURL& url)
{
    return candidate(url, firstFreeNumber(url, 1));
}

Result<FileURL>
keepAsCleanedOutput(PendingFile& pending, const FileURL& input, const Permissions& permissions)
{
    std::uint64_t number = 1;
    while (true) {
        number = firstFreeNumber(input, number);
        FileURL output = candidate(input, number);
        const auto outcome = pending.keep(output.path(), permissions);
        if (outcome == PendingFile::Outcome::kept)
            return output;
        if (outcome == PendingFile::Outcome::failed)
            return Error{"the copy cannot get its name"};
        ++number; // Also where the file system does not show who has the name.
    }
}

} // namespace nullprint
