#include "app/AppDelegate.h"

#include "app/Alert.h"
#include "app/Arguments.h"
#include "app/DropWindow.h"
#include "app/FileURIs.h"
#include "app/FinderServices.h"
#include "app/Heartbeat.h"
#include "app/Identity.h"
#include "app/LoginItem.h"
#include "app/PopoverView.h"
#include "app/RevealWindow.h"
#include "app/ServiceNotice.h"
#include "app/WindowPlace.h"
#include "app/platform/Popover.h"
#include "app/platform/StatusItem.h"
#include "cli/AppLog.h"

#include <QApplication>
#include <QFileDialog>
#include <QTimer>

#include <sys/stat.h>

namespace nullprint::app {
namespace {

constexpr char toolTip[] = "Nullprint — see and remove hidden data before you share";
constexpr std::chrono::milliseconds workloadTick{100};

// The log is nobody else's business, and does not make its folder itself.
void makePrivateFolder(const std::filesystem::path& folder)
{
    std::error_code ignored;
    std::filesystem::create_directories(folder.parent_path(), ignored);
    ::mkdir(folder.c_str(), S_IRWXU);
}

std::vector<FileURL> urlsOf(const QStringList& paths)
{
    std::vector<FileURL> urls;
    for (const QString& path : paths)
        urls.push_back(FileURL::fromPath(QFile::encodeName(path).toStdString()));
    return urls;
}

} // namespace

AppDelegate::AppDelegate(Surroundings surroundings)
    : desktop(std::move(surroundings))
    , stats(desktop.standard)
{
}

// The file that is worked on is finished and counted, but nothing is left to look at meanwhile.
AppDelegate::~AppDelegate()
{
    isEnding = true;
    desktop.statusItem.hide();
    for (QWidget* window : QApplication::topLevelWidgets())
        window->hide();
    QGuiApplication::sync(); // Results that are waiting come with it.
    threads.finish();
}

void AppDelegate::applicationDidFinishLaunching(const StartRequest& request)
{
    makePrivateFolder(desktop.logFolder);
    buildStatusItem();
    buildPopover();
    connect(qGuiApp, &QGuiApplication::lastWindowClosed, this, &AppDelegate::quitWhenOutOfReach);
    serviceProvider.setDelegate(this);
    enableFinderServicesOnce(desktop.standard,
                             desktop.services,
                             desktop.log,
                             desktop.rebuildServicesList);
    prepareFirstRun();
    refreshPanelModel();
    scheduleHeartbeat();

    showsPanelWithoutTray = request.files.empty() && !request.isLoginItem;
    desktop.statusItem.show(request.isLoginItem ? StatusItem::Start::withSession
                                                : StatusItem::Start::byUser);
    if (!request.service.empty())
        performAction(QString::fromStdString(request.service), urisOfFiles(request.files));
    else
        openURLs(request.files);
}

void AppDelegate::buildStatusItem()
{
    StatusItem& item = desktop.statusItem;
    showStatusIcon();
    item.setToolTip(QString::fromUtf8(toolTip));
    workloadTicks.setInterval(workloadTick);
    connect(&workloadTicks, &QTimer::timeout, this, &AppDelegate::showWorkload);
    connect(&item, &StatusItem::activated, this, &AppDelegate::togglePopover);
    connect(&item, &StatusItem::trayMissing, this, [this] {
        if (showsPanelWithoutTray)
            showPopover();
    });
}

void AppDelegate::showStatusIcon()
{
    if (!workload.isEmpty())
        desktop.statusItem.setIcon({}, busyIcon);
    else
        desktop.statusItem.setIcon(statusIconName(), idleIcon);
}

// Of the panel, which hears of the desktop's appearance.
bool AppDelegate::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::ApplicationPaletteChange) {
        idleIcon = statusIcon();
        busyIcon = busyStatusIcon();
        showStatusIcon();
    }
    return ServiceProviderDelegate::eventFilter(watched, event);
}

void AppDelegate::buildPopover()
{
    const AppActions actions{
        .checkFiles = [this] { checkFiles(); },
        .openDropWindow = [this] { openDropWindow(); },
        .quit = [] { QCoreApplication::exit(0); }, // No window is asked.
        .setLogin = [this](bool on) { setLogin(on); },
    };
    popover = std::make_unique<Popover>(new PopoverView(model, actions));
    popover->installEventFilter(this);
}

