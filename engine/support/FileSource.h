// A file that is being looked at: opened for reading only, read in windows, never mapped. (A mapped
// file that another program shortens would end this one; and memory would grow with the file.)
#pragma once

#include "engine/support/ByteSource.h"
#include "engine/support/Permissions.h"

#include <ctime>
#include <memory>
#include <string>
#include <sys/types.h>

namespace nullprint {

class FileSource final : public ByteSource {
public:
    // Fails on anything but a regular file; never waits for one (a pipe, a device).
    static Result<std::unique_ptr<FileSource>> open(const std::string& path);
    // Takes over a file that is open for reading.
    static Result<std::unique_ptr<FileSource>> of(int file);
    ~FileSource() override;

    std::uint64_t size() const override { return sizeBytes; }
    Result<ByteSpan> view(std::uint64_t offset, std::size_t length) override;
    Result<Done> read(std::uint64_t offset, std::span<Byte> target) override;
    std::optional<ByteSpan> inMemory(ByteRange range) const override;
    int descriptor() const override { return file; }

    // From now on, what a walk reads of a file of at most limits::keptBytes stays in memory, for as
    // long as the walk goes on. Who copies what was walked over has it read once.
    void keepWhatIsRead() { keeps = sizeBytes <= limits::keptBytes; }

    // Who may do what with the file.
    Permissions permissions() const { return Permissions::of(file, mode); }

    // Whether something that is there could not be read. Who goes on without it must not take the
    // file for a smaller one.
    bool hasFailed() const { return failed; }

    // Whether all that was asked for was read, and the file still is what it was when it was
    // opened: same size, same times.
    bool isUnchanged() const;

private:
    explicit FileSource(int file)
        : file(file)
    {
    }

    Result<Done> moveWindow(std::uint64_t offset, std::size_t length);
    void makeRoom(std::size_t bytes);

    int file;
    bool keeps = false;
    bool failed = false;
    std::uint64_t sizeBytes = 0;
    mode_t mode = 0;
    timespec modified{};
    timespec changed{};
    std::unique_ptr<Byte[]> window; // Not cleared before it is read into.
    std::size_t windowRoom = 0;
    ByteRange windowRange{};
};

} // namespace nullprint
