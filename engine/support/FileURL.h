// Where a file is, and the parts of its name.
#pragma once

#include <string>

namespace nullprint {

// An absolute path. Names are bytes: nothing is assumed of their encoding.
class FileURL {
public:
    // A relative path is taken from the current folder. Slashes at the end and "." steps go; ".."
    // steps go where that leads to the same folder. Whether the file exists is not asked.
    static FileURL fromPath(const std::string& path);

    const std::string& path() const { return absolute; }
    std::string lastPathComponent() const;
    // The folder that holds the file, without a slash at its end unless it is the root.
    std::string folder() const;
    // The text after the last dot of the last component, as written; empty without a dot.
    std::string pathExtension() const;
    // The last component without its extension and that dot.
    std::string nameWithoutExtension() const;

    friend bool operator==(const FileURL&, const FileURL&) = default;

private:
    explicit FileURL(std::string absolute)
        : absolute(std::move(absolute))
    {
    }

    std::string absolute;
};

} // namespace nullprint
