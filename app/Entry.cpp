// Where the program enters the module: puts the application together and runs it until the user
// quits.
#include "app/AppDelegate.h"
#include "app/Arguments.h"
#include "app/Heartbeat.h"
#include "app/Identity.h"
#include "app/Symbols.h"
#include "app/platform/AutostartFile.h"
#include "app/platform/ColorScheme.h"
#include "app/platform/FileManager1.h"
#include "app/platform/Instance.h"
#include "app/platform/MenuFiles.h"
#include "app/platform/PanelAccess.h"
#include "app/platform/Program.h"
#include "app/platform/StatusItem.h"
#include "app/platform/Termination.h"
#include "cli/AppLog.h"

#include <QApplication>
#include <QSettings>
#include <QThreadPool>

#include <cstdio>
#include <unistd.h>

namespace nullprint::app {
namespace {

// Qt ends the process with a core dump, and in many words, when it finds no display.
void reportWithoutDisplay(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type != QtFatalMsg)
        return;
    const bool isAboutDisplay = text.contains(QStringLiteral("platform plugin"));
    std::fprintf(stderr,
                 "Nullprint: %s\n",
                 isAboutDisplay ? "there is no display for the menu-bar application; see "
                                  "“nullprint --help” for the command line."
                                : qUtf8Printable(text));
    ::_exit(1);
}

// Qt would take arguments for itself that are none of its business: it gets the name alone.
class Application {
public:
    explicit Application(char* name)
        : words{name, nullptr}
    {
        const auto usual = qInstallMessageHandler(reportWithoutDisplay);
        application.emplace(count, words.data());
        qInstallMessageHandler(usual);
        QApplication::setQuitOnLastWindowClosed(false);
        QGuiApplication::setDesktopFileName(QString::fromLatin1(applicationID));
        QApplication::setWindowIcon(applicationIcon());
        // Where Qt's file dialog writes down the folders that files were chosen from.
        QSettings::setPath(QSettings::NativeFormat,
                           QSettings::UserScope,
                           QStringLiteral("/dev/null"));
    }

    int run() { return QApplication::exec(); }

private:
    int count = 1;
    std::array<char*, 2> words;
    std::optional<QApplication> application;
};

Forwarding forwardFromHere(const StartRequest& request, char* name)
{
    int count = 1;
    std::array<char*, 2> words{name, nullptr};
    const QCoreApplication application(count, words.data());
    return forward(request);
}

int report(Forwarding outcome)
{
    if (outcome == Forwarding::delivered)
        return 0;
    std::fputs("Nullprint: the running application does not answer.\n", stderr);
    return 1;
}

void connectRequests(Instance& instance, AppDelegate& delegate)
{
    // Queued: whoever asks has the answer before the work begins.
    QObject::connect(&instance,
                     &Instance::activated,
                     &delegate,
                     &AppDelegate::showPopover,
                     Qt::QueuedConnection);
    QObject::connect(&instance,
                     &Instance::opened,
                     &delegate,
                     &AppDelegate::openURLs,
                     Qt::QueuedConnection);
    QObject::connect(&instance,
                     &Instance::actionCalled,
                     &delegate,
                     &AppDelegate::performAction,
                     Qt::QueuedConnection);
}

int runFirst(const StartRequest& request, char* name)
{
    showPopoversToAssistiveTechnology();
    Application application(name);
    const ColorScheme colorScheme;
    auto standard = DefaultsStore::standard();
    auto services = DefaultsStore::services();
    AppLog log(AppLog::usualFile());
    AutostartFile loginItem(AutostartFile::usualFile(), runningProgram());
    Heartbeat heartbeat(standard, Heartbeat::shipped());
    FileManager1 fileManager;
    StatusItem statusItem;
    QThreadPool chores; // Waits for what it has begun when it goes.
    AppDelegate delegate({
        .standard = standard,
        .services = services,
        .log = log,
        .logFolder = AppLog::usualFile().parent_path(),
        .loginItem = loginItem,
        .heartbeat = heartbeat,
        .fileManager = fileManager,
        .statusItem = statusItem,
        .rebuildServicesList =
            [&] { chores.start([&services] { rebuildServicesList(services); }); },
    });
    // Gone before the delegate finishes its work: the next start is a new application.
    Instance instance;
    connectRequests(instance, delegate);
    if (!instance.claim())
        return report(forward(request)); // Somebody was faster.
    const Termination termination;
    QObject::connect(&termination, &Termination::requested, [] { QCoreApplication::exit(0); });
    delegate.applicationDidFinishLaunching(request);
    return application.run();
}

} // namespace
} // namespace nullprint::app

// Called by the program when its first argument is no option of the command line.
extern "C" __attribute__((visibility("default"))) int nullprintApplication(int argc, char** argv)
{
    using namespace nullprint::app;
    static char usualName[] = "nullprint";
    const std::span words(argv, static_cast<std::size_t>(argc));
    char* name = words.empty() ? usualName : words.front();
    const auto request =
        readArguments(words.empty() ? std::span<const char* const>{} : words.subspan(1));
    if (const auto outcome = forwardFromHere(request, name); outcome != Forwarding::nobodyRuns)
        return report(outcome);
    return runFirst(request, name);
}
