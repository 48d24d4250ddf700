// Writes pictures of the windows, light and dark, into the folder given. QT_SCALE_FACTOR=2 makes
// those for fine displays.
#include "app/DropWindow.h"
#include "app/Palette.h"
#include "app/PopoverView.h"
#include "app/RevealWindow.h"
#include "app/platform/Popover.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QEventLoop>
#include <QMessageBox>
#include <QMimeData>
#include <QTimer>

#include <cstdio>

namespace nullprint::app {
namespace {

class NoFileManager : public FileManager {
public:
    void select(const std::vector<FileURL>&, std::function<void()>) override {}
};

struct Folder {
    QString path;
    QString appearance;

    void save(QWidget& window, const QString& name) const
    {
        QApplication::processEvents();
        const auto picture = window.grab();
        const auto scale = picture.devicePixelRatioF() > 1 ? QStringLiteral("@2x") : QString();
        const auto file = path + u'/' + name + u'-' + appearance + scale + QStringLiteral(".png");
        if (!picture.save(file))
            std::fprintf(stderr, "%s cannot be written.\n", qPrintable(file));
    }
};

std::vector<RevealReport> sampleReports()
{
    return {
        {FileURL::fromPath("/p/Balcony in June.heic"),
         "Photo",
         {{"📍", "Location", "GPS 52.52000, 13.40500 — where the photo was taken"},
          {"📷", "Camera / device", "Phone 12"},
          {"🕒", "Date taken", "2026:06:14 18:32:07"},
          {"🛠", "Edited with", "Darkroom 7.1"}},
         std::nullopt},
        {FileURL::fromPath("/p/Offer (final).docx"),
         "Word document",
         {{"👤", "Author", "Maria Weber"},
          {"✏️", "Last edited by", "J. Novak"},
          {"💬", "Other editors (comments / tracked changes)", "Legal, Maria Weber"}},
         std::nullopt},
        {FileURL::fromPath("/p/scan.png"), "Image", {}, std::nullopt},
        {FileURL::fromPath("/p/notes.txt"),
         "File",
         {},
         "“.txt” isn’t a supported type (images, PDF, Word/Excel/PowerPoint)."},
    };
}

void writePanel(const Folder& folder)
{
    UIModel model;
    Popover panel(new PopoverView(model, {[] {}, [] {}, [] {}, [](bool) {}}));
    panel.open({}, false);
    folder.save(panel, QStringLiteral("panel-new"));
    panel.close();
    model.setFilesChecked(12);
    model.setFilesCleaned(5);
    model.setLastCleanText(QStringLiteral("2026-03-02 09:05"));
    model.setLoginOn(true);
    panel.open({}, false);
    QEventLoop wait;
    QTimer::singleShot(300, &wait, &QEventLoop::quit);
    wait.exec();
    folder.save(panel, QStringLiteral("panel"));
}

void writeDropWindow(const Folder& folder)
{
    DropWindowController controller([](auto) {});
    controller.show();
    folder.save(controller.window(), QStringLiteral("drop"));
    QMimeData files;
    files.setData(QStringLiteral("text/uri-list"), "file:///p/scan.png\r\n");
    QDragEnterEvent enter({190, 140}, Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&controller.view(), &enter);
    folder.save(controller.window(), QStringLiteral("drop-hovered"));
}

void writeRevealWindow(const Folder& folder)
{
    NoFileManager fileManager;
    RevealWindowController window(sampleReports(), fileManager);
    window.show();
    folder.save(window, QStringLiteral("reveal"));
    window.onClean = [](auto) {};
    window.cleanNow();
    folder.save(window, QStringLiteral("reveal-cleaning"));
    window.showCleanResult({FileURL::fromPath("/p/a"), FileURL::fromPath("/p/b")},
                           {"• Offer (final).docx — The document could not be read. Is it damaged "
                            "or locked with a password?"});
    folder.save(window, QStringLiteral("reveal-cleaned"));
    folder.save(*window.findChild<QMessageBox*>(), QStringLiteral("reveal-skipped"));
}

void writeAll(const Folder& folder)
{
    writePanel(folder);
    writeDropWindow(folder);
    writeRevealWindow(folder);
}

} // namespace
} // namespace nullprint::app

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: nullprint-screenshots FOLDER\n");
        return 1;
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-bounds-pointer-arithmetic): a program's words.
    const auto folder = QString::fromLocal8Bit(argv[1]);
    const QApplication application(argc, argv);
    using namespace nullprint::app;
    writeAll({folder, QStringLiteral("light")});
    QApplication::setPalette(darkDesktopPalette());
    writeAll({folder, QStringLiteral("dark")});
}
