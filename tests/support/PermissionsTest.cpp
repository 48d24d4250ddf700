// Who may read a copy: nobody who could not read its original.
#include "engine/support/FileSource.h"
#include "engine/support/PendingFile.h"
#include "tests/support/Folder.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace nullprint::tests {
namespace {

namespace fs = std::filesystem;

constexpr const char* listName = "system.posix_acl_access";

// One further user may read, the group may not: the group's bits of the mode are the list's mask.
// As Linux keeps it: a version, then kind, permissions and number of each entry.
Bytes listWithAFurtherUser()
{
    constexpr std::uint32_t version = 2;
    constexpr std::uint32_t nobody = 0xFFFFFFFF;
    constexpr std::uint32_t user = 12345;
    struct Entry {
        std::uint16_t kind;
        std::uint16_t permissions;
        std::uint32_t number;
    };
    Bytes list;
    append32(list, version, ByteOrder::little);
    for (const Entry& entry : {Entry{1, 6, nobody},
                               Entry{2, 4, user},
                               Entry{4, 0, nobody},
                               Entry{16, 4, nobody},
                               Entry{32, 0, nobody}}) {
        append16(list, entry.kind, ByteOrder::little);
        append16(list, entry.permissions, ByteOrder::little);
        append32(list, entry.number, ByteOrder::little);
    }
    return list;
}

std::optional<Bytes> listOf(const std::string& path)
{
    Bytes list(1024);
    const ssize_t length = ::getxattr(path.c_str(), listName, list.data(), list.size());
    if (length < 0)
        return std::nullopt;
    list.resize(static_cast<std::size_t>(length));
    return list;
}

mode_t modeOf(const std::string& path)
{
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
}

gid_t groupOf(const std::string& path)
{
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0);
    return status.st_gid;
}

void keepCopy(const FileURL& original, const std::string& path)
{
    const auto source = FileSource::open(original.path());
    const auto copy = PendingFile::create(FileURL::fromPath(path).folder());
    ASSERT_TRUE(source.ok() && copy.ok());
    EXPECT_EQ(copy.value()->keep(path, source.value()->permissions()), PendingFile::Outcome::kept);
}

TEST(Permissions, areThoseOfTheOriginal)
{
    const Folder folder;
    const FileURL original = folder.put("a", "text");
    for (const mode_t mode : {0600U, 0640U, 0444U, 0755U, 04711U}) {
        const std::string copy = folder.url("copy").path();
        ASSERT_EQ(::chmod(original.path().c_str(), mode), 0);
        keepCopy(original, copy);
        EXPECT_EQ(modeOf(copy), mode & 0777U);
        EXPECT_EQ(listOf(copy), std::nullopt);
        fs::remove(copy);
    }
}

TEST(Permissions, comeWithTheListOfFurtherUsers)
{
    const Folder folder;
    const FileURL original = folder.put("a", "text");
    const std::string copy = folder.url("copy").path();
    const Bytes list = listWithAFurtherUser();
    if (::setxattr(original.path().c_str(), listName, list.data(), list.size(), 0) != 0 &&
        errno == EOPNOTSUPP)
        GTEST_SKIP() << "this file system has no such lists";
    EXPECT_EQ(modeOf(original.path()), 0640U);
    keepCopy(original, copy);
    EXPECT_EQ(modeOf(copy), 0640U);
    EXPECT_EQ(listOf(copy), list);
}

// A copy is made elsewhere and moved; its folder gives its group to what is made in it.
TEST(Permissions, areForTheGroupOfAFolderThatGivesIts)
{
    const Folder folder;
    const Folder elsewhere;
    const std::string path = folder.url("").path();
    const gid_t group = groupOf(path) + 1;
    if (::chown(path.c_str(), static_cast<uid_t>(-1), group) != 0)
        GTEST_SKIP() << "only the system's administrator can give a file to a strange group";
    ASSERT_EQ(::chmod(path.c_str(), 02770), 0);
    for (const Folder* place : {&folder, &elsewhere}) {
        const auto file = PendingFile::create(place->url("").path());
        const std::string copy = folder.url("copy").path();
        ASSERT_TRUE(file.ok());
        EXPECT_EQ(file.value()->keep(copy, Permissions(0660)), PendingFile::Outcome::kept);
        EXPECT_EQ(groupOf(copy), group);
        EXPECT_EQ(modeOf(copy), 0660U);
        fs::remove(copy);
    }
}

} // namespace
} // namespace nullprint::tests
