#include "app/AppDelegate.h"

#include "app/Arguments.h"
#include "app/DropWindow.h"
#include "app/FileURIs.h"
#include "app/Heartbeat.h"
#include "app/LoginItem.h"
#include "app/Palette.h"
#include "app/RevealWindow.h"
#include "app/platform/Popover.h"
#include "app/platform/StatusItem.h"
#include "cli/AppLog.h"
#include "tests/app/FakeTray.h"
#include "tests/app/Waiting.h"
#include "tests/app/Widgets.h"
#include "tests/support/Folder.h"

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>

namespace nullprint::app {
namespace {

using namespace std::chrono_literals;
using tests::comesTrue;
using tests::FakeTray;
using tests::letPass;

class FakeLoginItem : public LoginItem {
public:
    bool isEnabled() const override { return enabled; }
    std::optional<QString> enlist() override
    {
        ++enlistings;
        enabled = works;
        return {};
    }
    std::optional<QString> delist() override
    {
        enabled = false;
        return {};
    }

    bool enabled = false;
    bool works = true;
    int enlistings = 0;
};

template <typename Window> std::vector<Window*> visibleWindows()
{
    std::vector<Window*> found;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<Window*>(widget); window && window->isVisible())
            found.push_back(window);
    }
    return found;
}

template <typename Window> Window* theWindow()
{
    if (!comesTrue([] { return visibleWindows<Window>().size() == 1; }))
        return nullptr;
    return visibleWindows<Window>().front();
}

void press(QWidget& window, const char* text)
{
    auto* button = buttonOf(window, QString::fromUtf8(text));
    ASSERT_NE(button, nullptr) << text;
    ASSERT_TRUE(button->isEnabled()) << text;
    button->click();
}

std::string contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

QDBusConnection noBus()
{
    return QDBusConnection(QStringLiteral("no such connection"));
}

// One life of the application, with everything it works with.
class Life {
public:
    explicit Life(const tests::Folder& folder,
                  Heartbeat::Settings heartbeatSettings = {},
                  std::chrono::milliseconds fileManagerPatience = usualFileManagerPatience,
                  QDBusConnection bus = QDBusConnection::sessionBus())
        : folder(folder)
        , standard(QString::fromStdString(folder.url("defaults/standard.plist").path()))
        , services(QString::fromStdString(folder.url("defaults/pbs.plist").path()))
        , log(logFile())
        , heartbeat(standard, std::move(heartbeatSettings))
        , statusItem(std::move(bus))
        , delegate({
              .standard = standard,
              .services = services,
              .log = log,
              .logFolder = logFile().parent_path(),
              .loginItem = loginItem,
              .heartbeat = heartbeat,
              .fileManager = fileManager,
              .statusItem = statusItem,
              .rebuildServicesList = [this] { ++rebuilt; },
              .firstHeartbeat = 50ms,
              .heartbeatPeriod = 300ms,
              .fileManagerPatience = fileManagerPatience,
          })
    {
    }

    void launch(const StartRequest& request = {.isLoginItem = true})
    {
        delegate.applicationDidFinishLaunching(request);
    }
    std::filesystem::path logFile() const { return folder.url("state/nullprint/log").path(); }
    qint64 stored(const char* key) const { return standard.integer(QString::fromLatin1(key)); }
    // With the times taken out.
    std::string logText() const
    {
        auto text = QString::fromStdString(contentOf(logFile()));
        static const QRegularExpression time(QStringLiteral("^\\[[0-9: -]{19}\\] "),
                                             QRegularExpression::MultilineOption);
        return text.remove(time).toStdString();
    }

    const tests::Folder& folder;
    DefaultsStore standard;
    DefaultsStore services;
    AppLog log;
    FakeLoginItem loginItem;
    Heartbeat heartbeat;
    RecordingFileManager fileManager;
    StatusItem statusItem;
    int rebuilt = 0;
    AppDelegate delegate;
};

class AppDelegateTest : public testing::Test {
protected:
    // A photo with much to tell.
    FileURL photo(const std::string& name = "harbour.jpg") const
    {
        return folder.put(name, std::string_view(contentOf(NULLPRINT_EXAMPLES "/harbour.jpg")));
    }
    FileURL text(const std::string& name = "notes.txt") const
    {
        return folder.put(name, std::string_view("text"));
    }

