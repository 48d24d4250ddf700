#include "engine/support/TempFolder.h"

#include "engine/support/UUID.h"

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace nullprint {
namespace {

std::string temporaryRoot()
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here changes the environment.
    const char* chosen = std::getenv("TMPDIR");
    return chosen != nullptr && *chosen != '\0' ? chosen : "/tmp";
}

} // namespace

Result<TempFolder> TempFolder::create(const std::string& prefix)
{
    const std::string root = temporaryRoot();
    std::error_code ignored; // Where the root cannot be made, the folder in it cannot either.
    std::filesystem::create_directories(root, ignored);
    std::string path = root + "/" + prefix + randomUUID();
    if (::mkdir(path.c_str(), S_IRWXU) != 0)
        return Error{"no temporary folder can be made"};
    return TempFolder(std::move(path));
}

TempFolder::TempFolder(TempFolder&& other) noexcept
    : folder(std::exchange(other.folder, {}))
{
}

TempFolder::~TempFolder()
{
    if (folder.empty())
        return;
    if (::rmdir(folder.c_str()) == 0) // It is empty, as a rule.
        return;
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

} // namespace nullprint
