// A scratch folder for one test, gone with it.
#pragma once

#include "engine/support/FileURL.h"
#include "engine/support/TempFolder.h"
#include "tests/support/Pictures.h"

#include <string_view>

namespace nullprint::tests {

class Folder {
public:
    Folder();

    FileURL url(const std::string& name) const;
    // Writes a file and returns where it is.
    FileURL put(const std::string& name, ByteSpan content) const;
    FileURL put(const std::string& name, std::string_view content) const;
    // Names of everything in the folder, sorted.
    std::vector<std::string> names() const;

private:
    TempFolder folder;
};

} // namespace nullprint::tests