// Opening at login is proposed once. Whoever turns it off is not asked again.
void AppDelegate::prepareFirstRun()
{
    const auto flag = QStringLiteral("didInitialLoginSetup");
    if (desktop.standard.boolean(flag))
        return;
    setLoginItem(desktop.loginItem, true);
    desktop.standard.set(flag, true);
}

void AppDelegate::scheduleHeartbeat()
{
    const auto send = [this] { desktop.heartbeat.send(); };
    QTimer::singleShot(desktop.firstHeartbeat, this, send);
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, send);
    timer->start(desktop.heartbeatPeriod);
}

void AppDelegate::refreshPanelModel()
{
    model.setFilesChecked(stats.totalChecked());
    model.setFilesCleaned(stats.totalCleaned());
    model.setLastCleanText(lastCleanText(stats.lastClean()));
    model.setLoginOn(desktop.loginItem.isEnabled());
}

// A panel that opens is fresh. One that stays open as a window is kept so.
void AppDelegate::countersChanged()
{
    if (popover->isOpenAsWindow())
        refreshPanelModel();
}

// Without a tray and without a bus nothing but a window leads to the application.
void AppDelegate::quitWhenOutOfReach()
{
    const auto windows = QApplication::topLevelWidgets();
    if (!workload.isEmpty() || desktop.statusItem.isInTray() || desktop.statusItem.hasBus() ||
        std::ranges::any_of(windows, &QWidget::isVisible))
        return;
    QCoreApplication::exit(0);
}

void AppDelegate::setLogin(bool on)
{
    setLoginItem(desktop.loginItem, on);
    refreshPanelModel();
}

void AppDelegate::togglePopover()
{
    if (popover->isVisible())
        popover->performClose();
    else if (!popover->wasJustClosed())
        showPopover();
}

void AppDelegate::showPopover()
{
    if (!popover->isVisible())
        desktop.heartbeat.bump(QStringLiteral("ctPanelOpens"));
    refreshPanelModel();
    popover->open(desktop.statusItem.place(), !desktop.statusItem.isInTray());
}

void AppDelegate::checkFiles()
{
    popover->makeWay();
    if (openPanel) {
        bringToFront(*openPanel);
        return;
    }
    // A panel that stays does not come in front of it.
    openPanel = new QFileDialog(popover->isOpenAsWindow() ? popover.get() : nullptr,
                                QStringLiteral("Choose files to check for hidden data"));
    openPanel->setAttribute(Qt::WA_DeleteOnClose);
    openPanel->setFileMode(QFileDialog::ExistingFiles);
    openPanel->setLabelText(QFileDialog::Accept, QStringLiteral("Check"));
    openPanel->setModal(true);
    openPanel->setDirectory(folderToChooseFrom);
    connect(openPanel, &QFileDialog::filesSelected, this, [this](const QStringList& paths) {
        folderToChooseFrom = QFileInfo(paths.value(0)).path();
        checkURLs(urlsOf(paths));
    });
    bringToFront(*openPanel);
}

void AppDelegate::openDropWindow()
{
    popover->makeWay();
    if (!dropController)
        dropController = std::make_unique<DropWindowController>(
            [this](const std::vector<FileURL>& urls) { checkURLs(urls); });
    dropController->show();
}

void AppDelegate::openURLs(const std::vector<FileURL>& urls)
{
    checkURLs(urls);
}

void AppDelegate::performAction(const QString& action, const QStringList& uris)
{
    if (action == QLatin1StringView(showMetadataService))
        serviceProvider.showMetadata(uris);
    else if (action == QLatin1StringView(scrubMetadataService))
        serviceProvider.scrubMetadata(uris);
    else if (action == QStringLiteral("check-files"))
        checkFiles();
    else if (action == QStringLiteral("drop-window"))
        openDropWindow();
}

void AppDelegate::showMetadata(const std::vector<FileURL>& urls)
{
    checkURLs(urls);
}

void AppDelegate::scrubMetadata(const std::vector<FileURL>& urls)
{
    cleanURLsFromService(urls);
}

void AppDelegate::checkURLs(const std::vector<FileURL>& urls)
{
    if (urls.empty())
        return;
    stats.addChecked(std::ssize(urls));
    countersChanged();
    workOn<std::vector<RevealReport>>(WorkKind::checking,
                                      urls,
                                      revealAll,
                                      [this](std::vector<RevealReport> reports) {
                                          if (!isEnding)
                                              showRevealWindow(std::move(reports));
                                      });
}

