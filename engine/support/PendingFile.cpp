#include "engine/support/PendingFile.h"

#include "engine/support/FileSource.h"
#include "engine/support/FileURL.h"
#include "engine/support/UUID.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nullprint {
namespace {

// Below this, a range is read and written along with its neighbours: a system call costs more.
constexpr std::uint64_t kernelCopyBytes = 64UL * 1024;

PendingFile::Outcome outcomeOfErrno()
{
    return errno == EEXIST ? PendingFile::Outcome::nameTaken : PendingFile::Outcome::failed;
}

// Whether the kernel's way of copying is not to be had here at all, as opposed to a full disk.
bool isUnsupportedCopy(int code)
{
    return code == EXDEV || code == ENOSYS || code == EINVAL || code == EOPNOTSUPP ||
           code == EBADF || code == EPERM;
}

} // namespace

PendingFile::PendingFile(int file, std::string folder, std::string temporaryPath)
    : file(file)
    , folder(std::move(folder))
    , temporaryPath(std::move(temporaryPath))
{
}

Result<std::unique_ptr<PendingFile>> PendingFile::create(const std::string& folder,
                                                         const std::string& name)
{
    constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface.
    int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, ownerOnly);
    if (file >= 0)
        return std::unique_ptr<PendingFile>(new PendingFile(file, folder, {}));
    // FAT, some network and some overlay file systems have only files with names.
    std::string path = folder + "/" + (name.empty() ? ".nullprint-" + randomUUID() : name);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface.
    file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, ownerOnly);
    if (file < 0)
        return Error{"no file can be made in the folder"};
    return std::unique_ptr<PendingFile>(new PendingFile(file, folder, std::move(path)));
}

PendingFile::~PendingFile()
{
    if (!temporaryPath.empty())
        ::unlink(temporaryPath.c_str());
    ::close(file);
}

Result<Done> PendingFile::write(ByteSpan bytes)
{
    append(gathered, bytes);
    if (gathered.size() < limits::windowBytes)
        return Done{};
    return flush();
}

Result<Done> PendingFile::flush()
{
    NP_TRY(writeNow(gathered));
    gathered.clear();
    return Done{};
}

Result<Done> PendingFile::writeNow(ByteSpan bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return Error{"the copy could not be written"};
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return Done{};
}

Result<Done> PendingFile::copy(ByteSource& source, ByteRange range)
{
    if (!source.holds(range))
        return Error{"range past the end", range.offset};
    const auto bytes = source.inMemory(range);
    if (range.length < kernelCopyBytes || (!bytes && (source.descriptor() < 0 || !copiesInKernel)))
        return copyThroughMemory(source, range);
    NP_TRY(flush());
    if (bytes)
        return writeNow(*bytes);
    while (range.length > 0 && copiesInKernel) {
        auto offset = static_cast<off_t>(range.offset);
        const ssize_t copied = ::copy_file_range(source.descriptor(),
                                                 &offset,
                                                 file,
                                                 nullptr,
                                                 static_cast<std::size_t>(range.length),
                                                 0);
        if (copied < 0 && errno == EINTR)
            continue;
        // Nothing copied without an error: the kernel refuses in its own way, or the file shrank.
        if (copied == 0 || (copied < 0 && isUnsupportedCopy(errno))) {
            copiesInKernel = false;
            break;
        }
        if (copied < 0)
            return Error{"the copy could not be written", range.offset};
        range.offset += static_cast<std::uint64_t>(copied);
        range.length -= static_cast<std::uint64_t>(copied);
    }
    return copyThroughMemory(source, range);
}

Result<Done> PendingFile::copyThroughMemory(ByteSource& source, ByteRange range)
{
    while (range.length > 0) {
        const auto step =
            static_cast<std::size_t>(std::min<std::uint64_t>(range.length, limits::windowBytes));
        const std::size_t start = gathered.size();
        gathered.resize(start + step);
        NP_TRY(source.read(range.offset, std::span(gathered).subspan(start)));
        if (gathered.size() >= limits::windowBytes)
            NP_TRY(flush());
        range.offset += step;
        range.length -= step;
    }
    return Done{};
}

Result<Done> PendingFile::overwrite(std::uint64_t offset, ByteSpan bytes)
{
    while (!bytes.empty()) {
        const ssize_t written =
            ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return Error{"the copy could not be written", offset};
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        offset += static_cast<std::uint64_t>(written);
    }
    return Done{};
}

PendingFile::Outcome PendingFile::keep(const std::string& path, const Permissions& permissions)
{
    if (!takesGroupOf(FileURL::fromPath(path).folder()))
        return keepCopy(path, permissions);
    const Outcome outcome = moveTo(path, permissions);
    return outcome == Outcome::failed && errno == EXDEV ? keepCopy(path, permissions) : outcome;
}

// What is made in such a folder gets its group from the system, whoever makes it.
bool PendingFile::takesGroupOf(const std::string& place) const
{
    struct stat status {};
    if (place == folder || ::stat(place.c_str(), &status) != 0 || (status.st_mode & S_ISGID) == 0)
        return true;
    return ::fchown(file, static_cast<uid_t>(-1), status.st_gid) == 0;
}

PendingFile::Outcome PendingFile::moveTo(const std::string& path, const Permissions& permissions)
{
    if (!flush().ok() || !permissions.giveTo(file))
        return Outcome::failed;
    return temporaryPath.empty() ? linkUnnamed(path) : renameTemporary(path);
}

PendingFile::Outcome PendingFile::keepCopy(const std::string& path, const Permissions& permissions)
{
    const auto content = FileSource::open("/proc/self/fd/" + std::to_string(file));
    const auto copy = create(FileURL::fromPath(path).folder());
    if (!content.ok() || !copy.ok())
        return Outcome::failed;
    if (!copy.value()->copy(*content.value(), {0, content.value()->size()}).ok())
        return Outcome::failed;
    return copy.value()->moveTo(path, permissions);
}

PendingFile::Outcome PendingFile::linkUnnamed(const std::string& path)
{
    const std::string self = "/proc/self/fd/" + std::to_string(file);
    if (::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0)
        return Outcome::kept;
    return outcomeOfErrno();
}

PendingFile::Outcome PendingFile::renameTemporary(const std::string& path)
{
    const char* from = temporaryPath.c_str();
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) {
        temporaryPath.clear();
        return Outcome::kept;
    }
    if (errno != EINVAL && errno != ENOSYS)
        return outcomeOfErrno();
    // The file system has no renaming that refuses to replace. A second name refuses, too; the
    // destructor removes the first.
    if (::link(from, path.c_str()) == 0)
        return Outcome::kept;
    if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS)
        return outcomeOfErrno();
    // Nor a second name: an empty file takes the name, or finds it taken, and only that file of
    // ours is replaced.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface.
    const int place = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR);
    if (place < 0)
        return outcomeOfErrno();
    ::close(place);
    if (::rename(from, path.c_str()) != 0) {
        ::unlink(path.c_str());
        return Outcome::failed;
    }
    temporaryPath.clear();
    return Outcome::kept;
}

} // namespace nullprint
