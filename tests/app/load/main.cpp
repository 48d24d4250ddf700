// Ten minutes of a busy user, without a display: thousands of files checked in hundreds of windows
// that are opened, used and closed. Memory has to come back, no file may stay open, and the main
// thread may never be held up. Not among the tests: it takes its time.
//
//   nullprint-app-load [windows] [files in each] [folder of samples]
#include "app/AppDelegate.h"
#include "app/Arguments.h"
#include "app/Heartbeat.h"
#include "app/LoginItem.h"
#include "app/RevealWindow.h"
#include "app/platform/FileManager.h"
#include "app/platform/StatusItem.h"
#include "cli/AppLog.h"
#include "engine/support/TempFolder.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <malloc.h>

namespace {

using namespace nullprint;
using namespace nullprint::app;
namespace fs = std::filesystem;

constexpr int patienceMs = 120'000;
#ifdef __SANITIZE_ADDRESS__ // It keeps what was given back, to find later uses.
constexpr long allowedGrowthKiB = 1'000'000;
#else
constexpr long allowedGrowthKiB = 12 * 1024;
#endif

class NoLoginItem : public LoginItem {
public:
    bool isEnabled() const override { return false; }
    std::optional<QString> enlist() override { return {}; }
    std::optional<QString> delist() override { return {}; }
};

class NoFileManager : public FileManager {
public:
    void select(const std::vector<FileURL>&) override {}
};

// How long the event loop was held up: by the clock, and in processor time of this very thread,
// which a loaded machine does not change.
class Watchdog : public QObject {
public:
    Watchdog()
    {
        clock.start();
        lastUsed = used();
        startTimer(2, Qt::PreciseTimer);
    }

    double longestMs = 0;
    double longestUsedMs = 0;

protected:
    void timerEvent(QTimerEvent*) override
    {
        const double usedNow = used();
        longestMs = std::max(longestMs, static_cast<double>(clock.nsecsElapsed()) / 1e6);
        longestUsedMs = std::max(longestUsedMs, usedNow - lastUsed);
        clock.restart();
        lastUsed = usedNow;
    }

private:
    static double used()
    {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    QElapsedTimer clock;
    double lastUsed = 0;
};

long residentKiB()
{
    ::malloc_trim(0); // What is free is not in use.
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

std::ptrdiff_t openFiles()
{
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// Copies of the samples under many names, so that cleaning has names to find.
std::vector<FileURL> makeFiles(const fs::path& samples, const fs::path& folder, int count)
{
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

RevealWindowController* newWindow()
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<RevealWindowController*>(widget);
            window && window->isVisible())
            return window;
    }
    return nullptr;
}

void removeCopies(const fs::path& folder)
{
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().string().find(" (scrubbed") != std::string::npos)
            fs::remove(entry.path());
    }
}

// A window is opened, every second time its files are cleaned, and it is closed.
bool useOnce(AppDelegate& delegate,
             const DefaultsStore& store,
             const std::vector<FileURL>& files,
             bool cleans)
{
    delegate.checkURLs(files);
    if (!QTest::qWaitFor([] { return newWindow() != nullptr; }, patienceMs))
        return false;
    auto* window = newWindow();
    if (cleans) {
        const auto before = store.integer(QStringLiteral("totalCleaned"));
        window->cleanNow();
        if (!QTest::qWaitFor([&] { return store.integer(QStringLiteral("totalCleaned")) > before; },
                             patienceMs))
            return false;
        for (auto* sheet : window->findChildren<QMessageBox*>())
            sheet->close();
    }
    window->closeWindow();
    return QTest::qWaitFor([] { return newWindow() == nullptr; }, patienceMs);
}

int numberOf(const QStringList& words, int place, int usual)
{
    return words.size() > place ? words[place].toInt() : usual;
}

} // namespace

// What the library of fonts keeps until the end. Read by LeakSanitizer alone.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\n";
}

int main(int argc, char** argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const auto words = QApplication::arguments();
    const int windows = numberOf(words, 1, 200);
    const int filesInEach = numberOf(words, 2, 25);
    const auto folder = TempFolder::create("nullprint-app-load-").value();
    ::setenv("HOME", folder.path().c_str(), 1);
    const fs::path samples = words.size() > 3 ? words[3].toStdString() : NULLPRINT_SAMPLES;
    const fs::path work = fs::path(folder.path()) / "files";
    fs::create_directory(work);
    const auto files = makeFiles(samples, work, filesInEach);

    const auto defaults = QString::fromStdString(folder.path() + "/defaults/");
    DefaultsStore standard(defaults + QStringLiteral("standard.plist"));
    DefaultsStore services(defaults + QStringLiteral("pbs.plist"));
    AppLog log(folder.path() + "/log/log");
    NoLoginItem loginItem;
    NoFileManager fileManager;
    Heartbeat heartbeat(standard, {});
    StatusItem statusItem;
    AppDelegate delegate({
        .standard = standard,
        .services = services,
        .log = log,
        .logFolder = folder.path() + "/log",
        .loginItem = loginItem,
        .heartbeat = heartbeat,
        .fileManager = fileManager,
        .statusItem = statusItem,
        .rebuildServicesList = [] {},
    });
    delegate.applicationDidFinishLaunching({.isLoginItem = true});

    const int warmUp = std::max(5, windows / 10);
    Watchdog watchdog;
    long memory = 0;
    std::ptrdiff_t open = 0;
    for (int number = 0; number < windows + warmUp; ++number) {
        if (number == warmUp) {
            memory = residentKiB();
            open = openFiles();
        }
        if (!useOnce(delegate, standard, files, number % 2 == 0)) {
            std::puts("A window did not come, or did not go.");
            return 1;
        }
        removeCopies(work);
    }
    const long grown = residentKiB() - memory;
    const auto left = openFiles() - open;
    std::printf("%d windows, %d files each: memory %ld KiB, grown by %ld KiB; %td files left open; "
                "the main thread was held up for %.1f ms at most (%.1f ms of its own)\n",
                windows,
                filesInEach,
                memory,
                grown,
                left,
                watchdog.longestMs,
                watchdog.longestUsedMs);
    std::fflush(stdout);
    return grown < allowedGrowthKiB && left == 0 && watchdog.longestUsedMs <= 50 ? 0 : 1;
}