RevealWindowController* AppDelegate::showRevealWindow(std::vector<RevealReport> reports)
{
    auto* window = new RevealWindowController(std::move(reports), desktop.fileManager);
    window->canClean = [] { return true; };
    window->onClean = [this, window](const std::vector<FileURL>& urls) {
        cleanFromRevealWindow(urls, window);
    };
    window->onClose = [this, window] { forgetRevealWindow(window); };
    revealControllers.emplace_back(window);
    bringToFront(*window);
    return window;
}

void AppDelegate::forgetRevealWindow(const RevealWindowController* window)
{
    std::erase_if(revealControllers, [&](const auto& each) { return each.get() == window; });
}

void AppDelegate::cleanFromRevealWindow(const std::vector<FileURL>& urls,
                                        RevealWindowController* window)
{
    desktop.heartbeat.bump(QStringLiteral("ctCleans"));
    workOn<CleanResult>(WorkKind::cleaning,
                        urls,
                        cleanAll,
                        [this, receiver = QPointer(window)](const CleanResult& result) {
                            finishRevealClean(result, receiver);
                        });
}

void AppDelegate::finishRevealClean(const CleanResult& result, RevealWindowController* window)
{
    countCleaned(result, " file(s).");
    // A window that was closed meanwhile may still be on its way out.
    const bool isOpen = std::ranges::any_of(revealControllers,
                                            [&](const auto& each) { return each.get() == window; });
    if (isOpen && !isEnding)
        window->showCleanResult(result.outputs, result.skipped);
}

void AppDelegate::countCleaned(const CleanResult& result, const char* logEnding)
{
    if (result.outputs.empty())
        return;
    stats.addCleaned(std::ssize(result.outputs), QDateTime::currentDateTime());
    countersChanged();
    desktop.log.log("Cleaned " + std::to_string(result.outputs.size()) + logEnding);
}

void AppDelegate::cleanURLsFromService(const std::vector<FileURL>& urls)
{
    if (urls.empty())
        return;
    stats.addChecked(std::ssize(urls));
    countersChanged();
    desktop.heartbeat.bump(QStringLiteral("ctCleans"));
    workOn<CleanResult>(WorkKind::cleaning, urls, cleanAll, [this](const CleanResult& result) {
        finishServiceClean(result);
    });
}

void AppDelegate::finishServiceClean(const CleanResult& result)
{
    countCleaned(result, " file(s) via Finder service.");
    if (isEnding)
        return;
    const auto notice = serviceNotice(result);
    auto* alert = newAlert(nullptr, notice.message, notice.information);
    alert->setModal(true);
    alert->setWindowFlag(Qt::WindowStaysOnTopHint);
    // Once, and then only to the front, for as long as it is open.
    const auto show = [alert = QPointer(alert), wasShown = std::make_shared<bool>(false)] {
        if (alert && (!std::exchange(*wasShown, true) || alert->isVisible()))
            bringToFront(*alert);
    };
    if (result.outputs.empty()) {
        show();
    } else {
        desktop.fileManager.select(result.outputs, show);
        QTimer::singleShot(desktop.fileManagerPatience, alert, show);
    }
    refreshPanelModel();
}

template <typename Value>
void AppDelegate::workOn(WorkKind kind,
                         const std::vector<FileURL>& files,
                         Value (*work)(const std::vector<FileURL>&,
                                       const std::stop_token&,
                                       const FileDone&),
                         std::function<void(Value)> done)
{
    const auto left = workload.begin(kind, std::ssize(files));
    showWorkload();
    threads.start<Value>(
        [files, work, left](const std::stop_token& stop) {
            return work(files, stop, [&] { --*left; });
        },
        [this, left, done = std::move(done)](Value value) {
            workload.end(left);
            if (!isEnding)
                showWorkload();
            done(std::move(value));
            quitWhenOutOfReach();
        });
}

void AppDelegate::showWorkload()
{
    const bool isBusy = !workload.isEmpty();
    desktop.statusItem.setToolTip(isBusy ? QStringLiteral("Nullprint — ") + workload.text()
                                         : QString::fromUtf8(toolTip));
    if (isBusy == workloadTicks.isActive())
        return;
    if (isBusy)
        workloadTicks.start();
    else
        workloadTicks.stop();
    showStatusIcon();
}

} // namespace nullprint::app
