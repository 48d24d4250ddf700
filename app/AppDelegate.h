// The centre of the application: what happens when the user asks for something.
#pragma once

#include "app/DefaultsStore.h"
#include "app/EngineThreads.h"
#include "app/FileWork.h"
#include "app/ServiceProvider.h"
#include "app/StatusIcon.h"
#include "app/UIModel.h"
#include "app/UsageStats.h"
#include "app/Workload.h"

#include <QDir>
#include <QTimer>

#include <chrono>
#include <filesystem>
#include <memory>

class QFileDialog;

namespace nullprint {
class AppLog;
}

namespace nullprint::app {

class DropWindowController;
class FileManager;
class Heartbeat;
class LoginItem;
class Popover;
class RevealWindowController;
class StatusItem;
struct StartRequest;

inline constexpr std::chrono::milliseconds usualFirstHeartbeat = std::chrono::seconds(10);
inline constexpr std::chrono::milliseconds usualHeartbeatPeriod = std::chrono::hours(6);
// How long a message waits for the file manager's window, which would cover it.
inline constexpr std::chrono::milliseconds usualFileManagerPatience = std::chrono::seconds(2);

// What the delegate works with. All of it outlives the delegate.
struct Surroundings {
    DefaultsStore& standard;
    DefaultsStore& services;
    AppLog& log;
    std::filesystem::path logFolder; // Made where it is missing.
    LoginItem& loginItem;
    Heartbeat& heartbeat;
    FileManager& fileManager;
    StatusItem& statusItem;
    std::function<void()> rebuildServicesList;

    std::chrono::milliseconds firstHeartbeat = usualFirstHeartbeat;
    std::chrono::milliseconds heartbeatPeriod = usualHeartbeatPeriod;
    std::chrono::milliseconds fileManagerPatience = usualFileManagerPatience;
};

// Lives on the main thread for the whole process.
class AppDelegate : public ServiceProviderDelegate {
    Q_OBJECT

public:
    explicit AppDelegate(Surroundings surroundings);
    ~AppDelegate() override;

    void applicationDidFinishLaunching(const StartRequest& request);
    void togglePopover();
    // For who started the application once more: opens the panel, never closes it.
    void showPopover();
    void openURLs(const std::vector<FileURL>& urls);
    // A service or an action of the launcher. Names that mean nothing are passed over.
    void performAction(const QString& action, const QStringList& uris);

    void showMetadata(const std::vector<FileURL>& urls) override;
    void scrubMetadata(const std::vector<FileURL>& urls) override;

    // The flows behind these, and what they came to.
    void checkURLs(const std::vector<FileURL>& urls);
    void cleanURLsFromService(const std::vector<FileURL>& urls);
    RevealWindowController* showRevealWindow(std::vector<RevealReport> reports);
    std::size_t revealWindowCount() const { return revealControllers.size(); }
    const UIModel& panelModel() const { return model; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct DeletedLater {
        void operator()(QObject* object) const { object->deleteLater(); }
    };

    void buildStatusItem();
    void showStatusIcon();
    void buildPopover();
    void prepareFirstRun();
    void scheduleHeartbeat();
    void refreshPanelModel();
    void countersChanged();
    void quitWhenOutOfReach();
    void setLogin(bool on);
    void checkFiles();
    void openDropWindow();
    void cleanFromRevealWindow(const std::vector<FileURL>& urls, RevealWindowController* window);
    void finishRevealClean(const CleanResult& result, RevealWindowController* window);
    void finishServiceClean(const CleanResult& result);
    void countCleaned(const CleanResult& result, const char* logEnding);
    void forgetRevealWindow(const RevealWindowController* window);
    template <typename Value>
    void workOn(WorkKind kind,
                const std::vector<FileURL>& files,
                Value (*work)(const std::vector<FileURL>&, const std::stop_token&, const FileDone&),
                std::function<void(Value)> done);
    void showWorkload();

    Surroundings desktop;
    // Drawn once for an appearance: drawing takes milliseconds, and Qt keeps what was drawn.
    QIcon idleIcon = statusIcon();
    QIcon busyIcon = busyStatusIcon();
    UIModel model;
    UsageStats stats;
    ServiceProvider serviceProvider;
    std::unique_ptr<Popover> popover;
    std::unique_ptr<DropWindowController> dropController;
    std::vector<std::unique_ptr<RevealWindowController, DeletedLater>> revealControllers;
    QPointer<QFileDialog> openPanel;
    QString folderToChooseFrom = QDir::homePath(); // Then the one that was chosen from.
    Workload workload;
    QTimer workloadTicks;
    bool showsPanelWithoutTray = false;
    bool isEnding = false; // Copies are counted, but there is nobody to show anything to.
    EngineThreads threads; // The first to go: what comes back has everything else to come back to.
};

} // namespace nullprint::app
