// Preloaded into the program by faults.py: the nth step that writes a file fails as on a full disk,
// or the program is killed at that step. Steps on anything but a regular file are left alone.
//
//   NP_FAULT_AT       which step fails, counted from 1; none without it
//   NP_FAULT_KILLS    ends the program there instead
//   NP_FAULT_NAMED    the file system has no files without names, as FAT has none
#undef _FILE_OFFSET_BITS // It would make one function of open and open64.
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

template <typename Function> Function* original(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool isRegular(int file)
{
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

bool failsHere()
{
    static const char* const at = std::getenv("NP_FAULT_AT");
    static int step = 0;
    if (at == nullptr || ++step != std::stoi(at))
        return false;
    if (std::getenv("NP_FAULT_KILLS") != nullptr)
        ::raise(SIGKILL);
    errno = ENOSPC;
    return true;
}

int openUnlessFaulty(const char* name, const char* path, int flags, mode_t mode)
{
    const bool isUnnamed = (flags & O_TMPFILE) == O_TMPFILE;
    if (isUnnamed && std::getenv("NP_FAULT_NAMED") != nullptr) {
        errno = EOPNOTSUPP;
        return -1;
    }
    if ((isUnnamed || (flags & O_CREAT) != 0) && failsHere())
        return -1;
    return original<int(const char*, int, ...)>(name)(path, flags, mode);
}

mode_t modeOf(int flags, std::va_list& more)
{
    const bool hasMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return hasMode ? va_arg(more, mode_t) : 0;
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...)
{
    std::va_list more;
    va_start(more, flags);
    const mode_t mode = modeOf(flags, more);
    va_end(more);
    return openUnlessFaulty("open", path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    std::va_list more;
    va_start(more, flags);
    const mode_t mode = modeOf(flags, more);
    va_end(more);
    return openUnlessFaulty("open64", path, flags, mode);
}

ssize_t write(int file, const void* bytes, std::size_t length)
{
    if (isRegular(file) && failsHere())
        return -1;
    return original<ssize_t(int, const void*, std::size_t)>("write")(file, bytes, length);
}

ssize_t
copy_file_range(int from, off64_t* at, int to, off64_t* place, std::size_t length, unsigned flags)
{
    if (failsHere())
        return -1;
    return original<ssize_t(int, off64_t*, int, off64_t*, std::size_t, unsigned)>(
        "copy_file_range")(from, at, to, place, length, flags);
}

int fchmod(int file, mode_t mode) noexcept
{
    if (failsHere())
        return -1;
    return original<int(int, mode_t)>("fchmod")(file, mode);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept
{
    if (failsHere())
        return -1;
    return original<int(int, const char*, int, const char*, int)>(
        "linkat")(fromFolder, from, toFolder, to, flags);
}

int renameat2(int fromFolder,
              const char* from,
              int toFolder,
              const char* to,
              unsigned flags) noexcept
{
    if (failsHere())
        return -1;
    return original<int(int, const char*, int, const char*, unsigned)>(
        "renameat2")(fromFolder, from, toFolder, to, flags);
}

} // extern "C"
