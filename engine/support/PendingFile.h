// A file that is being written and has no name yet. It disappears unless it is kept, also when the
// program is ended in between, wherever the file system can hold a file without a name.
#pragma once

#include "engine/support/ByteSink.h"

#include <memory>
#include <string>
#include <sys/types.h>

namespace nullprint {

class PendingFile final : public ByteSink {
public:
    // Begins a file in `folder` that nobody but its owner can read.
    static Result<std::unique_ptr<PendingFile>> create(const std::string& folder);
    ~PendingFile() override;

    // Small pieces are gathered; long ranges of a file go from file to file inside the kernel.
    Result<Done> write(ByteSpan bytes) override;
    Result<Done> copy(ByteSource& source, ByteRange range) override;

    // For a process that writes the file in place of this object. It can be read, too.
    int descriptor() const { return file; }
    // Replaces bytes that have been written by way of the descriptor.
    Result<Done> overwrite(std::uint64_t offset, ByteSpan bytes);

    // What `keep` came to. A name that is taken can be followed by another try.
    enum class Outcome { kept, nameTaken, failed };

    // Completes the file, gives it `permissions` and, in one step, the name `path`, which must be
    // in the folder it was created in. Whatever has that name already stays as it is.
    Outcome keep(const std::string& path, mode_t permissions);

private:
    PendingFile(int file, std::string temporaryPath);
    Result<Done> flush();
    Result<Done> copyThroughMemory(ByteSource& source, ByteRange range);
    Outcome linkUnnamed(const std::string& path);
    Outcome renameTemporary(const std::string& path);

    int file;
    std::string temporaryPath; // Empty while the file has no name at all.
    Bytes gathered;
    bool copiesInKernel = true;
};

} // namespace nullprint
