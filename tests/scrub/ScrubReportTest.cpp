#include "engine/scrub/ScrubReport.h"

#include "engine/scrub/OutputName.h"
#include "tests/support/EXIFBuilder.h"
#include "tests/support/Folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace nullprint::tests {
namespace {

using image::Group;

Bytes photo()
{
    return jpegWithEXIF({EXIFBuilder().text(Group::tiff, image::tag::artist, "Jane Roe").block()});
}

std::string messageOf(const FileURL& url)
{
    const Status status = scrubFile(url).status;
    if (const auto* unsupported = std::get_if<Unsupported>(&status))
        return "unsupported: " + unsupported->message;
    if (const auto* failed = std::get_if<Failed>(&status))
        return "failed: " + failed->message;
    return "cleaned: " + std::get<Cleaned>(status).output.lastPathComponent();
}

TEST(Scrub, namesTheCopyAfterTheOriginal)
{
    const Folder folder;
    EXPECT_EQ(messageOf(folder.put("Photo.JPG", photo())), "cleaned: Photo (scrubbed).JPG");
    EXPECT_EQ(messageOf(folder.url("Photo.JPG")), "cleaned: Photo (scrubbed 2).JPG");
    EXPECT_EQ(messageOf(folder.url("Photo (scrubbed).JPG")),
              "cleaned: Photo (scrubbed) (scrubbed).JPG");
}

TEST(Scrub, takesTheFirstFreeNumber)
{
    const Folder folder;
    folder.put("a (scrubbed).jpg", "taken");
    folder.put("a (scrubbed 2).jpg", "taken");
    EXPECT_EQ(messageOf(folder.put("a.jpg", photo())), "cleaned: a (scrubbed 3).jpg");
    EXPECT_EQ(asText(fileBytes(folder.url("a (scrubbed).jpg").path())), "taken");
}

TEST(Scrub, doesNotReplaceALinkThatLeadsNowhere)
{
    const Folder folder;
    ASSERT_EQ(::symlink("/nowhere/at/all", folder.url("a (scrubbed).jpg").path().c_str()), 0);
    EXPECT_EQ(messageOf(folder.put("a.jpg", photo())), "cleaned: a (scrubbed 2).jpg");
}

TEST(Scrub, refusesLegacyOfficeFilesWithAdvice)
{
    EXPECT_EQ(messageOf(FileURL::fromPath("/x/Budget.XLS")),
              "unsupported: Legacy “.xls” format isn’t supported. Open it in the Office app and "
              "re-save as “.xlsx”, then scrub that.");
    EXPECT_EQ(messageOf(FileURL::fromPath("/x/old.doc")),
              "unsupported: Legacy “.doc” format isn’t supported. Open it in the Office app and "
              "re-save as “.docx”, then scrub that.");
}

TEST(Scrub, refusesOtherFilesByTheirLastExtension)
{
    const std::string supported =
        "”. Supported: images, PDF, and Word/Excel/PowerPoint (.docx / .xlsx / .pptx).";
    EXPECT_EQ(messageOf(FileURL::fromPath("/x/movie.mp4")),
              "unsupported: Unsupported file type “.mp4" + supported);
    EXPECT_EQ(messageOf(FileURL::fromPath("/x/archive.tar.gz")),
              "unsupported: Unsupported file type “.gz" + supported);
    EXPECT_EQ(messageOf(FileURL::fromPath("/x/notes")),
              "unsupported: Unsupported file type “." + supported);
    EXPECT_EQ(messageOf(FileURL::fromPath("/x/RÉSUMÉ.ÄÖ")),
              "unsupported: Unsupported file type “.äö" + supported);
}

TEST(Scrub, goesByNameFirstAndByContentThen)
{
    const Folder folder;
    const std::string unreadable = "failed: Couldn’t read the image.";
    EXPECT_EQ(messageOf(folder.url("missing.png")), unreadable);
    EXPECT_EQ(messageOf(folder.put("text.png", "just a text")), unreadable);
    EXPECT_EQ(messageOf(folder.put("empty.gif", "")), unreadable);
    EXPECT_EQ(messageOf(folder.put("jpeg.png", photo())), "cleaned: jpeg (scrubbed).png");
    EXPECT_EQ(
        folder.names(),
        (std::vector<std::string>{"empty.gif", "jpeg (scrubbed).png", "jpeg.png", "text.png"}));
}

TEST(Scrub, readsOnlyRegularFiles)
{
    const Folder folder;
    ASSERT_EQ(::mkfifo(folder.url("pipe.jpg").path().c_str(), 0600), 0);
    ASSERT_EQ(::mkdir(folder.url("folder.jpg").path().c_str(), 0700), 0);
    EXPECT_EQ(messageOf(folder.url("pipe.jpg")), "failed: Couldn’t read the image.");
    EXPECT_EQ(messageOf(folder.url("folder.jpg")), "failed: Couldn’t read the image.");
    EXPECT_EQ(messageOf(FileURL::fromPath("/dev/zero")).substr(0, 12), "unsupported:");
}

TEST(Scrub, leavesNothingWhenThePictureCannotBeWritten)
{
    const Folder folder;
    const Bytes png = fileBytes(std::string(NULLPRINT_TEST_DATA) + "/png/bad/cut-in-pixels.png");
    EXPECT_EQ(messageOf(folder.put("cut.png", png)), "failed: Couldn’t write the cleaned image.");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"cut.png"});
}

