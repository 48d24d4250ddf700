// A file that is being written and has no name yet. It disappears unless it is kept, also when the
// program is ended in between, wherever the file system can hold a file without a name.
#pragma once

#include "engine/support/ByteSink.h"
#include "engine/support/Permissions.h"

#include <memory>
#include <string>

namespace nullprint {

class PendingFile final : public ByteSink {
public:
    // Begins a file in `folder` that nobody but its owner can read. Where files cannot be without a
    // name it has `name`, which nothing may have yet, or a hidden one.
    static Result<std::unique_ptr<PendingFile>> create(const std::string& folder,
                                                       const std::string& name = {});
    ~PendingFile() override;

    // Small pieces are gathered; long ranges of a file go from file to file inside the kernel,
    // unless they are in memory already.
    Result<Done> write(ByteSpan bytes) override;
    Result<Done> copy(ByteSource& source, ByteRange range) override;
    // Writes what is gathered. `keep` does so, too.
    Result<Done> flush();

    // For a process that writes the file in place of this object. It can be read, too.
    int descriptor() const { return file; }
    // Replaces bytes that have been written by way of the descriptor.
    Result<Done> overwrite(std::uint64_t offset, ByteSpan bytes);

    // What `keep` came to. A name that is taken can be followed by another try.
    enum class Outcome { kept, nameTaken, failed };

    // Completes the file, gives it `permissions` and, in one step, the name `path`. Whatever has
    // that name already stays as it is. A folder that gives its group to what is made in it does so
    // here, too. To another file system the content is copied first.
    Outcome keep(const std::string& path, const Permissions& permissions);

private:
    PendingFile(int file, std::string folder, std::string temporaryPath);
    Result<Done> writeNow(ByteSpan bytes);
    Result<Done> copyThroughMemory(ByteSource& source, ByteRange range);
    bool takesGroupOf(const std::string& place) const;
    Outcome linkUnnamed(const std::string& path);
    Outcome renameTemporary(const std::string& path);
    Outcome moveTo(const std::string& path, const Permissions& permissions);
    Outcome keepCopy(const std::string& path, const Permissions& permissions);

    int file;
    std::string folder;
    std::string temporaryPath; // Empty while the file has no name at all.
    Bytes gathered;
    bool copiesInKernel = true;
};

} // namespace nullprint