    const tests::Folder folder;
};

TEST_F(AppDelegateTest, preparesTheFirstRunOnce)
{
    {
        Life first(folder);
        first.launch();
        EXPECT_EQ(first.loginItem.enlistings, 1);
        EXPECT_TRUE(first.standard.boolean(QStringLiteral("didInitialLoginSetup")));
        EXPECT_TRUE(first.standard.boolean(QStringLiteral("didEnableServicesV1")));
        EXPECT_EQ(first.services.dictionary(QStringLiteral("NSServicesStatus")).size(), 2);
        EXPECT_EQ(first.rebuilt, 1);
        EXPECT_TRUE(first.delegate.panelModel().loginOn());
        ASSERT_TRUE(comesTrue([&] { return !first.logText().empty(); }));
        EXPECT_EQ(first.logText(), "Finder services enabled in context menu.\n");
        struct stat state = {};
        ASSERT_EQ(::stat(first.logFile().parent_path().c_str(), &state), 0);
        EXPECT_EQ(state.st_mode & 0777U, 0700U);
    }
    Life second(folder);
    second.services.set(QStringLiteral("NSServicesStatus"), {});
    second.launch();
    EXPECT_EQ(second.loginItem.enlistings, 0);
    EXPECT_FALSE(second.delegate.panelModel().loginOn());
    EXPECT_TRUE(second.services.dictionary(QStringLiteral("NSServicesStatus")).isEmpty());
    EXPECT_EQ(second.rebuilt, 0);
}

TEST_F(AppDelegateTest, showsAFreshPanelAtEachOpening)
{
    FakeTray tray;
    Life life(folder);
    life.launch();
    ASSERT_TRUE(comesTrue([&] { return life.statusItem.isInTray(); }));
    EXPECT_EQ(tray.toolTip().toStdString(),
              "Nullprint — see and remove hidden data before you share");
    EXPECT_EQ(life.delegate.panelModel().filesChecked(), 0);
    EXPECT_EQ(life.delegate.panelModel().lastCleanText(), QStringLiteral("never"));
    life.standard.set(QStringLiteral("totalChecked"), 12);
    life.standard.set(QStringLiteral("lastClean"), QStringLiteral("no date"));

    tray.click("Activate", {300, 2});
    auto* popover = theWindow<Popover>();
    ASSERT_NE(popover, nullptr);
    EXPECT_EQ(life.delegate.panelModel().filesChecked(), 12);
    EXPECT_EQ(life.delegate.panelModel().lastCleanText(), QStringLiteral("never"));
    EXPECT_EQ(life.stored("ctPanelOpens"), 1);

    tray.click("Activate", {300, 2}); // Closes it.
    ASSERT_TRUE(comesTrue([&] { return !popover->isVisible(); }));
    EXPECT_EQ(life.stored("ctPanelOpens"), 1);
    life.delegate.togglePopover();
    EXPECT_TRUE(popover->isVisible());
    EXPECT_EQ(life.stored("ctPanelOpens"), 2);
}

TEST_F(AppDelegateTest, doesNotOpenAgainWithTheClickThatClosed)
{
    Life life(folder);
    life.launch();
    life.delegate.togglePopover();
    auto* popover = theWindow<Popover>();
    ASSERT_NE(popover, nullptr);
    // Without a tray it is a window, which no click elsewhere closes.
    popover->close();
    life.delegate.togglePopover();
    EXPECT_TRUE(popover->isVisible());
    life.delegate.togglePopover();

    FakeTray tray;
    ASSERT_TRUE(comesTrue([&] { return life.statusItem.isInTray(); }));
    life.delegate.togglePopover();
    ASSERT_TRUE(popover->isVisible());
    popover->close();
    life.delegate.togglePopover();
    EXPECT_FALSE(popover->isVisible());
    letPass(300);
    life.delegate.togglePopover();
    EXPECT_TRUE(popover->isVisible());
}

