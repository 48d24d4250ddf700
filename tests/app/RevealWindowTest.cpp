#include "app/RevealWindow.h"

#include "app/BusySign.h"
#include "app/Palette.h"
#include "app/ReportView.h"
#include "engine/reveal/ReportText.h"
#include "tests/app/Scratch.h"
#include "tests/app/Widgets.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

class RevealWindow : public testing::Test {
protected:
    void open(std::vector<RevealReport> reports)
    {
        window = std::make_unique<RevealWindowController>(std::move(reports), fileManager);
        window->onClean = [this](auto files) { cleans.push_back(files); };
        window->onClose = [this] { ++closed; };
        window->show();
    }

    ReportView& view() { return *window->findChild<ReportView*>(); }
    QString text() { return view().toPlainText(); }
    QAbstractButton& button(const char* text)
    {
        return *buttonOf(*window, QString::fromUtf8(text));
    }
    QMessageBox* sheet() { return window->findChild<QMessageBox*>(); }

    QTextCharFormat formatOf(const char* words)
    {
        const auto cursor = view().document()->find(QString::fromUtf8(words));
        EXPECT_FALSE(cursor.isNull()) << words;
        return cursor.charFormat();
    }

    // What the save panel is answered with.
    void saveAs(const QString& file)
    {
        window->saveReport();
        const QPointer<QFileDialog> panel = window->findChild<QFileDialog*>();
        ASSERT_NE(panel, nullptr);
        panel->selectFile(file);
        panel->setOption(QFileDialog::DontConfirmOverwrite);
        QMetaObject::invokeMethod(panel, "accept");
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    RecordingFileManager fileManager;
    std::vector<std::vector<FileURL>> cleans;
    int closed = 0;
    std::unique_ptr<RevealWindowController> window;
};

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

TEST_F(RevealWindow, isLaidOutByTheMeasures)
{
    open({withFindings("/a.jpg")});
    EXPECT_EQ(window->windowTitle(), QStringLiteral("What’s hidden in these files"));
    EXPECT_EQ(window->size(), QSize(580, 460));
    EXPECT_EQ(window->minimumSize(), QSize(460, 320));
    for (const auto size : {QSize(580, 460), QSize(700, 500)}) {
        window->resize(size);
        QApplication::processEvents();
        const auto w = size.width();
        const auto y = size.height() - 44;
        const auto placeOf = [this](const QWidget& widget) {
            return QRect(widget.mapTo(window.get(), QPoint()), widget.size());
        };
        EXPECT_EQ(placeOf(view()), QRect(0, 0, w, size.height() - 56));
        EXPECT_EQ(placeOf(button("Save Report…")), QRect(16, y, 130, 32));
        EXPECT_EQ(placeOf(button("Close")), QRect(w - 100, y, 88, 32));
        EXPECT_EQ(placeOf(button("Clean Now")), QRect(w - 230, y, 122, 32));
    }
}

TEST_F(RevealWindow, showsEverySectionAsItStands)
{
    open({withFindings("/p/<b>a<i>\nb.jpg"),
          withoutFindings("/p/b.png"),
          unsupported("/p/notes.txt")});
    EXPECT_EQ(text(),
              QString::fromUtf8("<b>a<i>\nb.jpg\nPhoto\n  📍  Location: 52.5, 13.4\n\n"
                                "b.png\nImage\n"
                                "  ✓ No hidden metadata found — nothing to remove.\n\n"
                                "notes.txt\nFile\n  “.txt” isn’t a supported type.\n\n"));
    EXPECT_TRUE(view().isReadOnly());
    EXPECT_EQ(view().textCursor().position(), 0);
}

TEST_F(RevealWindow, hasFontsAndColoursForEachKindOfText)
{
    for (const auto& desktop : {QPalette(), darkDesktopPalette()}) {
        const DesktopPalette used(desktop);
        open({withFindings("/a.jpg"), withoutFindings("/b.png"), unsupported("/c.txt")});
        const auto colors = TextColors::of(desktop);
        const auto expect = [this](const char* words, int pixels, int weight, QColor color) {
            const auto format = formatOf(words);
            EXPECT_EQ(format.font().pixelSize(), pixels) << words;
            EXPECT_EQ(format.font().weight(), weight) << words;
            EXPECT_EQ(format.foreground().color(), color) << words;
        };
        expect("a.jpg", 15, QFont::DemiBold, colors.primary);
        expect("Photo", 11, QFont::Normal, colors.secondary);
        expect("Location: ", 13, QFont::DemiBold, colors.primary);
        expect("52.5, 13.4", 13, QFont::Normal, colors.secondary);
        expect("✓ No hidden", 13, QFont::Normal, colors.green);
        expect("isn’t a supported", 13, QFont::Normal, colors.orange);
        EXPECT_FALSE(formatOf("📍").hasProperty(QTextFormat::ForegroundBrush));
        EXPECT_EQ(formatOf("📍").font().families().first(), QStringLiteral("Noto Color Emoji"));
    }
}

TEST_F(RevealWindow, followsTheDesktopsColoursWhileItIsOpen)
{
    open({unsupported("/c.txt")});
    const auto edge = window->grab().toImage().pixelColor(0, 200);
    EXPECT_EQ(edge, QApplication::palette().color(QPalette::Base));
    const auto barColor = [this] { return window->grab().toImage().pixelColor(300, 430); };
    EXPECT_EQ(barColor(), QColor(250, 245, 236));
    {
        const DesktopPalette used(darkDesktopPalette());
        EXPECT_EQ(barColor(), QColor(43, 38, 32));
        EXPECT_EQ(formatOf("isn’t").foreground().color(),
                  TextColors::of(darkDesktopPalette()).orange);
    }
    EXPECT_EQ(barColor(), QColor(250, 245, 236));
    EXPECT_EQ(formatOf("isn’t").foreground().color(), TextColors::of(QPalette()).orange);
}

TEST_F(RevealWindow, textLooksLikeNothingToEdit)
{
    open({withFindings("/a.jpg"), withoutFindings("/b.png")});
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    button("Close").setFocus();
    const auto before = view().grab().toImage();
    view().setFocus();
    QTest::keyClick(&view(), Qt::Key_Down);
    EXPECT_TRUE(view().hasFocus());
    EXPECT_EQ(view().grab().toImage(), before);
    QTest::keyClick(&view(), Qt::Key_X);
    QTest::keySequence(&view(), QKeySequence::Paste);
    EXPECT_TRUE(text().startsWith(QStringLiteral("a.jpg\nPhoto\n")));
}

TEST_F(RevealWindow, textIsSelectedAndCopiedByTheKeyboard)
{
    open({withFindings("/a.jpg")});
    view().setFocus();
    QTest::keyClick(&view(), Qt::Key_Down, Qt::ShiftModifier);
    EXPECT_EQ(view().textCursor().selectedText(), QStringLiteral("a.jpg\u2029"));
    QTest::keySequence(&view(), QKeySequence::SelectAll);
    QTest::keySequence(&view(), QKeySequence::Copy);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), text());
    QGuiApplication::clipboard()->clear();
}

