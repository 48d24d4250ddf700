// A busy user, without a display: files are checked in windows that are opened, used and closed,
// cleaned by the windows and by the service, and the panel comes and goes. Memory has to come to
// rest, no file may stay open, and the main thread may never be held up. Not among the tests: it
// takes its time.
//
//   nullprint-app-load [--seconds n] [--windows n] [--files n] [--samples folder]
//
// It ends when the seconds are over and the windows were opened, and tells of itself meanwhile.
#include "app/AppDelegate.h"
#include "app/Arguments.h"
#include "app/Heartbeat.h"
#include "app/LoginItem.h"
#include "app/RevealWindow.h"
#include "app/Symbols.h"
#include "app/platform/FileManager.h"
#include "app/platform/StatusItem.h"
#include "cli/AppLog.h"
#include "engine/support/TempFolder.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <malloc.h>

namespace {

using namespace nullprint;
using namespace nullprint::app;
namespace fs = std::filesystem;

constexpr int patienceMs = 120'000;
constexpr int lookMs = 5;
constexpr int panelMs = 50;
constexpr int samplesOfMemory = 20;
constexpr double longestHoldUpMs = 50;
#ifdef __SANITIZE_ADDRESS__ // It keeps what was given back, to find later uses.
constexpr long allowedGrowthKiB = 1'000'000;
#else
constexpr long allowedGrowthKiB = 256;
#endif

class NoLoginItem : public LoginItem {
public:
    bool isEnabled() const override { return false; }
    std::optional<QString> enlist() override { return {}; }
    std::optional<QString> delist() override { return {}; }
};

class NoFileManager : public FileManager {
public:
    void select(const std::vector<FileURL>&, std::function<void()> answered) override
    {
        answered();
    }
};

// What the kernel counts for the calling thread, in milliseconds.
struct ThreadTimes {
    double run = 0;
    double waiting = 0; // For a processor, while others have it.

    static ThreadTimes now()
    {
        std::ifstream file("/proc/thread-self/schedstat");
        ThreadTimes times;
        file >> times.run >> times.waiting;
        times.run /= 1e6;
        times.waiting /= 1e6;
        return times;
    }
};

// How long the event loop was held up: by the clock; without the time in which this thread waited
// for a processor; and at work, which alone a loaded machine does not change: large areas are
// painted by helpers of Qt's, and these wait for processors, too.
class Watchdog : public QObject {
public:
    Watchdog()
    {
        pass();
        startTimer(2, Qt::PreciseTimer);
    }

    double longestMs = 0;
    double longestOwnMs = 0;
    double longestRunMs = 0;

    // What has passed since it looked last is not the application's.
    void pass()
    {
        clock.restart();
        last = ThreadTimes::now();
    }

protected:
    void timerEvent(QTimerEvent*) override
    {
        const auto now = ThreadTimes::now();
        const double passed = static_cast<double>(clock.nsecsElapsed()) / 1e6;
        longestMs = std::max(longestMs, passed);
        longestOwnMs = std::max(longestOwnMs, passed - (now.waiting - last.waiting));
        longestRunMs = std::max(longestRunMs, now.run - last.run);
        clock.restart();
        last = now;
    }

private:
    QElapsedTimer clock;
    ThreadTimes last;
};

long residentKiB()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmRSS:") {
            long size = 0;
            status >> size;
            return size;
        }
    }
    return -1;
}

// What the program asked for and did not give back.
long allocatedKiB()
{
    const auto heap = ::mallinfo2();
    return static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
}

// What each of the open files is.
std::vector<std::string> openFiles()
{
    std::vector<std::string> names;
    std::error_code gone;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd"))
        names.push_back(fs::read_symlink(entry, gone).string());
    std::ranges::sort(names);
    return names;
}

// In the event loop, as the application itself waits.
bool waitFor(const std::function<bool()>& condition, int mostMs = patienceMs)
{
    QElapsedTimer clock;
    clock.start();
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, [&] {
        if (condition() || clock.hasExpired(mostMs))
            loop.quit();
    });
    look.start(lookMs);
    loop.exec();
    // Nobody else comes by outside of the loop, where windows that were closed are deleted.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return condition();
}