TEST_F(AppDelegateTest, hasAWindowWhereThereIsNoTray)
{
    {
        Life life(folder);
        life.launch({});
        auto* popover = theWindow<Popover>();
        ASSERT_NE(popover, nullptr);
        EXPECT_EQ(popover->windowType(), Qt::Window);
    }
    Life opened(folder);
    opened.launch({.files = {text()}});
    ASSERT_NE(theWindow<RevealWindowController>(), nullptr);
    letPass(500);
    EXPECT_TRUE(visibleWindows<Popover>().empty());
}

QString footerOf(const QWidget& panel)
{
    return panel.findChildren<QLabel*>().last()->accessibleName();
}

TEST_F(AppDelegateTest, keepsAPanelThatIsAWindowFresh)
{
    Life life(folder);
    life.launch({});
    auto* popover = theWindow<Popover>();
    ASSERT_NE(popover, nullptr);
    life.delegate.checkURLs({photo(), text()});
    EXPECT_TRUE(footerOf(*popover).contains(QStringLiteral("Checked 2 · Cleaned 0")));
    auto* window = theWindow<RevealWindowController>();
    ASSERT_NE(window, nullptr);
    press(*window, "Clean Now");
    EXPECT_TRUE(comesTrue(
        [&] { return footerOf(*popover).contains(QStringLiteral("Checked 2 · Cleaned 1")); }));
    EXPECT_FALSE(footerOf(*popover).contains(QStringLiteral("never")));

    // Another process has changed them; whoever starts the application once more sees it.
    life.standard.set(QStringLiteral("totalChecked"), 77);
    life.delegate.showPopover();
    EXPECT_TRUE(footerOf(*popover).contains(QStringLiteral("Checked 77 · Cleaned 1")));
    EXPECT_EQ(life.stored("ctPanelOpens"), 1); // It was open.
}

TEST_F(AppDelegateTest, leavesAPanelThatIsAWindowOpen)
{
    Life life(folder);
    life.launch({});
    auto* popover = theWindow<Popover>();
    ASSERT_NE(popover, nullptr);
    press(*popover, "Check Files…");
    EXPECT_TRUE(popover->isVisible());
    auto* panel = theWindow<QFileDialog>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(panel->parentWidget(), popover); // In front of it.
    panel->reject();
    letPass();
    EXPECT_TRUE(popover->isVisible());
    press(*popover, "Open Drop Window…");
    EXPECT_TRUE(popover->isVisible());
}

TEST_F(AppDelegateTest, endsWithItsLastWindowWhereNothingElseLeadsToIt)
{
    for (const bool hasBus : {false, true}) {
        Life life(folder,
                  {},
                  usualFileManagerPatience,
                  hasBus ? QDBusConnection::sessionBus() : noBus());
        life.launch({.files = {photo()}});
        auto* window = theWindow<RevealWindowController>();
        ASSERT_NE(window, nullptr);
        QTimer::singleShot(0, window, [window] {
            press(*window, "Clean Now");
            window->close(); // While it works.
        });
        bool hasWaited = false;
        QTimer::singleShot(2'000, &life.delegate, [&] {
            hasWaited = true;
            QCoreApplication::exit(0);
        });
        QApplication::exec();
        EXPECT_EQ(hasWaited, hasBus);
        EXPECT_EQ(life.stored("totalCleaned"), hasBus ? 2 : 1);
    }
}

TEST_F(AppDelegateTest, endsWithItsPanelWhereNothingElseLeadsToIt)
{
    for (const bool hasBus : {false, true}) {
        Life life(folder,
                  {},
                  usualFileManagerPatience,
                  hasBus ? QDBusConnection::sessionBus() : noBus());
        life.launch({});
        auto* popover = theWindow<Popover>();
        ASSERT_NE(popover, nullptr);
        QTimer::singleShot(0, popover, &Popover::performClose);
        bool hasWaited = false;
        QTimer::singleShot(1'000, &life.delegate, [&] {
            hasWaited = true;
            QCoreApplication::exit(0);
        });
        QApplication::exec();
        EXPECT_EQ(hasWaited, hasBus);
    }
}

