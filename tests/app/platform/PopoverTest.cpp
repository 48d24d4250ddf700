#include "app/platform/Popover.h"

#include "app/PopoverView.h"
#include "tests/app/Waiting.h"

#include <QLabel>
#include <QPushButton>
#include <QScreen>

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

using tests::comesTrue;
using tests::letPass;

constexpr QSize size(300, 400);
const QRect screen(0, 30, 1920, 1050);

TEST(PopoverPlace, isBesideTheIcon)
{
    const auto below = popoverPlace(size, {960, 4, 24, 24}, screen);
    EXPECT_GE(below.top(), 30);
    EXPECT_NEAR(below.center().x(), 971, 1);
    const auto above = popoverPlace(size, {960, 1050, 24, 24}, screen);
    EXPECT_LT(above.bottom(), 1050);
    EXPECT_GE(above.bottom(), 1040);
    EXPECT_EQ(above.size(), size);
}

TEST(PopoverPlace, staysOnTheScreen)
{
    for (const QPoint corner :
         {QPoint(0, 0), QPoint(1919, 0), QPoint(0, 1079), QPoint(1919, 1079)}) {
        const auto place = popoverPlace(size, {corner, QSize(1, 1)}, screen);
        EXPECT_TRUE(screen.contains(place)) << corner.x() << "," << corner.y();
    }
    const QRect second(1920, 0, 800, 600);
    EXPECT_TRUE(second.contains(popoverPlace(size, {2700, 590, 10, 10}, second)));
}

TEST(PopoverPlace, showsTheBeginningOfWhatIsTooLarge)
{
    const auto place = popoverPlace({3000, 3000}, {960, 4, 24, 24}, screen);
    EXPECT_EQ(place.topLeft(), screen.topLeft());
}

TEST(Popover, hasTheSizeOfItsContent)
{
    auto* content = new QLabel;
    content->setFixedSize(210, 95);
    Popover popover(content);
    popover.open(QRect(100, 0, 20, 20), false);
    EXPECT_EQ(popover.size(), QSize(210, 95));
    content->setFixedSize(210, 140);
    // The content tells the scroll area, which tells the panel: each in an event of its own.
    EXPECT_TRUE(comesTrue([&popover] { return popover.size() == QSize(210, 140); }));
}

testing::AssertionResult showsAllText(const QWidget& window)
{
    for (const auto* label : window.findChildren<QLabel*>()) {
        const int needed =
            label->wordWrap() ? label->heightForWidth(label->width()) : label->sizeHint().height();
        if (label->height() < needed || !window.rect().contains(label->mapTo(&window, QPoint())))
            return testing::AssertionFailure() << label->text().toStdString() << " has "
                                               << label->height() << " of " << needed << " pixels";
    }
    return testing::AssertionSuccess();
}

TEST(Popover, showsAllTextWheneverItsNumbersChange)
{
    UIModel model;
    Popover popover(new PopoverView(model, {[] {}, [] {}, [] {}, [](bool) {}}));
    for (const bool asWindow : {false, true}) {
        popover.open({}, asWindow);
        EXPECT_TRUE(showsAllText(popover));
        popover.close();
        model.setFilesChecked(std::numeric_limits<qint64>::max());
        model.setFilesCleaned(std::numeric_limits<qint64>::max() - 1);
        model.setLastCleanText(QStringLiteral("2026-03-02 09:05"));
        popover.open({}, asWindow);
        EXPECT_TRUE(showsAllText(popover));
        model.setFilesCleaned(5);
        model.setFilesChecked(12);
        EXPECT_TRUE(comesTrue([&popover] { return bool(showsAllText(popover)); }));
        popover.close();
        model.setLastCleanText(QStringLiteral("never"));
    }
}

TEST(Popover, tellsTheClickThatClosedIt)
{
    Popover popover(new QLabel(QStringLiteral("text")));
    EXPECT_FALSE(popover.wasJustClosed());
    popover.open(QRect(100, 0, 20, 20), false);
    EXPECT_FALSE(popover.wasJustClosed());
    popover.close(); // As the grab of a popup does.
    EXPECT_TRUE(popover.wasJustClosed());
    letPass(300);
    EXPECT_FALSE(popover.wasJustClosed());
}

