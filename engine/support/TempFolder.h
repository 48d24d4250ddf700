// A private folder in the user's temporary directory, which goes with all that is in it.
#pragma once

#include "engine/support/Result.h"

#include <string>

namespace nullprint {

class TempFolder {
public:
    // Makes a folder named `prefix` and a new UUID that only its owner can enter, and the temporary
    // directory itself where it is missing.
    static Result<TempFolder> create(const std::string& prefix);
    TempFolder(TempFolder&& other) noexcept;
    TempFolder& operator=(TempFolder&&) = delete;
    ~TempFolder();

    const std::string& path() const { return folder; }

private:
    explicit TempFolder(std::string folder)
        : folder(std::move(folder))
    {
    }

    std::string folder; // Empty after a move.
};

} // namespace nullprint
