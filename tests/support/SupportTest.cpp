#include "engine/support/ByteCursor.h"
#include "engine/support/Deflate.h"
#include "engine/support/FileSource.h"
#include "engine/support/FindBytes.h"
#include "engine/support/PendingFile.h"
#include "engine/support/Text.h"
#include "engine/support/UUID.h"
#include "tests/support/Folder.h"

#include <algorithm>
#include <climits>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <numeric>
#include <random>
#include <regex>
#include <unistd.h>

namespace nullprint::tests {
namespace {

TEST(ByteCursor, readsBothByteOrders)
{
    const Bytes bytes{1, 2, 3, 4, 5, 6, 7, 8};
    MemorySource source(bytes);
    EXPECT_EQ(ByteCursor(source).u64().value(), 0x0102030405060708U);
    EXPECT_EQ(ByteCursor(source, ByteOrder::little).u32().value(), 0x04030201U);
    EXPECT_EQ(ByteCursor(source, ByteOrder::little).u16().value(), 0x0201U);
}

TEST(ByteCursor, failsRatherThanReadOn)
{
    const Bytes bytes{1, 2, 3};
    MemorySource source(bytes);
    ByteCursor cursor(source);
    EXPECT_FALSE(cursor.u32().ok());
    EXPECT_EQ(cursor.position(), 0U);
    EXPECT_FALSE(cursor.skip(4).ok());
    EXPECT_FALSE(cursor.bytes(0xFFFFFFFFFFFFFFFFU).ok());
    EXPECT_TRUE(cursor.skip(3).ok());
    EXPECT_TRUE(cursor.atEnd());
    EXPECT_FALSE(cursor.u8().ok());
    EXPECT_FALSE(cursor.peek());
}

TEST(ByteCursor, cannotLeaveTheSubRangeItWasGiven)
{
    const Bytes bytes{1, 2, 3, 4};
    MemorySource source(bytes);
    ByteCursor cursor(source);
    ByteCursor inner = cursor.sub(2).value();
    EXPECT_EQ(inner.remaining(), 2U);
    EXPECT_FALSE(inner.skip(3).ok());
    EXPECT_EQ(cursor.u8().value(), 3);
}

TEST(FileSource, yieldsTheFileInWindows)
{
    const Folder folder;
    Bytes content(3 * limits::windowBytes + 17);
    std::iota(content.begin(), content.end(), Byte{0});
    const auto file = FileSource::open(folder.put("a", content).path());
    ASSERT_TRUE(file.ok());
    FileSource& source = *file.value();
    for (const std::size_t offset : {0UL, 5UL, 4090UL, 300000UL, 299990UL, 786430UL}) {
        const std::size_t length = std::min(content.size() - offset, limits::windowBytes);
        const auto view = source.view(offset, length);
        ASSERT_TRUE(view.ok());
        EXPECT_TRUE(std::ranges::equal(view.value(), std::span(content).subspan(offset, length)));
    }
    EXPECT_FALSE(source.view(content.size() - 1, 2).ok());
    EXPECT_FALSE(source.view(0, limits::windowBytes + 1).ok());
}

// Bytes without a period, so that each place has its own.
Bytes noise(std::size_t length)
{
    std::mt19937 random(7);
    Bytes bytes(length);
    std::ranges::generate(bytes, [&random] { return static_cast<Byte>(random()); });
    return bytes;
}

// Looks at all of it from `start` on, piece by piece, as a walk over blocks does.
void walk(FileSource& source, std::uint64_t start)
{
    constexpr std::uint64_t piece = 700;
    for (std::uint64_t at = start; at < source.size(); at += piece + limits::stepBytes)
        ASSERT_TRUE(source.view(at, std::min(piece, source.size() - at)).ok());
}

TEST(FileSource, keepsWhatAWalkHasReadOfASmallFile)
{
    const Folder folder;
    const Bytes content = noise(3 * limits::windowBytes + 17);
    const std::string path = folder.put("a", content).path();
    const auto file = FileSource::open(path);
    ASSERT_TRUE(file.ok());
    FileSource& source = *file.value();
    source.keepWhatIsRead();
    ASSERT_TRUE(source.view(0, 10).ok());
    constexpr std::uint64_t start = 100000;
    walk(source, start); // A jump: what was in front of it is given up.
    EXPECT_FALSE(source.inMemory({0, 10}));
    const auto rest = source.inMemory({start, content.size() - start});
    ASSERT_TRUE(rest);
    EXPECT_TRUE(std::ranges::equal(*rest, std::span(content).subspan(start)));
    EXPECT_FALSE(source.inMemory({start, content.size() - start + 1}));
    walk(source, 0);
    const auto whole = source.inMemory({0, content.size()});
    ASSERT_TRUE(whole);
    EXPECT_TRUE(std::ranges::equal(*whole, content));
}

TEST(FileSource, keepsNothingUnlessItIsToldOrOfALargeFile)
{
    const Folder folder;
    const std::string path = folder.put("a", noise(2 * limits::windowBytes)).path();
    const auto untold = FileSource::open(path);
    ASSERT_TRUE(untold.ok());
    walk(*untold.value(), 0);
    EXPECT_FALSE(untold.value()->inMemory({0, 1}));
    ASSERT_EQ(::truncate(path.c_str(), limits::keptBytes + 1), 0);
    const auto large = FileSource::open(path);
    ASSERT_TRUE(large.ok());
    large.value()->keepWhatIsRead();
    ASSERT_TRUE(large.value()->view(0, limits::windowBytes).ok());
    ASSERT_TRUE(large.value()->view(limits::windowBytes, limits::windowBytes).ok());
    EXPECT_FALSE(large.value()->inMemory({0, 1}));
}

TEST(FileSource, noticesThatTheFileShrank)
{
    const Folder folder;
    const FileURL url = folder.put("a", Bytes(10000, 7));
    const auto file = FileSource::open(url.path());
    ASSERT_TRUE(file.ok());
    EXPECT_TRUE(file.value()->isUnchanged());
    ASSERT_EQ(::truncate(url.path().c_str(), 100), 0);
    EXPECT_FALSE(file.value()->hasFailed());
    EXPECT_FALSE(file.value()->view(5000, 10).ok());
    EXPECT_TRUE(file.value()->hasFailed());
    EXPECT_FALSE(file.value()->isUnchanged());
}

TEST(FileSource, hasNotFailedWhenItIsAskedForMoreThanThereIs)
{
    const Folder folder;
    const auto file = FileSource::open(folder.put("a", "short").path());
    ASSERT_TRUE(file.ok());
    Bytes more(6);
    EXPECT_FALSE(file.value()->read(0, more).ok());
    EXPECT_FALSE(file.value()->view(6, 1).ok());
    EXPECT_FALSE(file.value()->hasFailed());
    EXPECT_TRUE(file.value()->isUnchanged());
}

TEST(PartSource, staysWithinItsPart)
{
    const Bytes bytes{1, 2, 3, 4, 5};
    MemorySource whole(bytes);
    PartSource part(whole, {1, 3});
    EXPECT_EQ(part.size(), 3U);
    EXPECT_EQ(part.view(0, 1).value()[0], 2);
    EXPECT_FALSE(part.view(0, 4).ok());
    EXPECT_FALSE(part.view(3, 1).ok());
}

TEST(PendingFile, leavesNothingUnlessItIsKept)
{
    const Folder folder;
    {
        const auto file = PendingFile::create(folder.url("").path());
        ASSERT_TRUE(file.ok());
        EXPECT_TRUE(file.value()->write(asBytes("half a file")).ok());
    }
    EXPECT_TRUE(folder.names().empty());
}

TEST(PendingFile, neverReplaces)
{
    const Folder folder;
    const FileURL taken = folder.put("a", "first");
    const auto file = PendingFile::create(folder.url("").path());
    ASSERT_TRUE(file.ok());
    EXPECT_TRUE(file.value()->write(asBytes("second")).ok());
    EXPECT_EQ(file.value()->keep(taken.path(), Permissions(0600)), PendingFile::Outcome::nameTaken);
    EXPECT_EQ(asText(fileBytes(taken.path())), "first");
    EXPECT_EQ(file.value()->keep(folder.url("b").path(), Permissions(0600)),
              PendingFile::Outcome::kept);
    EXPECT_EQ(asText(fileBytes(folder.url("b").path())), "second");
}

TEST(PendingFile, copiesShortAndLongRanges)
{
    const Folder folder;
    const Bytes content = noise(700000);
    const std::string path = folder.put("a", content).path();
    for (const bool isInMemory : {false, true}) {
        const auto source = FileSource::open(path);
        const auto file = PendingFile::create(folder.url("").path());
        ASSERT_TRUE(source.ok() && file.ok());
        if (isInMemory) {
            source.value()->keepWhatIsRead();
            walk(*source.value(), 50);
        }
        Bytes expected;
        for (const ByteRange range : {ByteRange{0, 10}, {100, 600000}, {5, 65536}, {699999, 1}}) {
            EXPECT_TRUE(file.value()->write(asBytes("-")).ok());
            EXPECT_TRUE(file.value()->copy(*source.value(), range).ok());
            expected.push_back('-');
            append(expected, std::span(content).subspan(range.offset, range.length));
        }
        const FileURL copy = folder.url(isInMemory ? "b" : "c");
        ASSERT_EQ(file.value()->keep(copy.path(), Permissions(0600)), PendingFile::Outcome::kept);
        EXPECT_EQ(fileBytes(copy.path()), expected);
    }
}

TEST(FileURL, splitsNames)
{
    const FileURL url = FileURL::fromPath("/a/b.tar.GZ");
    EXPECT_EQ(url.lastPathComponent(), "b.tar.GZ");
    EXPECT_EQ(url.pathExtension(), "GZ");
    EXPECT_EQ(url.nameWithoutExtension(), "b.tar");
    EXPECT_EQ(url.folder(), "/a");
    EXPECT_EQ(FileURL::fromPath("/x").folder(), "/");
    EXPECT_EQ(FileURL::fromPath("/a/.rels").pathExtension(), "rels");
    EXPECT_EQ(FileURL::fromPath("/a/b.").pathExtension(), "");
    EXPECT_EQ(FileURL::fromPath("/a.b/c").pathExtension(), "");
}

// A name in it must not become a name at the root.
TEST(FileURL, staysInAFolderThatIsGone)
{
    const auto before = std::filesystem::current_path();
    {
        const Folder folder;
        std::filesystem::current_path(folder.url("").path());
    }
    const std::string path = FileURL::fromPath("a.jpg").path();
    std::filesystem::current_path(before);
    EXPECT_EQ(path, "/proc/self/cwd/a.jpg");
}

TEST(FileURL, canBeOpenedInADeepFolder)
{
    const auto before = std::filesystem::current_path();
    const Folder folder;
    std::filesystem::current_path(folder.url("").path());
    constexpr std::size_t nameBytes = 250;
    const std::string name(nameBytes, 'a');
    for (std::size_t length = 0; length < PATH_MAX; length += nameBytes) {
        std::filesystem::create_directory(name);
        std::filesystem::current_path(name);
    }
    std::ofstream("a.jpg") << "here";
    const auto file = FileSource::open(FileURL::fromPath("a.jpg").path());
    std::filesystem::current_path(before);
    ASSERT_TRUE(file.ok());
    EXPECT_EQ(file.value()->size(), 4U);
}

TEST(FileURL, isAbsoluteAndTidy)
{
    const std::string here = std::filesystem::current_path();
    EXPECT_EQ(FileURL::fromPath("a.jpg").path(), here + "/a.jpg");
    EXPECT_EQ(FileURL::fromPath("./a.jpg").path(), here + "/a.jpg");
    EXPECT_EQ(FileURL::fromPath("/a//b/./c.jpg/").path(), "/a/b/c.jpg");
    EXPECT_EQ(FileURL::fromPath("/").path(), "/");
}

TEST(FileURL, followsLinksAsTheSystemDoes)
{
    const Folder folder;
    std::filesystem::create_directories(folder.url("real/deep").path());
    std::filesystem::create_directory_symlink(folder.url("real/deep").path(),
                                              folder.url("link").path());
    // Through the link, ".." is "real"; without it, the two steps cancel.
    EXPECT_EQ(FileURL::fromPath(folder.url("").path() + "/link/../a.jpg").folder(),
              folder.url("").path() + "/link/..");
    EXPECT_EQ(FileURL::fromPath(folder.url("").path() + "/real/../a.jpg").folder(),
              folder.url("").path());
}

TEST(Text, knowsUTF8)
{
    EXPECT_TRUE(isUTF8("aä€😀"));
    EXPECT_FALSE(isUTF8("\xC0\x80"));         // Overlong
    EXPECT_FALSE(isUTF8("\xE0\x80\xAF"));     // Overlong
    EXPECT_FALSE(isUTF8("\xED\xA0\x80"));     // Surrogate
    EXPECT_FALSE(isUTF8("\xF4\x90\x80\x80")); // Past the last code point
    EXPECT_FALSE(isUTF8("\xE2\x82"));         // Cut
    EXPECT_FALSE(isUTF8("\xFF"));
}

TEST(Text, decodesUTF16)
{
    EXPECT_EQ(textFromUTF16(Bytes{0, 'a', 0xD8, 0x3D, 0xDE, 0x00, 0, 0, 0, 'x'}, ByteOrder::big),
              "a😀");
    EXPECT_EQ(textFromUTF16(Bytes{0x3D, 0xD8, 'b', 0}, ByteOrder::little), "\uFFFDb");
}

TEST(Text, lowersEveryLetter)
{
    EXPECT_EQ(lowerCased("JPG-ÄÖΣ"), "jpg-äöσ");
    EXPECT_EQ(lowerCased("TİF"), "ti\u0307f");
    EXPECT_EQ(lowerCased("A\xFFZ"), "a\xFFz");
}

TEST(Text, keepsATerminalSafe)
{
    EXPECT_EQ(safeForTerminal("a\tb\nc"), "a\tb\nc");
    EXPECT_EQ(safeForTerminal("\x1B[31m\r\x7F"), "\uFFFD[31m\uFFFD\uFFFD");
    EXPECT_EQ(safeForTerminal("\u009Bm \x9B"), "\uFFFDm \uFFFD");
    EXPECT_EQ(safeForTerminal("Jürgen 😀"), "Jürgen 😀");
}

TEST(UUID, isRandomAndInCanonicalForm)
{
    const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
    EXPECT_TRUE(std::regex_match(randomUUID(), form));
    EXPECT_NE(randomUUID(), randomUUID());
}

TEST(FindBytes, findsAPairWhereverItStands)
{
    const auto isHit = [](Byte left, Byte right) {
        return static_cast<Byte>(left == 0xFF) & static_cast<Byte>(right == 0xD9);
    };
    for (std::size_t size = 0; size < 200; ++size) {
        Bytes bytes(size, 0xFF);
        EXPECT_EQ(findBytePair(bytes, isHit), size);
        for (std::size_t place = 0; place + 1 < size; ++place) {
            bytes[place + 1] = 0xD9;
            EXPECT_EQ(findBytePair(bytes, isHit), place) << size;
            bytes[place + 1] = 0xFF;
        }
    }
}

TEST(Deflate, stopsAtItsBound)
{
    const Bytes packed{0x78, 0x9C, 0x4B, 0x04, 0x00, 0x00, 0x62, 0x00, 0x62}; // "a"
    EXPECT_EQ(asText(inflate(packed, 10)), "a");
    EXPECT_TRUE(inflate(packed, 0).empty());
    EXPECT_TRUE(inflate(asBytes("no zlib stream"), 10).empty());
    EXPECT_EQ(checksum(asBytes("123456789")), 0xCBF43926U);
}

} // namespace
} // namespace nullprint::tests
