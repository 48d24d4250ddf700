#include "app/RevealWindow.h"

#include "app/Alert.h"
#include "app/BusySign.h"
#include "app/Palette.h"
#include "app/PushButton.h"
#include "app/ReportView.h"
#include "app/WindowPlace.h"
#include "app/platform/SmallFile.h"
#include "engine/reveal/ReportText.h"

#include <QApplication>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QPaintEvent>
#include <QPainter>
#include <QStandardPaths>
#include <QVBoxLayout>

#include <algorithm>

namespace nullprint::app {
namespace {

constexpr int firstWidth = 580;
constexpr int firstHeight = 460;
constexpr int smallestWidth = 460;
constexpr int smallestHeight = 320;
constexpr int barHeight = 56;
constexpr int buttonHeight = 32;
constexpr int saveWidth = 130;
constexpr int closeWidth = 88;
constexpr int cleanWidth = 122;
constexpr int busyGap = 10;

bool isUsable(const RevealReport& report)
{
    return !report.note;
}

bool deservesCleaning(const RevealReport& report)
{
    return isUsable(report) && !report.items.empty();
}

// Only the default button answers to Return.
PushButton* barButton(const QString& text, int width, const QString& description)
{
    auto* button = new PushButton(text, PushButton::Look::bordered);
    button->setAutoDefault(false);
    button->setFixedSize(width, buttonHeight);
    button->setAccessibleName(text);
    button->setAccessibleDescription(description);
    return button;
}

QString joined(const std::vector<std::string>& lines)
{
    QString text;
    for (const auto& line : lines)
        text += (text.isEmpty() ? QString() : QStringLiteral("\n")) + QString::fromStdString(line);
    return text;
}

} // namespace

RevealWindowController::RevealWindowController(std::vector<RevealReport> reports,
                                               FileManager& fileManager)
    : reports(std::move(reports))
    , fileManager(fileManager)
{
    setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowMinMaxButtonsHint | Qt::WindowCloseButtonHint);
    setWindowTitle(QStringLiteral("What’s hidden in these files"));
    setMinimumSize(smallestWidth, smallestHeight);
    textView = new ReportView(this->reports);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(textView);
    column->addWidget(buttonBar());
    textView->setFocus();
    resize(firstWidth, firstHeight);
    centerOnScreen(*this);
}

QWidget* RevealWindowController::buttonBar()
{
    auto* bar = new QWidget;
    bar->setFixedHeight(barHeight);
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(16, 0, 12, 0);
    row->setSpacing(0);
    auto* save = barButton(QStringLiteral("Save Report…"),
                           saveWidth,
                           QStringLiteral("Saves the findings as a text file."));
    connect(save, &QPushButton::clicked, this, &RevealWindowController::saveReport);
    row->addWidget(save);
    row->addStretch();
    busySign = new BusySign;
    busySign->hide();
    row->addWidget(busySign);
    row->addSpacing(busyGap);
    row->addWidget(buildCleanButton());
    row->addSpacing(8);
    auto* close = barButton(QStringLiteral("Close"), closeWidth, {});
    connect(close, &QPushButton::clicked, this, &RevealWindowController::closeWindow);
    row->addWidget(close);
    return bar;
}

QPushButton* RevealWindowController::buildCleanButton()
{
    cleanButton = barButton(QStringLiteral("Clean Now"),
                            cleanWidth,
                            QStringLiteral("Writes cleaned copies next to the originals."));
    cleanButton->setDefault(true);
    cleanButton->setEnabled(std::ranges::any_of(reports, deservesCleaning));
    connect(cleanButton, &QPushButton::clicked, this, [this] {
        if (cleanedOutputs.empty())
            cleanNow();
        else
            revealCleaned();
    });
    return cleanButton;
}

// Files without findings are cleaned along with the others, though they alone do not enable the
// button.
void RevealWindowController::cleanNow()
{
    if (!canClean())
        return;
    std::vector<FileURL> files;
    for (const auto& report : reports) {
        if (isUsable(report))
            files.push_back(report.url);
    }
    if (files.empty())
        return;
    cleanButton->setEnabled(false);
    if (!onClean)
        return;
    busySign->show();
    onClean(std::move(files));
}

// Nothing enables the button again: a window cleans once.
void RevealWindowController::showCleanResult(std::vector<FileURL> outputs,
                                             const std::vector<std::string>& skipped)
{
    busySign->hide();
    cleanedOutputs = std::move(outputs);
    textView->showCleaned(cleanedOutputs.size());
    if (cleanedOutputs.empty()) {
        cleanButton->setEnabled(false);
    } else {
        cleanButton->setText(QStringLiteral("Reveal in Finder"));
        cleanButton->setAccessibleName(cleanButton->text());
        cleanButton->setAccessibleDescription(QStringLiteral("Shows the cleaned copies."));
    }
    if (!skipped.empty())
        showSkipped(skipped);
}

void RevealWindowController::showSkipped(const std::vector<std::string>& skipped)
{
    auto* sheet = newAlert(this, QStringLiteral("Some files were skipped"), joined(skipped));
    sheet->setWindowModality(Qt::WindowModal);
    sheet->open();
}

void RevealWindowController::revealCleaned()
{
    if (!cleanedOutputs.empty())
        fileManager.select(cleanedOutputs, [] {});
}

// The panel is modal without an event loop of its own: the window may go while it is open.
void RevealWindowController::saveReport()
{
    auto* panel = new QFileDialog(this);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    panel->setAcceptMode(QFileDialog::AcceptSave);
    panel->setNameFilter(QStringLiteral("Plain text (*.txt)"));
    panel->setDefaultSuffix(QStringLiteral("txt"));
    panel->setDirectory(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
    panel->selectFile(QStringLiteral("Nullprint report.txt"));
    panel->setModal(true);
    connect(panel, &QFileDialog::fileSelected, this, &RevealWindowController::writeReport);
    panel->show();
}

// Whole or not at all; a failure is not told.
void RevealWindowController::writeReport(const QString& file) const
{
    QSaveFile saved(file);
    if (saved.open(QIODevice::WriteOnly))
        writeAndCommit(saved, QByteArray::fromStdString(renderReportText(reports)));
}

void RevealWindowController::closeWindow()
{
    reject();
}

// The title bar, Esc and the button all come by here.
void RevealWindowController::done(int result)
{
    QDialog::done(result);
    if (std::exchange(isClosed, true) || !onClose)
        return;
    onClose();
}

// Without a palette of its own: the style keeps what it draws for each palette that there ever was.
void RevealWindowController::paintEvent(QPaintEvent* event)
{
    QPainter(this).fillRect(event->rect(), Palette::of(QApplication::palette()).background);
}

} // namespace nullprint::app
