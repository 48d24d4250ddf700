#include "app/FileURIs.h"

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

std::string pathOf(const QByteArray& uri)
{
    const auto file = fileOfURI(uri);
    return file ? file->path() : "no file";
}

TEST(FileURIs, namesFilesOfThisMachineOnly)
{
    EXPECT_EQ(pathOf("file:///a/b.jpg"), "/a/b.jpg");
    EXPECT_EQ(pathOf("file:/a/b.jpg"), "/a/b.jpg");
    EXPECT_EQ(pathOf("FILE://localhost/a"), "/a");
    EXPECT_EQ(pathOf("file://elsewhere.example/a"), "no file");
    EXPECT_EQ(pathOf("https://example.org/a"), "no file");
    EXPECT_EQ(pathOf("file:a"), "no file");
    EXPECT_EQ(pathOf("fil"), "no file");
    EXPECT_EQ(pathOf(""), "no file");
    EXPECT_EQ(pathOf("file:///a%00b"), "no file");
}

TEST(FileURIs, decodeEveryByteOnce)
{
    EXPECT_EQ(pathOf("file:///a%20b%2541%26%22%0A%C3%A9%FF"), "/a b%41&\"\n\xC3\xA9\xFF");
    EXPECT_EQ(pathOf("file:///a%3Fb%23c?query#fragment"), "/a?b#c");
}

TEST(FileURIs, bringNamesThereAndBack)
{
    for (const std::string name : {"/plain", "/a b%41&'\"\n$“”é", "/\xFF\xFE", "/#?;", "/a//b"}) {
        const auto file = FileURL::fromPath(name);
        const auto back = fileOfURI(uriOfFile(file));
        ASSERT_TRUE(back) << name;
        EXPECT_EQ(back->path(), file.path());
    }
}

TEST(FileURIs, ofAPasteboardKeepItsOrder)
{
    QMimeData pasteboard;
    pasteboard.setData(QStringLiteral("text/uri-list"),
                       "# comment\r\nfile:///b\r\nhttps://example.org/c\r\nfile:///a%20a\r\n");
    const auto files = readFileURLs(pasteboard);
    ASSERT_EQ(files.size(), 2U);
    EXPECT_EQ(files[0].path(), "/b");
    EXPECT_EQ(files[1].path(), "/a a");
    QMimeData text;
    text.setText(QStringLiteral("file:///a"));
    EXPECT_TRUE(readFileURLs(text).empty());
}

} // namespace
} // namespace nullprint::app
