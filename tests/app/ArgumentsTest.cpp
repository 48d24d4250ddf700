#include "app/Arguments.h"

#include "tests/support/Folder.h"

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

StartRequest requestOf(const std::vector<std::string>& words)
{
    std::vector<const char*> pointers;
    pointers.reserve(words.size());
    for (const std::string& word : words)
        pointers.push_back(word.c_str());
    return readArguments(pointers);
}

TEST(Arguments, thatNameFilesAreOpened)
{
    const tests::Folder folder;
    const auto odd = folder.put("a b%41\xFF.jpg", std::string_view("x"));
    const auto request = requestOf({odd.path(), "file:///not/there%20yet", "missing.jpg"});
    ASSERT_EQ(request.files.size(), 2U);
    EXPECT_EQ(request.files[0], odd);
    EXPECT_EQ(request.files[1].path(), "/not/there yet");
    EXPECT_EQ(request.service, "");
    EXPECT_FALSE(request.isLoginItem);
}

TEST(Arguments, thatMeanNothingArePassedOver)
{
    const auto request = requestOf({"--Scrub", "", "-platform", "https://example.org/a", "file:a"});
    EXPECT_TRUE(request.files.empty());
    EXPECT_EQ(request.service, "");
}

TEST(Arguments, nameAServiceFirstOrNot)
{
    EXPECT_EQ(requestOf({"--service", "scrubMetadata", "/"}).service, "scrubMetadata");
    EXPECT_EQ(requestOf({"--service", "showMetadata"}).service, "showMetadata");
    EXPECT_EQ(requestOf({"--service", "eraseDisk", "/"}).service, "");
    EXPECT_EQ(requestOf({"/", "--service", "scrubMetadata"}).service, "");
    EXPECT_EQ(requestOf({"--service"}).service, "");
    EXPECT_EQ(requestOf({"--service", "scrubMetadata", "file:///a"}).files.size(), 1U);
}

TEST(Arguments, areFilesToBeCleanedEvenIfTheyAreGone)
{
    const auto request =
        requestOf({"--service", "scrubMetadata", "/gone/caf\xEF\xBF\xBD.jpg", "a"});
    ASSERT_EQ(request.files.size(), 1U);
    EXPECT_EQ(request.files[0].path(), "/gone/caf\xEF\xBF\xBD.jpg");
    EXPECT_TRUE(requestOf({"--service", "showMetadata", "/gone/photo.jpg"}).files.empty());
    EXPECT_TRUE(requestOf({"/gone/photo.jpg"}).files.empty());
}

TEST(Arguments, tellOfAStartWithTheSession)
{
    EXPECT_TRUE(requestOf({"--login-item"}).isLoginItem);
    EXPECT_FALSE(requestOf({"--login-items"}).isLoginItem);
}

} // namespace
} // namespace nullprint::app
