// The desktop's file manager.
#pragma once

#include "engine/support/FileURL.h"

#include <vector>

namespace nullprint::app {

class FileManager {
public:
    FileManager() = default;
    FileManager(const FileManager&) = delete;
    FileManager& operator=(const FileManager&) = delete;
    virtual ~FileManager() = default;

    // Asks for a window that shows the files selected. Returns at once; a failure is not told.
    virtual void select(const std::vector<FileURL>& files) = 0;
};

} // namespace nullprint::app