TEST_F(RevealWindow, keysScrollTheTextAndGoOnFromWhereItIs)
{
    open(std::vector(200, withFindings("/a.jpg")));
    ASSERT_TRUE(QTest::qWaitFor([this] { return view().isComplete(); }, 60000));
    auto* bar = view().verticalScrollBar();
    const auto lineOfCursor = [this] { return view().textCursor().blockNumber(); };
    QTest::keyClick(&view(), Qt::Key_Down);
    QTest::keyClick(&view(), Qt::Key_Down);
    EXPECT_EQ(bar->value(), 2);
    EXPECT_EQ(lineOfCursor(), 2); // Which a screen reader reads.
    bar->setValue(100);
    QTest::keyClick(&view(), Qt::Key_Down);
    EXPECT_EQ(bar->value(), 101);
    EXPECT_EQ(lineOfCursor(), 101);
    QTest::keyClick(&view(), Qt::Key_Up);
    EXPECT_EQ(bar->value(), 100);
    QTest::keyClick(&view(), Qt::Key_PageDown);
    EXPECT_GT(bar->value(), 105);
    EXPECT_LT(bar->value(), 130);
    QTest::keyClick(&view(), Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(bar->value(), bar->maximum());
    QTest::keyClick(&view(), Qt::Key_Home, Qt::ControlModifier);
    EXPECT_EQ(bar->value(), 0);
    EXPECT_FALSE(view().textCursor().hasSelection());
}

TEST_F(RevealWindow, offersCleaningOnlyWhereSomethingWasFound)
{
    open({unsupported("/a.txt"), unsupported("/b.txt")});
    EXPECT_FALSE(button("Clean Now").isEnabled());
    open({withoutFindings("/a.png")});
    EXPECT_FALSE(button("Clean Now").isEnabled());
    QTest::keyClick(&view(), Qt::Key_Return);
    EXPECT_TRUE(cleans.empty());
    open({unsupported("/a.txt"), withFindings("/b.jpg")});
    EXPECT_TRUE(button("Clean Now").isEnabled());
}

TEST_F(RevealWindow, cleansEveryFileWithoutANote)
{
    open({withoutFindings("/a.png"), unsupported("/b.txt"), withFindings("/c \xFF.jpg")});
    EXPECT_FALSE(window->findChild<BusySign*>()->isVisible());
    button("Clean Now").click();
    ASSERT_EQ(cleans.size(), 1U);
    EXPECT_EQ(pathsOf(cleans[0]), (std::vector<std::string>{"/a.png", "/c \xFF.jpg"}));
    EXPECT_FALSE(button("Clean Now").isEnabled());
    EXPECT_TRUE(window->findChild<BusySign*>()->isVisible());
    window->showCleanResult({}, {});
    EXPECT_FALSE(window->findChild<BusySign*>()->isVisible());
}

TEST_F(RevealWindow, cleansNothingWhenItMayNot)
{
    open({withFindings("/a.jpg")});
    window->canClean = [] { return false; };
    button("Clean Now").click();
    EXPECT_TRUE(cleans.empty());
    EXPECT_TRUE(button("Clean Now").isEnabled());
    open({unsupported("/a.txt")});
    window->cleanNow();
    EXPECT_TRUE(cleans.empty());
}

TEST_F(RevealWindow, returnIsCleanNowOnce)
{
    open({withFindings("/a.jpg")});
    auto& clean = dynamic_cast<QPushButton&>(button("Clean Now"));
    EXPECT_TRUE(clean.isDefault());
    view().setFocus();
    QTest::keyClick(&view(), Qt::Key_Return);
    EXPECT_EQ(cleans.size(), 1U);
    QTest::keyClick(&view(), Qt::Key_Return);
    window->showCleanResult({FileURL::fromPath("/a (scrubbed).jpg")}, {});
    QTest::keyClick(&view(), Qt::Key_Return);
    QTest::keyClick(&view(), Qt::Key_Enter);
    EXPECT_EQ(cleans.size(), 1U);
    EXPECT_TRUE(fileManager.selected.empty());
    EXPECT_EQ(closed, 0);
}

TEST_F(RevealWindow, tellsHowManyCopiesThereAre)
{
    open({withFindings("/a.jpg")});
    window->cleanNow();
    const auto before = text();
    window->showCleanResult({FileURL::fromPath("/a (scrubbed).jpg")}, {});
    EXPECT_EQ(text(),
              before + QString::fromUtf8("✓ Cleaned 1 file. Saved next to the originals with “ "
                                         "(scrubbed)” in the name.\n"));
    EXPECT_EQ(formatOf("✓ Cleaned 1").font().weight(), QFont::DemiBold);
    EXPECT_EQ(formatOf("✓ Cleaned 1").foreground().color(), TextColors::of(QPalette()).green);
    EXPECT_EQ(formatOf("Saved next").font().pixelSize(), 11);
    EXPECT_EQ(view().textCursor().position(), 0);
    EXPECT_EQ(sheet(), nullptr);
    window->showCleanResult({FileURL::fromPath("/a"), FileURL::fromPath("/b")}, {});
    EXPECT_TRUE(text().contains(QString::fromUtf8("✓ Cleaned 2 files. ")));
}

// Also where the text is written at once, and where its lines are wrapped.
TEST_F(RevealWindow, showsHowManyCopiesThereAreHoweverLongTheReport)
{
    for (const std::size_t count : {1U, 10U, 50U, 200U}) {
        auto report = withFindings("/a.jpg");
        report.items.resize(4, report.items[0]);
        report.items[1].detail = std::string(count * 20, 'x');
        open(std::vector(count, report));
        ASSERT_TRUE(QTest::qWaitFor([this] { return view().isComplete(); }, 60000));
        EXPECT_EQ(view().verticalScrollBar()->value(), 0);
        window->cleanNow();
        window->showCleanResult(std::vector(count, FileURL::fromPath("/a (scrubbed).jpg")), {});
        ASSERT_TRUE(QTest::qWaitFor([this] { return view().isComplete(); }, 60000));
        QApplication::processEvents();
        const auto summary = view().document()->find(QString::fromUtf8("“ (scrubbed)” in"));
        ASSERT_FALSE(summary.isNull());
        EXPECT_TRUE(view().viewport()->rect().contains(view().cursorRect(summary))) << count;
        EXPECT_EQ(view().textCursor().position(), 0);
    }
}

TEST_F(RevealWindow, buttonForTheCopiesStaysDisabled)
{
    open({withFindings("/a.jpg")});
    window->cleanNow();
    window->showCleanResult({FileURL::fromPath("/a (scrubbed).jpg")}, {});
    EXPECT_FALSE(button("Reveal in Finder").isEnabled());
    window->revealCleaned();
    ASSERT_EQ(fileManager.selected.size(), 1U);
    EXPECT_EQ(pathsOf(fileManager.selected[0]), std::vector<std::string>{"/a (scrubbed).jpg"});
}

TEST_F(RevealWindow, buttonOfAFruitlessCleanKeepsItsNameAndIsDisabled)
{
    open({withFindings("/a.jpg")});
    const auto before = text();
    window->showCleanResult({}, {"• a.jpg — No."});
    EXPECT_FALSE(button("Clean Now").isEnabled());
    EXPECT_EQ(text(), before);
    window->revealCleaned();
    EXPECT_TRUE(fileManager.selected.empty());
}

TEST_F(RevealWindow, namesSkippedFilesAsTheyStand)
{
    open({withFindings("/a.jpg")});
    window->showCleanResult({}, {"• <b>a</b>.doc — One.", "• b.txt — Two."});
    ASSERT_NE(sheet(), nullptr);
    EXPECT_TRUE(sheet()->isVisible());
    EXPECT_EQ(sheet()->windowModality(), Qt::WindowModal);
    EXPECT_EQ(sheet()->text(), QStringLiteral("Some files were skipped"));
    EXPECT_EQ(sheet()->informativeText(),
              QString::fromUtf8("• <b>a</b>.doc — One.\n• b.txt — Two."));
    for (const auto* label : sheet()->findChildren<QLabel*>())
        EXPECT_TRUE(label->text().isEmpty() || label->textFormat() == Qt::PlainText);
    ASSERT_EQ(sheet()->buttons().size(), 1);
    EXPECT_EQ(sheet()->buttons().first()->text(), QStringLiteral("OK"));
    QTest::keyClick(sheet(), Qt::Key_Return);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_EQ(closed, 0);
}

TEST_F(RevealWindow, sheetStaysSmallHoweverManyWereSkipped)
{
    open({withFindings("/a.jpg")});
    window->showCleanResult({}, std::vector<std::string>(5000, "• " + std::string(250, 'n')));
    QApplication::processEvents();
    EXPECT_LT(sheet()->width(), 700);
    EXPECT_LT(sheet()->height(), 500);
    const auto* lines = sheet()->findChild<QPlainTextEdit*>();
    ASSERT_NE(lines, nullptr);
    EXPECT_TRUE(lines->isVisible());
    EXPECT_EQ(lines->toPlainText(), sheet()->informativeText());
}

TEST_F(RevealWindow, sheetLeavesNoDotAloneHoweverLongTheName)
{
    for (std::size_t length = 20; length < 100; ++length) {
        const auto name = std::string(length, 'n') + ".jpg";
        open({withFindings("/a.jpg")});
        window->showCleanResult({}, {"• " + name + " — It is no picture.", "• b.txt — No."});
        QApplication::processEvents();
        if (const auto* lines = sheet()->findChild<QPlainTextEdit*>()) {
            EXPECT_GT(lines->document()->firstBlock().layout()->lineAt(0).textLength(), 20);
            EXPECT_EQ(lines->toPlainText(), sheet()->informativeText());
        } else {
            const auto* label =
                sheet()->findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel"));
            const auto dotAndName = QString::fromStdString("• " + name);
            EXPECT_GE(label->width(), label->fontMetrics().horizontalAdvance(dotAndName)) << length;
        }
    }
}

TEST_F(RevealWindow, tellsOfClosingOnceWhateverTheWay)
{
    open({withFindings("/a.jpg")});
    button("Close").click();
    EXPECT_EQ(closed, 1);
    EXPECT_FALSE(window->isVisible());
    window->close();
    EXPECT_EQ(closed, 1);
    open({withFindings("/a.jpg")});
    window->close(); // As the title bar does.
    EXPECT_EQ(closed, 2);
    open({withFindings("/a.jpg")});
    QTest::keyClick(window.get(), Qt::Key_Escape);
    EXPECT_EQ(closed, 3);
}

TEST_F(RevealWindow, savesTheReportByteForByte)
{
    const QTemporaryDir folder;
    const std::vector reports{withFindings("/p/é.jpg"), unsupported("/p/b.txt")};
    open(reports);
    const auto file = folder.filePath(QStringLiteral("report.txt"));
    saveAs(file);
    EXPECT_EQ(contentOf(file), QByteArray::fromStdString(renderReportText(reports)));
    QFile(file).resize(3);
    saveAs(file);
    EXPECT_EQ(contentOf(file), QByteArray::fromStdString(renderReportText(reports)));
}

TEST_F(RevealWindow, suggestsANameAndSavesNothingUnasked)
{
    const QTemporaryDir folder;
    open({withFindings("/a.jpg")});
    window->saveReport();
    auto* panel = window->findChild<QFileDialog*>();
    ASSERT_NE(panel, nullptr);
    EXPECT_EQ(panel->acceptMode(), QFileDialog::AcceptSave);
    EXPECT_TRUE(panel->isModal());
    EXPECT_EQ(QFileInfo(panel->selectedFiles().value(0)).fileName(),
              QStringLiteral("Nullprint report.txt"));
    panel->setDirectory(folder.path());
    panel->reject();
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
}

TEST_F(RevealWindow, isSilentWhenTheReportCannotBeSaved)
{
    const QTemporaryDir folder;
    open({withFindings("/a.jpg")});
    const auto missing = folder.filePath(QStringLiteral("gone"));
    QDir().mkdir(missing);
    window->saveReport();
    auto* panel = window->findChild<QFileDialog*>();
    ASSERT_NE(panel, nullptr);
    QDir().rmdir(missing);
    emit panel->fileSelected(missing + QStringLiteral("/report.txt"));
    panel->reject();
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
    EXPECT_EQ(sheet(), nullptr);
    EXPECT_TRUE(window->isVisible());
}

TEST_F(RevealWindow, keepsTheOldReportWhenTheDiskIsFull)
{
    const QTemporaryDir folder;
    open({withFindings("/a.jpg")});
    const auto file = folder.filePath(QStringLiteral("report.txt"));
    saveAs(file);
    const auto before = contentOf(file);
    ASSERT_TRUE(before.contains("Location"));
    open({withFindings("/b.jpg")});
    {
        const FullDisk full;
        saveAs(file);
    }
    EXPECT_EQ(contentOf(file), before);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

TEST_F(RevealWindow, leavesNothingOfItsOwnInTheStylesCache)
{
    // What the style keeps for a palette is never asked for again once the palette is gone.
    const auto paletteOfScrollBar = [this] {
        open({withFindings("/a.jpg")});
        return view().verticalScrollBar()->palette().cacheKey();
    };
    const auto first = paletteOfScrollBar();
    EXPECT_EQ(paletteOfScrollBar(), first);
}

TEST_F(RevealWindow, thousandsOfFilesArriveInSlices)
{
    open(std::vector(10000, withFindings("/p/a.jpg")));
    EXPECT_FALSE(view().isComplete());
    EXPECT_TRUE(text().startsWith(QString::fromUtf8("a.jpg\nPhoto\n  📍  Location: ")));
    ASSERT_TRUE(QTest::qWaitFor([this] { return view().isComplete(); }, 60000));
    EXPECT_EQ(view().document()->blockCount(), 10000 * 4 + 1);
    EXPECT_EQ(view().textCursor().position(), 0);
    EXPECT_EQ(view().verticalScrollBar()->value(), 0);
}

TEST_F(RevealWindow, aResultWhileSlicesArriveIsShownAtTheEnd)
{
    open(std::vector(3000, withFindings("/p/a.jpg")));
    window->showCleanResult({FileURL::fromPath("/a")}, {});
    ASSERT_TRUE(QTest::qWaitFor([this] { return view().isComplete(); }, 60000));
    EXPECT_EQ(view().document()->blockCount(), 3000 * 4 + 2);
    EXPECT_TRUE(text().endsWith(QString::fromUtf8("(scrubbed)” in the name.\n")));
    auto* bar = view().verticalScrollBar();
    EXPECT_EQ(bar->value(), bar->maximum());
}

TEST_F(RevealWindow, anEndlessDetailIsShownInParagraphs)
{
    auto report = withFindings("/a.jpg");
    report.items[0].detail = std::string(1000000, 'x');
    open({report});
    ASSERT_TRUE(QTest::qWaitFor([this] { return view().isComplete(); }, 60000));
    EXPECT_EQ(text().count(u'x'), 1000000);
    EXPECT_EQ(view().document()->blockCount(), 2 + 500 + 3);
}

TEST_F(RevealWindow, copiesAnEndlessDetailInOnePiece)
{
    auto report = withFindings("/a.jpg");
    report.items[0].detail = "one\n";
    for (int i = 0; i < 3000; ++i)
        report.items[0].detail += i % 7 == 0 ? "🏔" : std::to_string(i % 10);
    open({report, withFindings("/b.jpg")});
    ASSERT_TRUE(QTest::qWaitFor([this] { return view().isComplete(); }, 60000));
    ASSERT_GT(view().document()->blockCount(), 5 + 5);
    const auto copied = [this] {
        view().copy();
        return QApplication::clipboard()->text().toStdString();
    };
    view().selectAll();
    const auto whole = "a.jpg\nPhoto\n  📍  Location: " + report.items[0].detail +
                       "\n\nb.jpg\nPhoto\n  📍  Location: 52.5, 13.4\n\n";
    EXPECT_EQ(copied(), whole);
    const auto placeOf = [this](const char* words) {
        return view().document()->find(QString::fromUtf8(words)).selectionStart();
    };
    // From within the first piece into the last.
    auto cursor = view().textCursor();
    cursor.setPosition(placeOf("one") + 1);
    cursor.setPosition(placeOf("b.jpg") + 2, QTextCursor::KeepAnchor);
    view().setTextCursor(cursor);
    EXPECT_EQ(copied(),
              whole.substr(whole.find("one") + 1, whole.find("b.jpg") - whole.find("one") + 1));
    // One piece alone has its fonts, too.
    cursor.setPosition(placeOf("b.jpg"));
    cursor.setPosition(cursor.position() + 8, QTextCursor::KeepAnchor);
    view().setTextCursor(cursor);
    EXPECT_EQ(copied(), "b.jpg\nPh");
    EXPECT_TRUE(QApplication::clipboard()->mimeData()->hasHtml());
}

} // namespace
} // namespace nullprint::app
