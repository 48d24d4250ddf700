#include "engine/support/Permissions.h"

#include <array>
#include <cerrno>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace nullprint {
namespace {

constexpr const char* listName = "system.posix_acl_access";

// The most that the system keeps in one attribute of a file.
constexpr std::size_t longestList = 64UL * 1024;

} // namespace

Permissions::Permissions(mode_t mode)
    : mode(mode & (S_IRWXU | S_IRWXG | S_IRWXO))
{
}

Permissions Permissions::of(int file, mode_t mode)
{
    Permissions permissions(mode);
    const ssize_t length = ::fgetxattr(file, listName, nullptr, 0);
    if (length == 0 || (length < 0 && (errno == ENODATA || errno == EOPNOTSUPP)))
        return permissions;
    permissions.list.resize(longestList);
    const ssize_t got =
        length < 0 ? length
                   : ::fgetxattr(file, listName, permissions.list.data(), permissions.list.size());
    permissions.list.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    if (permissions.list.empty())
        permissions.mode &= S_IRWXU;
    return permissions;
}

bool Permissions::giveTo(int file) const
{
    if (list.empty())
        return ::fchmod(file, mode) == 0;
    return ::fsetxattr(file, listName, list.data(), list.size(), 0) == 0 ||
           ::fchmod(file, mode & S_IRWXU) == 0;
}

} // namespace nullprint