TEST(Scrub, refusesANameThatLeavesNoRoom)
{
    const Folder folder;
    std::string name(251, 'x');
    name += ".jpg";
    EXPECT_EQ(messageOf(folder.put(name, photo())), "failed: Couldn’t write the cleaned image.");
    EXPECT_EQ(folder.names(), std::vector<std::string>{name});
}

TEST(Scrub, givesTheCopyThePermissionsOfTheOriginal)
{
    const Folder folder;
    for (const mode_t mode : {0444U, 0640U, 0755U, 04755U}) {
        const FileURL url = folder.put(std::to_string(mode) + ".jpg", photo());
        ASSERT_EQ(::chmod(url.path().c_str(), mode), 0);
        const ScrubReport report = scrubFile(url);
        const auto* cleaned = std::get_if<Cleaned>(&report.status);
        ASSERT_NE(cleaned, nullptr);
        struct stat status {};
        ASSERT_EQ(::stat(cleaned->output.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, mode & 0777);
    }
}

TEST(Scrub, doesNotTouchTheOriginal)
{
    const Folder folder;
    const FileURL url = folder.put("a.jpg", photo());
    const std::array<timespec, 2> times{timespec{1000000000, 1}, timespec{1000000001, 2}};
    ASSERT_EQ(::utimensat(AT_FDCWD, url.path().c_str(), times.data(), 0), 0);
    struct stat before {};
    ASSERT_EQ(::stat(url.path().c_str(), &before), 0);
    EXPECT_EQ(messageOf(url), "cleaned: a (scrubbed).jpg");
    struct stat after {};
    ASSERT_EQ(::stat(url.path().c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_atim.tv_sec, before.st_atim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(after.st_ctim.tv_nsec, before.st_ctim.tv_nsec);
    EXPECT_EQ(fileBytes(url.path()), photo());
}

TEST(Scrub, givesEveryOneOfManyAtOnceItsOwnCopy)
{
    const Folder folder;
    const FileURL url = folder.put("a.jpg", photo());
    std::vector<std::thread> threads;
    for (int index = 0; index < 16; ++index)
        threads.emplace_back([&url] { scrubFile(url); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(folder.names().size(), 17U);
    const Bytes expected = fileBytes(folder.url("a (scrubbed).jpg").path());
    EXPECT_FALSE(holds(expected, "Jane Roe"));
    for (int number = 2; number <= 16; ++number) {
        const std::string name = "a (scrubbed " + std::to_string(number) + ").jpg";
        EXPECT_EQ(fileBytes(folder.url(name).path()), expected) << name;
    }
}

TEST(Scrub, reportsTheFileItWasAskedFor)
{
    const FileURL url = FileURL::fromPath("/x/Budget.XLS");
    EXPECT_EQ(scrubFile(url).input, url);
}

TEST(OutputName, keepsTheExtensionAsWritten)
{
    const auto nameFor = [](const std::string& path) {
        return cleanedOutputURL(FileURL::fromPath(path)).lastPathComponent();
    };
    EXPECT_EQ(nameFor("/nowhere/Report.docx"), "Report (scrubbed).docx");
    EXPECT_EQ(nameFor("/nowhere/notes"), "notes (scrubbed)");
    EXPECT_EQ(nameFor("/nowhere/a.b.JPeG"), "a.b (scrubbed).JPeG");
    EXPECT_EQ(nameFor("/nowhere/.png"), " (scrubbed).png");
}

} // namespace
} // namespace nullprint::tests