// How many more than `before`, when settings and log are written and the threads of Qt's pools, of
// which each has one, have ended: after half a minute without work. Tells which.
std::ptrdiff_t leftOpen(const std::vector<std::string>& before)
{
    constexpr int settlingMs = 40'000;
    waitFor([&] { return openFiles().size() <= before.size(); }, settlingMs);
    const auto after = openFiles();
    std::vector<std::string> more;
    std::ranges::set_difference(after, before, std::back_inserter(more));
    for (const auto& name : more)
        std::printf("Open: %s\n", name.c_str());
    return std::ssize(after) - std::ssize(before);
}

struct Memory {
    long residentKiB;
    long allocatedKiB;
};

// Copies of the samples under many names, so that cleaning has names to find.
std::vector<FileURL> makeFiles(const fs::path& samples, const fs::path& folder, int count)
{
    fs::create_directory(folder);
    std::vector<fs::path> originals;
    for (const auto& entry : fs::directory_iterator(samples)) {
        if (entry.is_regular_file())
            originals.push_back(entry.path());
    }
    std::ranges::sort(originals);
    std::vector<FileURL> files;
    for (int number = 0; number < count; ++number) {
        const auto& original = originals[static_cast<std::size_t>(number) % originals.size()];
        const auto copy = folder / (std::to_string(number) + original.extension().string());
        fs::copy_file(original, copy);
        files.push_back(FileURL::fromPath(copy));
    }
    return files;
}

template <typename Window> Window* shown()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<Window*>(widget); window && window->isVisible())
            return window;
    }
    return nullptr;
}

template <typename Window> bool comes()
{
    return waitFor([] { return shown<Window>() != nullptr; });
}

template <typename Window> bool goes()
{
    return waitFor([] { return shown<Window>() == nullptr; });
}

void removeCopies(const fs::path& folder)
{
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().string().find(" (scrubbed") != std::string::npos)
            fs::remove(entry.path());
    }
}

// The application, and what its user does with it.
class BusyUser {
public:
    BusyUser(const fs::path& folder, std::vector<FileURL> files)
        : files(std::move(files))
        , standard(QString::fromStdString(folder / "defaults/standard.plist"))
        , services(QString::fromStdString(folder / "defaults/pbs.plist"))
        , log(folder / "log/log")
        , heartbeat(standard, {})
        , delegate({
              .standard = standard,
              .services = services,
              .log = log,
              .logFolder = folder / "log",
              .loginItem = loginItem,
              .heartbeat = heartbeat,
              .fileManager = fileManager,
              .statusItem = statusItem,
              .rebuildServicesList = [] {},
          })
    {
        delegate.applicationDidFinishLaunching({.isLoginItem = true});
    }

    // A window is opened and closed; every second time its files are cleaned, every fifth time the
    // panel is looked at, and every tenth time the service cleans.
    bool useOnce(int number)
    {
        delegate.checkURLs(files);
        if (!comes<RevealWindowController>())
            return false;
        auto* window = shown<RevealWindowController>();
        if (number % 2 == 0 && !clean(*window))
            return false;
        if (number % 5 == 0) {
            delegate.showPopover();
            waitFor([] { return false; }, panelMs);
            delegate.togglePopover();
        }
        if (number % 10 == 0 && !callService())
            return false;
        window->closeWindow();
        return goes<RevealWindowController>();
    }

private:
    static bool clean(RevealWindowController& window)
    {
        window.cleanNow();
        const auto isCleaned = [&window] {
            return std::ranges::any_of(window.findChildren<QPushButton*>(), [](auto* button) {
                return button->text() == QStringLiteral("Reveal in Finder");
            });
        };
        if (!waitFor(isCleaned))
            return false;
        for (auto* sheet : window.findChildren<QMessageBox*>())
            sheet->close();
        return true;
    }

    bool callService()
    {
        delegate.scrubMetadata(files);
        if (!comes<QMessageBox>())
            return false;
        shown<QMessageBox>()->close();
        return goes<QMessageBox>();
    }