TEST(Popover, forgetsBeingClosedOnPurpose)
{
    Popover popover(new QLabel(QStringLiteral("text")));
    popover.open({}, false);
    popover.performClose();
    EXPECT_FALSE(popover.isVisible());
    EXPECT_FALSE(popover.wasJustClosed());
    popover.open({}, false);
    QTest::keyClick(&popover, Qt::Key_Escape);
    EXPECT_FALSE(popover.isVisible());
    EXPECT_FALSE(popover.wasJustClosed());
}

// As on Wayland, where it has no grab.
struct ToolPopover : Popover {
    ToolPopover()
        : Popover(new QLabel(QStringLiteral("text")))
    {
        setWindowFlags(Qt::Tool);
        move(300, 300); // Away from the pointer.
        show();
        letPass(); // Until it is active.
    }

    void happens(QEvent::Type type)
    {
        QEvent event(type);
        QCoreApplication::sendEvent(this, &event);
    }
};

TEST(Popover, staysOpenWhileThePointerIsOnItsWay)
{
    ToolPopover popover;
    popover.happens(QEvent::WindowDeactivate);
    EXPECT_TRUE(popover.isVisible());
    popover.happens(QEvent::Enter);
    popover.happens(QEvent::WindowActivate);
    EXPECT_TRUE(popover.isVisible());
    popover.happens(QEvent::WindowDeactivate);
    EXPECT_FALSE(popover.isVisible());
    EXPECT_TRUE(popover.wasJustClosed());
    popover.show();
    popover.happens(QEvent::WindowDeactivate);
    EXPECT_TRUE(popover.isVisible());
}

TEST(Popover, closesWhenThePointerNeverComes)
{
    ToolPopover popover;
    popover.happens(QEvent::WindowDeactivate);
    EXPECT_TRUE(comesTrue([&] { return !popover.isVisible(); }));
}

TEST(Popover, isAnOrdinaryWindowWithoutATray)
{
    Popover popover(new QLabel(QStringLiteral("text")));
    popover.open({}, true);
    EXPECT_EQ(popover.windowType(), Qt::Window);
    EXPECT_EQ(popover.windowTitle(), QStringLiteral("Nullprint"));
    popover.close();
    EXPECT_FALSE(popover.wasJustClosed());
    popover.open({}, false);
    EXPECT_EQ(popover.windowType(), Qt::Popup);
}

TEST(Popover, scrollsWhatIsHigherThanTheScreen)
{
    const auto screenArea = QGuiApplication::primaryScreen()->availableGeometry();
    auto* content = new QWidget;
    content->setFixedSize(300, 3000);
    auto* first = new QPushButton(content);
    auto* last = new QPushButton(content);
    last->move(0, 2900);
    Popover popover(content);
    for (const bool asWindow : {false, true}) {
        popover.open(QRect(400, 0, 20, 20), asWindow);
        EXPECT_LE(popover.height(), screenArea.height());
        EXPECT_GT(popover.height(), screenArea.height() - 80);
        EXPECT_EQ(content->visibleRegion().boundingRect().width(), 300);
        first->setFocus();
        EXPECT_TRUE(last->visibleRegion().isEmpty());
        QTest::keyClick(first, Qt::Key_Tab);
        EXPECT_EQ(popover.focusWidget(), last);
        EXPECT_FALSE(last->visibleRegion().isEmpty());
        popover.close();
    }
    content->setFixedSize(300, 200);
    popover.open(QRect(400, 0, 20, 20), false);
    EXPECT_EQ(popover.size(), QSize(300, 200));
}

TEST(Popover, keepsItsPlaceAsAWindow)
{
    auto* content = new QLabel;
    content->setFixedSize(200, 100);
    Popover popover(content);
    popover.open(QRect(100, 0, 20, 20), false);
    popover.close();
    popover.open({}, true);
    const auto screenArea = QGuiApplication::primaryScreen()->availableGeometry();
    EXPECT_LE((popover.geometry().center() - screenArea.center()).manhattanLength(),
              8); // The frame.
    popover.move(150, 60);
    popover.close();
    popover.open(QRect(100, 0, 20, 20), false);
    popover.close();
    popover.open({}, true);
    EXPECT_EQ(popover.pos(), QPoint(150, 60));
    popover.move(150, 60'000); // Of a screen that goes.
    popover.close();
    popover.open({}, true);
    EXPECT_TRUE(screenArea.contains(popover.geometry()));
}

} // namespace
} // namespace nullprint::app
