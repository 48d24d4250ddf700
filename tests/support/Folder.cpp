#include "tests/support/Folder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace nullprint::tests {

Folder::Folder()
    : folder(TempFolder::create("nullprint-tests-").value())
{
}

FileURL Folder::url(const std::string& name) const
{
    return FileURL::fromPath(folder.path() + "/" + name);
}

FileURL Folder::put(const std::string& name, ByteSpan content) const
{
    const std::string_view text = asText(content);
    std::ofstream(url(name).path(), std::ios::binary)
        .write(text.data(), static_cast<std::streamsize>(text.size()));
    return url(name);
}

FileURL Folder::put(const std::string& name, std::string_view content) const
{
    return put(name, asBytes(content));
}

std::vector<std::string> Folder::names() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        names.push_back(entry.path().filename());
    std::ranges::sort(names);
    return names;
}

} // namespace nullprint::tests