TEST_F(AppDelegateTest, staysOutOfTheWayAtLogin)
{
    Life life(folder);
    life.launch({.isLoginItem = true});
    letPass(3'500);
    EXPECT_TRUE(visibleWindows<QWidget>().empty());
    life.delegate.showPopover();
    EXPECT_NE(theWindow<Popover>(), nullptr);
    life.delegate.showPopover(); // Never closes it.
    EXPECT_EQ(visibleWindows<Popover>().size(), 1U);
}

TEST_F(AppDelegateTest, checksFilesInOneWindow)
{
    Life life(folder);
    life.launch();
    life.delegate.checkURLs({});
    EXPECT_EQ(life.stored("totalChecked"), 0);
    const std::vector files{photo("1.jpg"),
                            text("2.txt"),
                            photo("3.jpg"),
                            photo("4.jpg"),
                            folder.url("gone.png")};
    life.delegate.openURLs(files);
    EXPECT_EQ(life.stored("totalChecked"), 5);
    EXPECT_EQ(life.delegate.revealWindowCount(), 0U);
    auto* window = theWindow<RevealWindowController>();
    ASSERT_NE(window, nullptr);
    const auto* report = window->findChild<QPlainTextEdit*>();
    ASSERT_NE(report, nullptr);
    ASSERT_TRUE(
        comesTrue([&] { return report->toPlainText().contains(QStringLiteral("gone.png")); }));
    qsizetype last = -1;
    for (const FileURL& file : files) {
        const auto place =
            report->toPlainText().indexOf(QString::fromStdString(file.lastPathComponent()));
        EXPECT_GT(place, last) << file.path();
        last = place;
    }
    EXPECT_EQ(life.stored("totalCleaned"), 0);
    EXPECT_EQ(life.stored("ctCleans"), 0);
}

TEST_F(AppDelegateTest, forgetsExactlyTheWindowThatCloses)
{
    Life life(folder);
    life.launch();
    auto* first = life.delegate.showRevealWindow({});
    const QPointer second = life.delegate.showRevealWindow({});
    auto* third = life.delegate.showRevealWindow({});
    EXPECT_EQ(life.delegate.revealWindowCount(), 3U);
    second->closeWindow();
    EXPECT_EQ(life.delegate.revealWindowCount(), 2U);
    ASSERT_TRUE(comesTrue([&] { return second.isNull(); }));
    EXPECT_TRUE(first->isVisible() && third->isVisible());
    first->close(); // By the title bar.
    EXPECT_EQ(life.delegate.revealWindowCount(), 1U);
    EXPECT_TRUE(third->isVisible());
}

TEST_F(AppDelegateTest, cleansFromTheWindow)
{
    Life life(folder);
    life.launch();
    const auto before = QDateTime::currentDateTime().addSecs(-2);
    life.delegate.checkURLs({photo("1.jpg"), photo("2.jpg"), text()});
    auto* window = theWindow<RevealWindowController>();
    ASSERT_NE(window, nullptr);
    std::filesystem::remove(folder.url("2.jpg").path()); // It will be skipped.
    press(*window, "Clean Now");
    EXPECT_EQ(life.stored("ctCleans"), 1);
    ASSERT_TRUE(comesTrue([&] { return life.stored("totalCleaned") == 1; }));
    EXPECT_EQ(life.stored("totalChecked"), 3); // As before.
    EXPECT_GE(life.standard.date(QStringLiteral("lastClean")).value(), before);
    EXPECT_TRUE(std::filesystem::exists(folder.url("1 (scrubbed).jpg").path()));
    EXPECT_NE(buttonOf(*window, QStringLiteral("Reveal in Finder")), nullptr);
    auto* sheet = window->findChild<QMessageBox*>();
    ASSERT_NE(sheet, nullptr);
    EXPECT_TRUE(sheet->informativeText().startsWith(QStringLiteral("• 2.jpg — ")));
    EXPECT_FALSE(sheet->informativeText().contains(u'\n')); // The text file was never asked for.
    ASSERT_TRUE(comesTrue([&] { return life.logText().ends_with("Cleaned 1 file(s).\n"); }));
    EXPECT_TRUE(life.fileManager.selected.empty());
}

TEST_F(AppDelegateTest, countsNothingWhenAllWasSkipped)
{
    Life life(folder);
    life.launch();
    life.delegate.checkURLs({photo()});
    auto* window = theWindow<RevealWindowController>();
    ASSERT_NE(window, nullptr);
    std::filesystem::remove(folder.url("harbour.jpg").path());
    press(*window, "Clean Now");
    ASSERT_TRUE(comesTrue([&] { return window->findChild<QMessageBox*>() != nullptr; }));
    EXPECT_EQ(life.stored("totalCleaned"), 0);
    EXPECT_FALSE(life.standard.date(QStringLiteral("lastClean")));
    EXPECT_EQ(life.stored("ctCleans"), 1);
    letPass();
    EXPECT_EQ(life.logText(), "Finder services enabled in context menu.\n");
}

TEST_F(AppDelegateTest, countsAlsoWhenTheWindowIsGone)
{
    Life life(folder);
    life.launch();
    life.delegate.checkURLs({photo()});
    auto* window = theWindow<RevealWindowController>();
    ASSERT_NE(window, nullptr);
    press(*window, "Clean Now");
    window->closeWindow();
    ASSERT_TRUE(comesTrue([&] { return life.stored("totalCleaned") == 1; }));
    EXPECT_EQ(life.delegate.revealWindowCount(), 0U);
}

TEST_F(AppDelegateTest, cleansForTheService)
{
    Life life(folder);
    life.launch();
    const auto uris = urisOfFiles({photo(), folder.put("old.doc", std::string_view("x"))});
    life.delegate.performAction(QStringLiteral("scrubMetadata"), uris);
    auto* alert = theWindow<QMessageBox>();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->text().toStdString(), "Cleaned 1 file");
    EXPECT_EQ(
        alert->informativeText().toStdString(),
        "Cleaned copies were saved next to the originals with “ (scrubbed)” in the name — "
        "your originals were not changed.\n\nSkipped:\n• old.doc — Legacy “.doc” format isn’t "
        "supported. Open it in the Office app and re-save as “.docx”, then scrub that.");
    EXPECT_TRUE(alert->isModal());
    EXPECT_EQ(life.stored("totalChecked"), 2);
    EXPECT_EQ(life.stored("totalCleaned"), 1);
    EXPECT_EQ(life.stored("ctCleans"), 1);
    EXPECT_EQ(life.delegate.panelModel().filesChecked(), 2);
    EXPECT_EQ(life.delegate.panelModel().filesCleaned(), 1);
    ASSERT_EQ(life.fileManager.selected.size(), 1U);
    EXPECT_EQ(life.fileManager.selected[0], std::vector{folder.url("harbour (scrubbed).jpg")});
    ASSERT_TRUE(comesTrue(
        [&] { return life.logText().ends_with("Cleaned 1 file(s) via Finder service.\n"); }));
    press(*alert, "OK");
    EXPECT_TRUE(comesTrue([] { return visibleWindows<QMessageBox>().empty(); }));
}

