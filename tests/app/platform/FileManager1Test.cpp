#include "app/platform/FileManager1.h"

#include "tests/app/Waiting.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QFile>

#include <gtest/gtest.h>

namespace nullprint::app {

// A file manager that says what it is asked for.
class FakeManager : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    FakeManager()
    {
        bus.registerObject(QStringLiteral("/org/freedesktop/FileManager1"),
                           this,
                           QDBusConnection::ExportScriptableSlots);
        bus.registerService(QStringLiteral("org.freedesktop.FileManager1"));
    }
    ~FakeManager() override { QDBusConnection::disconnectFromBus(QStringLiteral("manager")); }

    QList<QStringList> calls;
    bool refuses = false;

public slots:
    // NOLINTNEXTLINE(readability-identifier-naming): the name that it has on the bus.
    Q_SCRIPTABLE void ShowItems(const QStringList& uris, const QString&)
    {
        calls << uris;
        if (refuses)
            sendErrorReply(QDBusError::Failed, QStringLiteral("no"));
    }

private:
    QDBusConnection bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("manager"));
};

namespace {

using tests::comesTrue;
using tests::letPass;

std::vector<FileURL> filesOf(const std::vector<std::string>& paths)
{
    std::vector<FileURL> files;
    for (const std::string& path : paths)
        files.push_back(FileURL::fromPath(path));
    return files;
}

TEST(FileManager1, isAskedForFewFilesOrOneOfEachFolder)
{
    const auto few = filesOf({"/a/1", "/a/2", "/b/3"});
    EXPECT_EQ(urisToShow(few, false).size(), 3);
    const auto many = filesOf({"/a/1", "/a/2", "/b/3", "/a/4"});
    EXPECT_EQ(urisToShow(many, false),
              QStringList({QStringLiteral("file:///a/1"), QStringLiteral("file:///b/3")}));
    EXPECT_EQ(urisToShow(many, true).size(), 4);
}

TEST(FileManager1, getsNamesByteForByte)
{
    FakeManager manager;
    FileManager1 files(QDBusConnection::sessionBus(), [](const QByteArray&) { FAIL(); });
    int answers = 0;
    files.select(filesOf({"/a b/c%41\xFF (scrubbed).png"}), [&] { ++answers; });
    EXPECT_EQ(answers, 0);
    ASSERT_TRUE(comesTrue([&] { return answers == 1; }));
    ASSERT_EQ(manager.calls.size(), 1);
    EXPECT_EQ(manager.calls[0],
              QStringList(QStringLiteral("file:///a%20b/c%2541%FF%20(scrubbed).png")));
    files.select({}, [&] { ++answers; });
    EXPECT_EQ(answers, 2);
    letPass(200);
    EXPECT_EQ(manager.calls.size(), 1);
}

TEST(FileManager1, showsAllWhereOneWindowIsEnough)
{
    FakeManager manager;
    FileManager1 files;
    const auto many = filesOf({"/a/1", "/a/2", "/a/3", "/a/4"});
    files.select(many, [] {});
    ASSERT_TRUE(comesTrue([&] { return manager.calls.size() == 1; }));
    EXPECT_EQ(manager.calls[0].size(), 1);
    // The stand-in is this process: let it be called like the file manager that can do better.
    QFile name(QStringLiteral("/proc/self/comm"));
    ASSERT_TRUE(name.open(QIODevice::ReadWrite));
    const auto usual = name.readAll();
    name.write("dolphin");
    name.flush();
    files.select(many, [] {});
    ASSERT_TRUE(comesTrue([&] { return manager.calls.size() == 2; }));
    EXPECT_EQ(manager.calls[1].size(), 4);
    name.write(usual.trimmed());
}

TEST(FileManager1, opensFoldersWhereNobodyAnswers)
{
    std::vector<QByteArray> opened;
    const auto remember = [&](const QByteArray& folder) { opened.push_back(folder); };
    const auto wanted = filesOf({"/a b/1", "/a b/2", "/c/3"});
    FileManager1 alone(QDBusConnection::sessionBus(), remember);
    const auto openedWhenAnswered = [&](FileManager1& manager) {
        std::size_t count = 0;
        manager.select(wanted, [&] { count = opened.size(); });
        EXPECT_TRUE(comesTrue([&] { return count > 0; }));
        return count;
    };
    EXPECT_EQ(openedWhenAnswered(alone), 2U);
    EXPECT_EQ(opened[0], QByteArray("file:///a%20b"));
    EXPECT_EQ(opened[1], QByteArray("file:///c"));

    FakeManager manager;
    manager.refuses = true;
    EXPECT_EQ(openedWhenAnswered(alone), 4U);

    FileManager1 withoutBus(QDBusConnection(QStringLiteral("none")), remember);
    EXPECT_EQ(openedWhenAnswered(withoutBus), 6U);
}

} // namespace
} // namespace nullprint::app

#include "FileManager1Test.moc"
