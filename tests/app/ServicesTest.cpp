#include "app/ServiceNotice.h"
#include "app/ServiceProvider.h"

#include "tests/app/Waiting.h"

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

constexpr const char* copiesWereSaved =
    "Cleaned copies were saved next to the originals with “ (scrubbed)” in the name — your "
    "originals were not changed.";

FileURL file(const std::string& path)
{
    return FileURL::fromPath(path);
}

TEST(ServiceNotice, countsCopies)
{
    const auto one = serviceNotice({{file("/a (scrubbed).png")}, {}});
    EXPECT_EQ(one.message.toStdString(), "Cleaned 1 file");
    EXPECT_EQ(one.information.toStdString(), copiesWereSaved);
    const auto two = serviceNotice({{file("/a"), file("/b")}, {}});
    EXPECT_EQ(two.message.toStdString(), "Cleaned 2 files");
}

TEST(ServiceNotice, tellsWhatWasSkipped)
{
    const auto none = serviceNotice({{}, {"• a.txt — No.", "• b.doc — Nor this."}});
    EXPECT_EQ(none.message.toStdString(), "Nothing was cleaned");
    EXPECT_EQ(none.information.toStdString(), "Skipped:\n• a.txt — No.\n• b.doc — Nor this.");
    const auto both = serviceNotice({{file("/a")}, {"• a.txt — No."}});
    EXPECT_EQ(both.message.toStdString(), "Cleaned 1 file");
    EXPECT_EQ(both.information.toStdString(),
              std::string(copiesWereSaved) + "\n\nSkipped:\n• a.txt — No.");
}

TEST(FileWork, makesALineOfWhatIsSkipped)
{
    int counted = 0;
    const auto countFile = [&counted] { ++counted; };
    EXPECT_EQ(skipLine(file("/folder/notes.doc"), "A message."), "• notes.doc — A message.");
    const auto result =
        cleanAll({file("/folder/notes.doc"), file("/none/photo.png")}, {}, countFile);
    EXPECT_EQ(counted, 2);
    EXPECT_TRUE(result.outputs.empty());
    ASSERT_EQ(result.skipped.size(), 2U);
    EXPECT_EQ(result.skipped[0],
              "• notes.doc — Legacy “.doc” format isn’t supported. Open it in the Office app and "
              "re-save as “.docx”, then scrub that.");
    EXPECT_TRUE(result.skipped[1].starts_with("• photo.png — ")) << result.skipped[1];
}

TEST(FileWork, beginsNothingAfterAStop)
{
    const auto stop = std::make_unique<std::stop_source>();
    int counted = 0;
    const auto stopAfterTwo = [&] {
        if (++counted == 2)
            stop->request_stop();
    };
    const std::vector files{file("/a.txt"), file("/b.txt"), file("/c.txt")};
    EXPECT_EQ(revealAll(files, stop->get_token(), stopAfterTwo).size(), 2U);
    EXPECT_TRUE(revealAll(files, stop->get_token(), stopAfterTwo).empty());
    EXPECT_TRUE(cleanAll(files, stop->get_token(), stopAfterTwo).skipped.empty());
    EXPECT_EQ(counted, 2);
}

class Delegate : public ServiceProviderDelegate {
public:
    void showMetadata(const std::vector<FileURL>& urls) override { shown.push_back(urls); }
    void scrubMetadata(const std::vector<FileURL>& urls) override { scrubbed.push_back(urls); }

    std::vector<std::vector<FileURL>> shown;
    std::vector<std::vector<FileURL>> scrubbed;
};

TEST(ServiceProvider, passesFilesOnAfterTheCall)
{
    Delegate delegate;
    ServiceProvider provider;
    provider.setDelegate(&delegate);
    provider.showMetadata({QStringLiteral("file:///b%20b"),
                           QStringLiteral("https://example.org"),
                           QStringLiteral("file:///a")});
    provider.scrubMetadata({QStringLiteral("file:///c")});
    EXPECT_TRUE(delegate.shown.empty() && delegate.scrubbed.empty());
    QCoreApplication::processEvents();
    ASSERT_EQ(delegate.shown.size(), 1U);
    EXPECT_EQ(delegate.shown[0], (std::vector{file("/b b"), file("/a")}));
    ASSERT_EQ(delegate.scrubbed.size(), 1U);
    EXPECT_EQ(delegate.scrubbed[0], std::vector{file("/c")});
}

TEST(ServiceProvider, doesNothingWithoutFilesOrDelegate)
{
    ServiceProvider provider;
    provider.showMetadata({QStringLiteral("file:///a")});
    Delegate delegate;
    provider.setDelegate(&delegate);
    provider.showMetadata({});
    provider.scrubMetadata({QStringLiteral("https://example.org")});
    QCoreApplication::processEvents();
    EXPECT_TRUE(delegate.shown.empty() && delegate.scrubbed.empty());
    {
        Delegate shortLived;
        provider.setDelegate(&shortLived);
        provider.showMetadata({QStringLiteral("file:///a")});
    }
    QCoreApplication::processEvents();
}

} // namespace
} // namespace nullprint::app
