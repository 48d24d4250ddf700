// The desktop's file manager.
#pragma once

#include "engine/support/FileURL.h"

#include <functional>
#include <vector>

namespace nullprint::app {

class FileManager {
public:
    FileManager() = default;
    FileManager(const FileManager&) = delete;
    FileManager& operator=(const FileManager&) = delete;
    virtual ~FileManager() = default;

    // Asks for a window that shows the files selected. Returns at once. `answered` is called when
    // the window has been opened, as far as the file manager tells; also when there will be none.
    virtual void select(const std::vector<FileURL>& files, std::function<void()> answered) = 0;
};

} // namespace nullprint::app
