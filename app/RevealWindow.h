// What a set of files gives away, and what can be done about it.
#pragma once

#include "app/platform/FileManager.h"
#include "engine/reveal/RevealReport.h"

#include <QDialog>

#include <functional>
#include <string>
#include <vector>

class QPushButton;

namespace nullprint::app {

class BusySign;
class ReportView;

// One window for one check. Whoever lets go of it in `onClose` does so by `deleteLater`.
class RevealWindowController : public QDialog {
    Q_OBJECT

public:
    RevealWindowController(std::vector<RevealReport> reports, FileManager& fileManager);

    // Asked to clean these files; the answer is `showCleanResult`.
    std::function<void(std::vector<FileURL>)> onClean;
    // Told once, however the window is closed.
    std::function<void()> onClose;
    std::function<bool()> canClean = [] { return true; };

    void cleanNow();
    void closeWindow();
    void saveReport();
    void revealCleaned();

    // `skipped` has a line for every file that was not cleaned.
    void showCleanResult(std::vector<FileURL> outputs, const std::vector<std::string>& skipped);

    void done(int result) override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QWidget* buttonBar();
    QPushButton* buildCleanButton();
    void showSkipped(const std::vector<std::string>& skipped);
    void writeReport(const QString& file) const;

    const std::vector<RevealReport> reports;
    FileManager& fileManager;
    ReportView* textView = nullptr;
    QPushButton* cleanButton = nullptr;
    BusySign* busySign = nullptr;
    std::vector<FileURL> cleanedOutputs;
    bool isClosed = false;
};

} // namespace nullprint::app