    const std::vector<FileURL> files;
    DefaultsStore standard;
    DefaultsStore services;
    AppLog log;
    NoLoginItem loginItem;
    NoFileManager fileManager;
    Heartbeat heartbeat;
    StatusItem statusItem;
    AppDelegate delegate;
};

struct Plan {
    qint64 seconds;
    int windows;
    int files;
    fs::path samples;
};

Plan readPlan()
{
    QCommandLineParser parser;
    const auto add = [&parser](const char* name, const char* usual) {
        parser.addOption(
            {QString::fromLatin1(name), {}, QStringLiteral("n"), QString::fromLocal8Bit(usual)});
    };
    add("seconds", "0");
    add("windows", "200");
    add("files", "25");
    add("samples", NULLPRINT_SAMPLES);
    parser.process(*qApp);
    const auto value = [&parser](const char* name) {
        return parser.value(QString::fromLatin1(name));
    };
    return {value("seconds").toLongLong(),
            value("windows").toInt(),
            value("files").toInt(),
            fs::path(value("samples").toStdString())};
}

// Tells of memory each time another twentieth of the plan is done.
class Course {
public:
    explicit Course(const Plan& plan)
        : plan(plan)
    {
        clock.start();
        std::puts(" seconds  windows    files  resident, KiB  allocated, KiB");
    }

    bool isOver() const { return done() >= 1; }

    void windowClosed()
    {
        ++windows;
        if (done() * samplesOfMemory < static_cast<double>(memory.size() + 1))
            return;
        memory.push_back({residentKiB(), allocatedKiB()});
        std::printf("%8lld %8d %8d %14ld %15ld\n",
                    clock.elapsed() / 1000,
                    windows,
                    windows * plan.files,
                    memory.back().residentKiB,
                    memory.back().allocatedKiB);
        std::fflush(stdout);
    }

    // In the second half of the time.
    long grownKiB() const
    {
        return memory.back().residentKiB - memory[memory.size() / 2 - 1].residentKiB;
    }

private:
    double done() const
    {
        const auto opened = static_cast<double>(windows) / plan.windows;
        if (plan.seconds == 0)
            return opened;
        const auto passed = static_cast<double>(clock.elapsed()) / 1e3;
        return std::min(opened, passed / static_cast<double>(plan.seconds));
    }

    const Plan plan;
    QElapsedTimer clock;
    int windows = 0;
    std::vector<Memory> memory;
};

} // namespace

// What the library of fonts keeps until the end. Read by LeakSanitizer alone.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): its name for it.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\n";
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

int main(int argc, char** argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    const auto folder = TempFolder::create("nullprint-app-load-").value();
    ::setenv("HOME", folder.path().c_str(), 1);
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(applicationIcon());
    const auto plan = readPlan();
    const fs::path work = fs::path(folder.path()) / "files";
    BusyUser user(folder.path(), makeFiles(plan.samples, work, plan.files));

    constexpr int warmUp = 5;
    std::optional<Course> course;
    std::optional<Watchdog> watchdog;
    std::vector<std::string> open;
    for (int number = 0; !course || !course->isOver(); ++number) {
        if (!user.useOnce(number)) {
            std::puts("A window did not come, or did not go.");
            return 1;
        }
        removeCopies(work);
        if (course) {
            course->windowClosed();
            watchdog->pass();
        } else if (number + 1 == warmUp) {
            waitFor([] { return false; }, 1'000); // Settings and log are written.
            open = openFiles();
            course.emplace(plan);
            watchdog.emplace();
        }
    }
    const auto left = leftOpen(open);
    const auto grown = course->grownKiB();
    std::printf("Grown by %ld KiB in the second half; %td files left open. The main thread was "
                "held up for %.1f ms at most, %.1f ms without waiting for a processor, %.1f ms of "
                "it at work.\n",
                grown,
                left,
                watchdog->longestMs,
                watchdog->longestOwnMs,
                watchdog->longestRunMs);
    std::fflush(stdout);
    const bool isWell =
        grown <= allowedGrowthKiB && left == 0 && watchdog->longestRunMs <= longestHoldUpMs;
    return isWell ? 0 : 1;
}
