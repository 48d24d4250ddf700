#include "app/DropWindow.h"

#include "app/Palette.h"
#include "tests/app/Widgets.h"

#include <QAccessible>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QTest>

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

class DropWindow : public testing::Test {
protected:
    DropWindow() { controller.show(); }

    DropView& view() { return controller.view(); }
    QWidget& window() { return controller.window(); }

    bool enter(const QMimeData& data, Qt::DropActions offered = Qt::CopyAction | Qt::MoveAction)
    {
        QDragEnterEvent event({190, 140}, offered, &data, Qt::LeftButton, Qt::NoModifier);
        event.ignore();
        QApplication::sendEvent(&view(), &event);
        lastAction = event.dropAction();
        return event.isAccepted();
    }

    bool drop(const QMimeData& data)
    {
        QDropEvent event({190, 140}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        event.ignore();
        QApplication::sendEvent(&view(), &event);
        return event.isAccepted();
    }

    QColor pixel(QPoint place) { return view().grab().toImage().pixelColor(place); }

    std::vector<std::vector<FileURL>> drops;
    DropWindowController controller{[this](auto files) { drops.push_back(files); }};
    Qt::DropAction lastAction = Qt::IgnoreAction;
};

void setLinks(QMimeData& data, const QByteArray& links)
{
    data.setData(QStringLiteral("text/uri-list"), links);
}

TEST_F(DropWindow, hasOneSizeAndAName)
{
    EXPECT_EQ(window().size(), QSize(380, 280));
    EXPECT_EQ(window().minimumSize(), window().maximumSize());
    EXPECT_EQ(view().geometry(), QRect(0, 0, 380, 280));
    EXPECT_EQ(window().windowTitle(), QStringLiteral("Nullprint"));
    EXPECT_TRUE(window().windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
    EXPECT_TRUE(window().windowFlags().testFlag(Qt::WindowCloseButtonHint));
    EXPECT_FALSE(window().windowFlags().testFlag(Qt::WindowMaximizeButtonHint));
}

TEST_F(DropWindow, passesEveryFileOnInItsOrder)
{
    QMimeData data;
    setLinks(data, "file:///b.txt\r\nfile:///a%20%FF.jpg\r\nhttps://example.org/c\r\n");
    EXPECT_TRUE(enter(data));
    EXPECT_EQ(lastAction, Qt::CopyAction);
    EXPECT_TRUE(view().isHighlighted());
    EXPECT_TRUE(drop(data));
    EXPECT_FALSE(view().isHighlighted());
    ASSERT_EQ(drops.size(), 1U);
    EXPECT_EQ(pathsOf(drops[0]), (std::vector<std::string>{"/b.txt", "/a \xFF.jpg"}));
}

TEST_F(DropWindow, refusesWhatHoldsNoFile)
{
    QMimeData text;
    text.setText(QStringLiteral("file:///a"));
    EXPECT_FALSE(enter(text));
    EXPECT_FALSE(view().isHighlighted());
    EXPECT_FALSE(drop(text));
    QMimeData link;
    setLinks(link, "https://example.org/\r\n");
    EXPECT_TRUE(enter(link));
    EXPECT_FALSE(drop(link));
    EXPECT_FALSE(view().isHighlighted());
    EXPECT_TRUE(drops.empty());
}

TEST_F(DropWindow, neverTakesFilesAway)
{
    QMimeData data;
    setLinks(data, "file:///a\r\n");
    EXPECT_FALSE(enter(data, Qt::MoveAction));
}

TEST_F(DropWindow, losesItsHighlightWithTheDrag)
{
    QMimeData data;
    setLinks(data, "file:///a\r\n");
    EXPECT_TRUE(enter(data));
    QDragLeaveEvent leave;
    QApplication::sendEvent(&view(), &leave);
    EXPECT_FALSE(view().isHighlighted());
    EXPECT_TRUE(enter(data));
    window().close();
    EXPECT_FALSE(view().isHighlighted());
    EXPECT_TRUE(drops.empty());
}

TEST_F(DropWindow, takesWhatIsPasted)
{
    auto* copied = new QMimeData;
    setLinks(*copied, "file:///b.txt\r\nfile:///a.jpg\r\n");
    QGuiApplication::clipboard()->setMimeData(copied);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window()));
    EXPECT_TRUE(view().hasFocus());
    QTest::keySequence(&view(), QKeySequence::Paste);
    ASSERT_EQ(drops.size(), 1U);
    EXPECT_EQ(pathsOf(drops[0]), (std::vector<std::string>{"/b.txt", "/a.jpg"}));
    QGuiApplication::clipboard()->setText(QStringLiteral("file:///c"));
    QTest::keySequence(&view(), QKeySequence::Paste);
    EXPECT_EQ(drops.size(), 1U);
    QGuiApplication::clipboard()->clear();
}

