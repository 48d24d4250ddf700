// Preloaded into the program by tests: the nth step that writes a file fails as on a full disk, or
// something else happens there. Steps on anything but a regular file are left alone.
//
//   NP_FAULT_AT       which step fails, counted from 1; none without it
//   NP_FAULT_IN       only in the program of this name, not in others that it starts
//   NP_FAULT_KILLS    ends the program there instead
//   NP_FAULT_STOPS    stops it there instead, until it is told to continue
//   NP_FAULT_READS    steps are those that read a file
//   NP_FAULT_NAMED    the file system has no files without names, as FAT has none
//   NP_FAULT_OLD      it has no renaming that refuses to replace, as NFS has none
//   NP_FAULT_NO_LINKS a file on it has one name at the most
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
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): what dlsym is made for.
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool isRegular(int file)
{
    struct stat status {};
    return ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

bool isSet(const char* name)
{
    return std::getenv(name) != nullptr;
}

bool failsAtStep(int code)
{
    static const char* const at = std::getenv("NP_FAULT_AT");
    static const char* const in = std::getenv("NP_FAULT_IN");
    static int step = 0;
    if (in != nullptr && std::string(in) != ::program_invocation_short_name)
        return false;
    if (at == nullptr || ++step != std::stoi(at))
        return false;
    if (isSet("NP_FAULT_KILLS"))
        ::raise(SIGKILL);
    if (isSet("NP_FAULT_STOPS")) {
        ::raise(SIGSTOP);
        return false;
    }
    errno = code;
    return true;
}

bool failsHere()
{
    return !isSet("NP_FAULT_READS") && failsAtStep(ENOSPC);
}

bool readFailsHere(int file)
{
    return isSet("NP_FAULT_READS") && isRegular(file) && failsAtStep(EIO);
}

int openUnlessFaulty(const char* name, const char* path, int flags, mode_t mode)
{
    const bool isUnnamed = (flags & O_TMPFILE) == O_TMPFILE;
    if (isUnnamed && isSet("NP_FAULT_NAMED")) {
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
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller has begun it.
    return hasMode ? va_arg(more, mode_t) : 0;
}

} // namespace

// NOLINTBEGIN(readability-function-size): as many parameters as the system's functions have.
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

ssize_t pread(int file, void* bytes, std::size_t length, off_t offset)
{
    if (readFailsHere(file))
        return -1;
    return original<ssize_t(int, void*, std::size_t, off_t)>("pread")(file, bytes, length, offset);
}

ssize_t pread64(int file, void* bytes, std::size_t length, off64_t offset)
{
    if (readFailsHere(file))
        return -1;
    return original<ssize_t(int, void*, std::size_t, off64_t)>(
        "pread64")(file, bytes, length, offset);
}

int fchmod(int file, mode_t mode) noexcept
{
    if (failsHere())
        return -1;
    return original<int(int, mode_t)>("fchmod")(file, mode);
}

int link(const char* from, const char* to) noexcept
{
    if (isSet("NP_FAULT_NO_LINKS")) {
        errno = EPERM;
        return -1;
    }
    if (failsHere())
        return -1;
    return original<int(const char*, const char*)>("link")(from, to);
}

int rename(const char* from, const char* to) noexcept
{
    if (failsHere())
        return -1;
    return original<int(const char*, const char*)>("rename")(from, to);
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
    if (isSet("NP_FAULT_OLD") && flags != 0) {
        errno = EINVAL;
        return -1;
    }
    if (failsHere())
        return -1;
    return original<int(int, const char*, int, const char*, unsigned)>(
        "renameat2")(fromFolder, from, toFolder, to, flags);
}

} // extern "C"
// NOLINTEND(readability-function-size)
