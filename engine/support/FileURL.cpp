#include "engine/support/FileURL.h"

#include <climits>
#include <filesystem>
#include <string_view>

namespace nullprint {
namespace {

namespace fs = std::filesystem;

// "a/../b" is "b" unless "a" is a link to somewhere else, or not there.
std::string withoutDetours(const fs::path& folder)
{
    const fs::path direct = folder.lexically_normal();
    std::error_code error;
    const bool isSame = direct == folder || (fs::equivalent(direct, folder, error) && !error);
    return (isSame ? direct : folder).string();
}

// Steps that stay where they are. A ".." is left alone.
std::string withoutIdleSteps(std::string_view path)
{
    std::string out;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        const std::string_view step = path.substr(0, end);
        path.remove_prefix(std::min(end + 1, path.size()));
        if (!step.empty() && step != ".")
            out.append("/").append(step);
    }
    return out.empty() ? "/" : out;
}

} // namespace

FileURL FileURL::fromPath(const std::string& path)
{
    std::string absolute = path;
    if (!path.starts_with('/')) {
        std::error_code error; // The system knows a current folder also when it has no path.
        absolute = (fs::current_path(error) / path).string();
        if (error || absolute.size() >= PATH_MAX) // Too long to be opened by.
            absolute = "/proc/self/cwd/" + path;
    }
    FileURL url(withoutIdleSteps(absolute));
    if (url.absolute.find("/..") == std::string::npos || url.lastPathComponent() == "..")
        return url;
    const std::string folder = withoutDetours(url.folder());
    return FileURL(withoutIdleSteps(folder + "/" + url.lastPathComponent()));
}

std::string FileURL::lastPathComponent() const
{
    return absolute.substr(absolute.rfind('/') + 1);
}

std::string FileURL::folder() const
{
    const std::size_t end = absolute.rfind('/');
    return end == 0 ? "/" : absolute.substr(0, end);
}

std::string FileURL::pathExtension() const
{
    const std::string name = lastPathComponent();
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos ? "" : name.substr(dot + 1);
}

std::string FileURL::nameWithoutExtension() const
{
    const std::string name = lastPathComponent();
    const std::string extension = pathExtension();
    return extension.empty() ? name : name.substr(0, name.size() - extension.size() - 1);
}

} // namespace nullprint
