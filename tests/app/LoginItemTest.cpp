#include "app/LoginItem.h"

#include "app/platform/AutostartFile.h"
#include "app/platform/Program.h"
#include "tests/app/Scratch.h"

#include <QStringList>

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

const QString entryName = QStringLiteral("autostart/entry.desktop");

class StandInItem : public LoginItem {
public:
    bool isEnabled() const override { return isOn; }
    std::optional<QString> enlist() override
    {
        calls.append(QStringLiteral("enlist"));
        return error;
    }
    std::optional<QString> delist() override
    {
        calls.append(QStringLiteral("delist"));
        return error;
    }

    bool isOn = false;
    std::optional<QString> error;
    QStringList calls;
};

QStringList logged(LoginItem& item, bool on)
{
    QStringList lines;
    setLoginItem(item, on, [&](const QString& line) { lines.append(line); });
    return lines;
}

struct Autostart {
    Scratch scratch;
    AutostartFile item{scratch.path(entryName), QStringLiteral("/opt/a b/null%print")};
};

TEST(LoginItem, thatIsOnIsNotEnlistedAgain)
{
    StandInItem item;
    item.isOn = true;
    EXPECT_TRUE(logged(item, true).isEmpty());
    EXPECT_TRUE(item.calls.isEmpty());
}

TEST(LoginItem, isDelistedWithoutAsking)
{
    StandInItem item;
    EXPECT_TRUE(logged(item, false).isEmpty());
    EXPECT_EQ(item.calls, QStringList{QStringLiteral("delist")});
}

TEST(LoginItem, failsIntoTheSystemLogAlone)
{
    StandInItem item;
    item.error = QStringLiteral("no room");
    const QStringList line{QStringLiteral("Nullprint: login toggle failed: no room")};
    EXPECT_EQ(logged(item, true), line);
    EXPECT_EQ(logged(item, false), line);
}

TEST(AutostartFile, isOnOnceItIsThere)
{
    Autostart autostart;
    EXPECT_FALSE(autostart.item.isEnabled());
    EXPECT_TRUE(logged(autostart.item, true).isEmpty());
    EXPECT_TRUE(autostart.item.isEnabled());
    EXPECT_EQ(autostart.scratch.read(entryName),
              "[Desktop Entry]\n"
              "Type=Application\n"
              "Version=1.4\n"
              "Name=Nullprint\n"
              "Comment=See and remove hidden data before you share\n"
              "Exec=\"/opt/a b/null%%print\" --login-item\n"
              "Icon=org.nullprint.Nullprint\n"
              "Terminal=false\n"
              "X-GNOME-Autostart-Delay=2\n"
              "X-KDE-autostart-after=panel\n");
    EXPECT_TRUE(logged(autostart.item, false).isEmpty());
    EXPECT_FALSE(autostart.item.isEnabled());
    EXPECT_FALSE(autostart.scratch.has(entryName));
}

TEST(AutostartFile, thatIsMissingCannotBeRemoved)
{
    Autostart autostart;
    EXPECT_EQ(
        logged(autostart.item, false),
        QStringList{QStringLiteral("Nullprint: login toggle failed: No such file or directory")});
}

TEST(AutostartFile, isOffWhenTheDesktopSwitchedItOff)
{
    Autostart autostart;
    ASSERT_FALSE(autostart.item.enlist());
    const QByteArray entry = autostart.scratch.read(entryName);
    for (const QByteArray off : {"Hidden=true\n", "X-GNOME-Autostart-enabled = false\r\n"}) {
        autostart.scratch.put(entryName, entry + off);
        EXPECT_FALSE(autostart.item.isEnabled()) << off.constData();
    }
    for (const QByteArray on : {"Hidden=false\n",
                                "X-GNOME-Autostart-enabled=true\n",
                                "#Hidden=true\n",
                                "[Desktop Action x]\nHidden=true\n"}) {
        autostart.scratch.put(entryName, entry + on);
        EXPECT_TRUE(autostart.item.isEnabled()) << on.constData();
    }
    autostart.scratch.put(entryName, "");
    EXPECT_FALSE(autostart.item.isEnabled());
    autostart.scratch.put(entryName, entry + "Hidden=true\n");
    EXPECT_TRUE(logged(autostart.item, true).isEmpty());
    EXPECT_TRUE(autostart.item.isEnabled());
}

TEST(AutostartFile, takesThePlaceOfALinkToNothing)
{
    Autostart autostart;
    makeFolders(autostart.scratch.path(QStringLiteral("autostart")));
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/null"), autostart.scratch.path(entryName)));
    EXPECT_FALSE(autostart.item.isEnabled());
    EXPECT_TRUE(logged(autostart.item, true).isEmpty());
    EXPECT_TRUE(autostart.item.isEnabled());
    EXPECT_FALSE(QFileInfo(autostart.scratch.path(entryName)).isSymLink());
}

TEST(AutostartFile, saysWhyItCannotBeWritten)
{
    const Scratch scratch;
    scratch.put(QStringLiteral("file"), "");
    AutostartFile item(scratch.path(QStringLiteral("file/entry.desktop")), QStringLiteral("/x"));
    const QStringList lines = logged(item, true);
    ASSERT_EQ(lines.size(), 1);
    EXPECT_EQ(lines[0], QStringLiteral("Nullprint: login toggle failed: Not a directory"));
    EXPECT_FALSE(item.isEnabled());
}

TEST(Program, isTheOneThatRuns)
{
    EXPECT_EQ(runningProgram(), QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath());
    EXPECT_TRUE(runningProgram().endsWith(QStringLiteral("/nullprint-app-tests")));
}

TEST(Program, isQuotedForEntriesAndShells)
{
    EXPECT_EQ(quotedForExec(QStringLiteral("/a b/c'd")), QStringLiteral("\"/a b/c'd\""));
    EXPECT_EQ(quotedForExec(QStringLiteral("\"`$")), QStringLiteral(R"("\\"\\`\\$")"));
    EXPECT_EQ(quotedForExec(QStringLiteral("\\\n%f")), QStringLiteral(R"("\\\\\n%%f")"));
    EXPECT_EQ(quotedForShell(QStringLiteral("a'b $c")), QStringLiteral(R"('a'\''b $c')"));
}

} // namespace
} // namespace nullprint::app