TEST_F(DropWindow, isSomethingToAssistiveTechnology)
{
    const auto* around = QAccessible::queryAccessibleInterface(&window());
    EXPECT_EQ(around->role(), QAccessible::Dialog);
    EXPECT_EQ(around->text(QAccessible::Name), QStringLiteral("Nullprint"));
    ASSERT_EQ(around->childCount(), 1);
    auto* inside = around->child(0);
    EXPECT_EQ(inside->role(), QAccessible::Grouping);
    EXPECT_EQ(inside->text(QAccessible::Name), QStringLiteral("Drop files here to scrub"));
    EXPECT_EQ(inside->text(QAccessible::Description),
              QStringLiteral("Files that are dropped or pasted here are checked for hidden data."));
    EXPECT_TRUE(inside->state().focusable);
    controller.updateStatus(2, 0);
    EXPECT_EQ(inside->text(QAccessible::Name), QStringLiteral("Cleaned 2"));
}

TEST_F(DropWindow, isDrawnInThePalettesColours)
{
    for (const auto& desktop : {QPalette(), darkDesktopPalette()}) {
        const DesktopPalette used(desktop);
        const auto palette = Palette::of(desktop);
        EXPECT_EQ(pixel({2, 2}), palette.background);
        EXPECT_EQ(pixel({100, 24}), pixel({100, 23})); // The line is two wide on the inset.
        QMimeData data;
        setLinks(data, "file:///a\r\n");
        const auto countOf = [this](const QColor& color) {
            int count = 0;
            const auto picture = view().grab().toImage();
            for (int x = 45; x < 335; ++x)
                count += picture.pixelColor(x, 24) == color ? 1 : 0;
            return count;
        };
        const auto idle = countOf(palette.border);
        EXPECT_NEAR(idle, 290 * 8 / 14, 14);
        EXPECT_EQ(countOf(palette.accent), 0);
        ASSERT_TRUE(enter(data));
        EXPECT_EQ(countOf(palette.border), 0);
        EXPECT_NEAR(countOf(palette.accent), idle, 2);
        QDragLeaveEvent leave;
        QApplication::sendEvent(&view(), &leave);
    }
}

TEST_F(DropWindow, hasItsSymbolAboveTheMiddle)
{
    const auto picture = view().grab().toImage();
    const auto background = picture.pixelColor(2, 2);
    QRect drawn;
    for (int y = 40; y < 139; ++y) {
        for (int x = 60; x < 320; ++x) {
            if (picture.pixelColor(x, y) != background)
                drawn |= QRect(x, y, 1, 1);
        }
    }
    EXPECT_NEAR(drawn.center().x(), 190, 1);
    EXPECT_NEAR(drawn.bottom(), 135, 2);
    EXPECT_NEAR(drawn.height(), 52, 3);
}

TEST_F(DropWindow, tellsWhatWasDone)
{
    EXPECT_EQ(view().statusText(), QStringLiteral("Drop files here to scrub"));
    controller.updateStatus(3, 1);
    EXPECT_EQ(view().statusText(), QStringLiteral("Cleaned 3, skipped 1"));
    controller.updateStatus(1, 0);
    EXPECT_EQ(view().statusText(), QStringLiteral("Cleaned 1"));
    controller.updateStatus(0, 4);
    EXPECT_EQ(view().statusText(), QStringLiteral("skipped 4"));
    window().close();
    controller.show();
    EXPECT_EQ(view().statusText(), QStringLiteral("skipped 4"));
    controller.updateStatus(0, 0);
    EXPECT_EQ(view().statusText(), QStringLiteral("Drop files here to scrub"));
}

} // namespace
} // namespace nullprint::app
