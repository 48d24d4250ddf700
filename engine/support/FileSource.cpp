#include "engine/support/FileSource.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nullprint {
namespace {

bool isSame(const timespec& left, const timespec& right)
{
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

// Looking at a file is not to show in its times; but only its owner may ask for that.
int openForReading(const std::string& path)
{
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    // NOLINTBEGIN(cppcoreguidelines-pro-type-vararg): the system's own interface.
    const int file = ::open(path.c_str(), flags | O_NOATIME);
    return file < 0 && errno == EPERM ? ::open(path.c_str(), flags) : file;
    // NOLINTEND(cppcoreguidelines-pro-type-vararg)
}

// Memory that is touched for the first time costs about what reading into it does. In large pages,
// where the system has them, it costs less. To do without is no failure.
void wantLargePages(void* memory, std::size_t bytes)
{
    constexpr std::size_t pageBytes = 2UL * 1024 * 1024;
    if (std::align(pageBytes, pageBytes, memory, bytes) != nullptr)
        ::madvise(memory, bytes / pageBytes * pageBytes, MADV_HUGEPAGE);
}

} // namespace

Result<std::unique_ptr<FileSource>> FileSource::open(const std::string& path)
{
    return of(openForReading(path));
}

Result<std::unique_ptr<FileSource>> FileSource::of(int file)
{
    if (file < 0)
        return Error{"cannot open the file"};
    std::unique_ptr<FileSource> source(new FileSource(file));
    struct stat status {};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < 0)
        return Error{"not a regular file"};
    source->sizeBytes = static_cast<std::uint64_t>(status.st_size);
    source->mode = status.st_mode;
    source->modified = status.st_mtim;
    source->changed = status.st_ctim;
    return source;
}

FileSource::~FileSource()
{
    ::close(file);
}

Result<ByteSpan> FileSource::view(std::uint64_t offset, std::size_t length)
{
    if (!holds({offset, length}) || length > limits::windowBytes)
        return Error{"bytes past the end", offset};
    if (!inMemory({offset, length}))
        NP_TRY(moveWindow(offset, length));
    return *inMemory({offset, length});
}

std::optional<ByteSpan> FileSource::inMemory(ByteRange range) const
{
    if (range.offset < windowRange.offset || range.end() > windowRange.end())
        return std::nullopt;
    return ByteSpan(window.get(), windowRoom)
        .subspan(static_cast<std::size_t>(range.offset - windowRange.offset),
                 static_cast<std::size_t>(range.length));
}

// A walk that goes on where it stood, or a few bytes on, gets a window that grows up to its usual
// size; a jump starts small.
Result<Done> FileSource::moveWindow(std::uint64_t offset, std::size_t length)
{
    const bool goesOn =
        offset >= windowRange.offset && offset <= windowRange.end() + limits::stepBytes;
    const ByteRange kept = goesOn && keeps ? windowRange : ByteRange{offset, 0};
    const std::uint64_t wanted = goesOn ? windowRange.length * 4 : 0;
    const std::uint64_t ahead =
        std::clamp<std::uint64_t>(wanted, limits::jumpWindowBytes, limits::windowBytes);
    const std::uint64_t end = std::min(std::max(offset + length, kept.end() + ahead), sizeBytes);
    makeRoom(static_cast<std::size_t>(keeps ? sizeBytes : end - kept.offset));
    windowRange = {}; // Unless all of it can be read.
    NP_TRY(read(kept.end(),
                std::span(window.get(), windowRoom)
                    .subspan(static_cast<std::size_t>(kept.length),
                             static_cast<std::size_t>(end - kept.end()))));
    windowRange = {kept.offset, end - kept.offset};
    return Done{};
}

// Leaves what is in the window.
void FileSource::makeRoom(std::size_t bytes)
{
    if (bytes <= windowRoom)
        return;
    auto larger = std::make_unique_for_overwrite<Byte[]>(bytes);
    wantLargePages(larger.get(), bytes);
    std::copy_n(window.get(), static_cast<std::size_t>(windowRange.length), larger.get());
    window = std::move(larger);
    windowRoom = bytes;
}

Result<Done> FileSource::read(std::uint64_t offset, std::span<Byte> target)
{
    if (!holds({offset, target.size()}))
        return Error{"bytes past the end", offset};
    while (!target.empty()) {
        const ssize_t got = ::pread(file, target.data(), target.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            failed = true;
            return Error{"the file could not be read", offset};
        }
        target = target.subspan(static_cast<std::size_t>(got));
        offset += static_cast<std::uint64_t>(got);
    }
    return Done{};
}

bool FileSource::isUnchanged() const
{
    struct stat status {};
    return !failed && ::fstat(file, &status) == 0 &&
           static_cast<std::uint64_t>(status.st_size) == sizeBytes &&
           isSame(status.st_mtim, modified) && isSame(status.st_ctim, changed);
}

} // namespace nullprint