TEST_F(AppDelegateTest, tellsWhenTheServiceCleanedNothing)
{
    Life life(folder);
    life.launch();
    life.delegate.scrubMetadata({text("a.txt"), text("b.txt")});
    auto* alert = theWindow<QMessageBox>();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->text().toStdString(), "Nothing was cleaned");
    const std::string message = "Unsupported file type “.txt”. Supported: images, PDF, and "
                                "Word/Excel/PowerPoint (.docx / .xlsx / .pptx).";
    EXPECT_EQ(alert->informativeText().toStdString(),
              "Skipped:\n• a.txt — " + message + "\n• b.txt — " + message);
    EXPECT_EQ(life.stored("totalChecked"), 2);
    EXPECT_EQ(life.stored("totalCleaned"), 0);
    EXPECT_TRUE(life.fileManager.selected.empty());
    alert->close();
}

TEST_F(AppDelegateTest, tellsOfAServiceInFrontOfTheFileManager)
{
    Life life(folder, {}, 1h);
    life.fileManager.answers = false;
    life.launch();
    life.delegate.scrubMetadata({photo("1.jpg")});
    ASSERT_TRUE(comesTrue([&] { return life.fileManager.unanswered.size() == 1; }));
    letPass();
    EXPECT_TRUE(visibleWindows<QMessageBox>().empty());
    EXPECT_EQ(life.delegate.panelModel().filesCleaned(), 1);
    life.fileManager.unanswered[0]();
    auto* alert = theWindow<QMessageBox>();
    ASSERT_NE(alert, nullptr);
    EXPECT_TRUE(alert->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(comesTrue([&] { return alert->isActiveWindow(); }));
    press(*alert, "OK");
    EXPECT_TRUE(comesTrue([] { return visibleWindows<QMessageBox>().empty(); }));
}

TEST_F(AppDelegateTest, doesNotWaitForAFileManagerForever)
{
    Life life(folder, {}, 50ms);
    life.fileManager.answers = false;
    life.launch();
    life.delegate.scrubMetadata({photo()});
    auto* alert = theWindow<QMessageBox>();
    ASSERT_NE(alert, nullptr);
    life.fileManager.unanswered[0](); // Late: the window that has come is in front of the alert.
    EXPECT_TRUE(alert->isVisible());
    EXPECT_EQ(visibleWindows<QMessageBox>().size(), 1U);
    alert->close();
    life.fileManager.unanswered[0]();
    EXPECT_TRUE(visibleWindows<QMessageBox>().empty());
    letPass();
    life.fileManager.unanswered[0]();
    EXPECT_TRUE(visibleWindows<QMessageBox>().empty());
}

TEST_F(AppDelegateTest, doesNothingForAServiceWithoutFiles)
{
    Life life(folder);
    life.launch();
    for (const char* service : {"showMetadata", "scrubMetadata", "eraseDisk", ""})
        life.delegate.performAction(QString::fromLatin1(service),
                                    {QStringLiteral("https://example.org/a")});
    life.delegate.scrubMetadata({});
    letPass();
    EXPECT_TRUE(visibleWindows<QWidget>().empty());
    EXPECT_EQ(life.stored("totalChecked"), 0);
    EXPECT_EQ(life.stored("ctCleans"), 0);
}

TEST_F(AppDelegateTest, checksForTheOtherService)
{
    Life life(folder);
    life.launch({.files = {photo()}, .service = "showMetadata"});
    ASSERT_NE(theWindow<RevealWindowController>(), nullptr);
    EXPECT_EQ(life.stored("totalChecked"), 1);
}

TEST_F(AppDelegateTest, asksForFilesToCheck)
{
    const FakeTray tray;
    Life life(folder);
    life.launch();
    ASSERT_TRUE(comesTrue([&] { return life.statusItem.isInTray(); }));
    life.delegate.showPopover();
    auto* popover = theWindow<Popover>();
    ASSERT_NE(popover, nullptr);
    press(*popover, "Check Files…");
    EXPECT_FALSE(popover->isVisible());
    auto* panel = theWindow<QFileDialog>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(panel->windowTitle().toStdString(), "Choose files to check for hidden data");
    EXPECT_EQ(panel->labelText(QFileDialog::Accept).toStdString(), "Check");
    EXPECT_EQ(panel->fileMode(), QFileDialog::ExistingFiles);
    EXPECT_EQ(panel->directory(), QDir::home());
    life.delegate.performAction(QStringLiteral("check-files"), {});
    EXPECT_EQ(visibleWindows<QFileDialog>().size(), 1U);
    panel->reject();
    letPass();
    EXPECT_EQ(life.stored("totalChecked"), 0);
    EXPECT_TRUE(visibleWindows<QFileDialog>().empty());

    const std::vector files{photo("one.jpg"), text("two words.txt")};
    life.delegate.performAction(QStringLiteral("check-files"), {});
    panel = theWindow<QFileDialog>();
    ASSERT_NE(panel, nullptr);
    panel->setDirectory(QString::fromStdString(files[0].folder()));
    panel->findChild<QLineEdit*>()->setText(QStringLiteral("\"one.jpg\" \"two words.txt\""));
    press(*panel, "Check");
    ASSERT_NE(theWindow<RevealWindowController>(), nullptr);
    EXPECT_EQ(life.stored("totalChecked"), 2);
    life.delegate.performAction(QStringLiteral("check-files"), {});
    panel = theWindow<QFileDialog>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(panel->directory().path().toStdString(), files[0].folder());
}

TEST_F(AppDelegateTest, keepsOneDropWindow)
{
    const FakeTray tray;
    Life life(folder);
    life.launch();
    ASSERT_TRUE(comesTrue([&] { return life.statusItem.isInTray(); }));
    life.delegate.showPopover();
    auto* popover = theWindow<Popover>();
    ASSERT_NE(popover, nullptr);
    press(*popover, "Open Drop Window…");
    EXPECT_FALSE(popover->isVisible());
    auto* drop = theWindow<QDialog>();
    ASSERT_NE(drop, nullptr);
    auto* view = drop->findChild<DropView*>();
    ASSERT_NE(view, nullptr);
    QMimeData dragged;
    dragged.setData(QStringLiteral("text/uri-list"), uriOfFile(photo()));
    QDragEnterEvent entering(QPoint(100, 100),
                             Qt::CopyAction,
                             &dragged,
                             Qt::LeftButton,
                             Qt::NoModifier);
    QApplication::sendEvent(view, &entering);
    QDropEvent event(QPointF(100, 100), Qt::CopyAction, &dragged, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(view, &event);
    ASSERT_NE(theWindow<RevealWindowController>(), nullptr);
    EXPECT_EQ(life.stored("totalChecked"), 1);
    drop->close();
    EXPECT_FALSE(drop->isVisible());
    life.delegate.performAction(QStringLiteral("drop-window"), {});
    EXPECT_TRUE(drop->isVisible());
}

TEST_F(AppDelegateTest, showsWhetherItReallyOpensAtLogin)
{
    Life life(folder);
    life.loginItem.works = false;
    life.launch();
    life.delegate.showPopover();
    auto* popover = theWindow<Popover>();
    ASSERT_NE(popover, nullptr);
    QAbstractButton* login = nullptr;
    for (auto* button : popover->findChildren<QAbstractButton*>()) {
        if (button->isCheckable())
            login = button;
    }
    ASSERT_NE(login, nullptr);
    EXPECT_FALSE(login->isChecked());
    login->click();
    EXPECT_EQ(life.loginItem.enlistings, 2);
    EXPECT_FALSE(login->isChecked()); // It has gone back.
    life.loginItem.works = true;
    login->click();
    EXPECT_TRUE(login->isChecked());
    login->click();
    EXPECT_FALSE(life.loginItem.isEnabled());
    EXPECT_FALSE(login->isChecked());
}

TEST_F(AppDelegateTest, looksBusyWhileItWorks)
{
    FakeTray tray;
    Life life(folder);
    life.launch();
    ASSERT_TRUE(comesTrue([&] { return life.statusItem.isInTray(); }));
    const auto idle = tray.pictures().value(3).pixels;
    const int tips = tray.signalCount("NewToolTip");
    life.delegate.checkURLs({photo("1.jpg"), photo("2.jpg")});
    EXPECT_EQ(life.statusItem.text().toStdString(), "Nullprint — checking: 2 files left");
    EXPECT_NE(life.statusItem.pictures().value(3).pixels, idle);
    ASSERT_NE(theWindow<RevealWindowController>(), nullptr);
    EXPECT_EQ(life.statusItem.text().toStdString(),
              "Nullprint — see and remove hidden data before you share");
    EXPECT_EQ(life.statusItem.pictures().value(3).pixels, idle);
    EXPECT_TRUE(comesTrue([&] { return tray.signalCount("NewToolTip") == tips + 2; }));
}

TEST_F(AppDelegateTest, tellsHowMuchIsLeft)
{
    Life life(folder);
    life.launch();
    std::vector<FileURL> files;
    for (int number = 0; number < 500; ++number)
        files.push_back(photo(std::to_string(number) + ".jpg"));
    life.delegate.scrubMetadata(files);
    EXPECT_EQ(life.statusItem.text().toStdString(), "Nullprint — cleaning: 500 files left");
    static const QRegularExpression fewer(
        QStringLiteral("^Nullprint — cleaning: [1-4]?[0-9]{1,2} files left$"));
    ASSERT_TRUE(comesTrue([&] { return fewer.match(life.statusItem.text()).hasMatch(); }));
    life.delegate.checkURLs({files[0]});
    EXPECT_TRUE(life.statusItem.text().contains(QStringLiteral("checking: 1 file left, cleaning:")))
        << life.statusItem.text().toStdString();
}

TEST_F(AppDelegateTest, iconFollowsTheDesktopsAppearance)
{
    Life life(folder);
    life.launch();
    const auto before = life.statusItem.pictures().value(3).pixels;
    QApplication::setPalette(darkDesktopPalette());
    letPass(0);
    EXPECT_NE(life.statusItem.pictures().value(3).pixels, before);
    QApplication::setPalette(QPalette());
    letPass(0);
    EXPECT_EQ(life.statusItem.pictures().value(3).pixels, before);
}

TEST_F(AppDelegateTest, leavesNothingHalfDoneWhenItQuits)
{
    std::vector<FileURL> files;
    files.reserve(200);
    for (int number = 0; number < 200; ++number)
        files.push_back(photo(std::to_string(number) + ".jpg"));
    {
        Life life(folder);
        life.launch();
        life.delegate.scrubMetadata(files);
        ASSERT_TRUE(comesTrue([&] { return folder.names().size() > 205; }));
    }
    EXPECT_TRUE(visibleWindows<QWidget>().empty());
    const std::string whole = contentOf(folder.url("0 (scrubbed).jpg").path());
    EXPECT_FALSE(whole.empty());
    std::size_t copies = 0;
    for (const std::string& name : folder.names()) {
        EXPECT_FALSE(name.starts_with(".")) << name;
        if (name.ends_with(" (scrubbed).jpg")) {
            ++copies;
            EXPECT_EQ(contentOf(folder.url(name).path()), whole) << name;
        }
    }
    EXPECT_LT(copies, 200U); // It has not begun what it had not begun.
    const Life next(folder);
    EXPECT_EQ(next.stored("totalCleaned"), copies);
    EXPECT_TRUE(next.standard.date(QStringLiteral("lastClean")));
    EXPECT_TRUE(next.logText().ends_with("Cleaned " + std::to_string(copies) +
                                         " file(s) via Finder service.\n"))
        << next.logText();
}

TEST_F(AppDelegateTest, countsForTheWindowAlsoWhenItQuits)
{
    {
        Life life(folder);
        life.launch();
        life.delegate.checkURLs({photo(), text()});
        auto* window = theWindow<RevealWindowController>();
        ASSERT_NE(window, nullptr);
        press(*window, "Clean Now");
        // Written, but the window has not been told.
        while (!std::filesystem::exists(folder.url("harbour (scrubbed).jpg").path()))
            QThread::msleep(1);
        life.delegate.checkURLs({photo()}); // Nobody will see what this finds.
    }
    EXPECT_TRUE(visibleWindows<QWidget>().empty());
    const Life next(folder);
    EXPECT_EQ(next.stored("totalCleaned"), 1);
    EXPECT_EQ(next.stored("totalChecked"), 3);
    EXPECT_TRUE(next.logText().ends_with("Cleaned 1 file(s).\n")) << next.logText();
}

TEST_F(AppDelegateTest, sendsItsHeartbeatSoonAndAgain)
{
    // Answers with an error, so that each attempt is made anew.
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    int requests = 0;
    QObject::connect(&server, &QTcpServer::newConnection, [&] {
        auto* socket = server.nextPendingConnection();
        QObject::connect(socket, &QTcpSocket::readyRead, [&requests, socket] {
            if (!socket->readAll().startsWith("GET "))
                return;
            ++requests;
            socket->write("HTTP/1.1 404 No\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            socket->disconnectFromHost();
        });
    });
    Heartbeat::Settings settings;
    settings.endpoint =
        Heartbeat::obfuscated("http://127.0.0.1:" + QByteArray::number(server.serverPort()) + "/");
    Life life(folder, settings);
    life.launch();
    EXPECT_EQ(requests, 0);
    EXPECT_TRUE(comesTrue([&] { return requests >= 3; }));
}

TEST(Surroundings, giveTheHeartbeatItsUsualTimes)
{
    EXPECT_EQ(usualFirstHeartbeat, 10'000ms);
    EXPECT_EQ(usualHeartbeatPeriod, 21'600'000ms);
}

} // namespace
} // namespace nullprint::app
