#include "app/platform/StatusItem.h"

#include "tests/app/FakeTray.h"
#include "tests/app/Waiting.h"

#include <QDBusInterface>
#include <QDBusReply>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

using tests::comesTrue;
using tests::FakeTray;
using tests::letPass;

QIcon redIcon()
{
    QPixmap pixmap(64, 64);
    pixmap.fill(QColor(255, 0, 0));
    return QIcon(pixmap);
}

TEST(StatusItem, isShownByAHostThatIsThere)
{
    FakeTray tray;
    StatusItem item;
    item.setIcon(QStringLiteral("some-symbolic"), redIcon());
    item.setToolTip(QStringLiteral("What it is"));
    const QSignalSpy missing(&item, &StatusItem::trayMissing);
    item.show(StatusItem::Start::byUser);
    ASSERT_TRUE(comesTrue([&] { return tray.items().size() == 1; }));
    ASSERT_TRUE(comesTrue([&] { return item.isInTray(); }));
    EXPECT_EQ(tray.property("Id").toString(), QStringLiteral("org.nullprint.Nullprint"));
    EXPECT_EQ(tray.property("Title").toString(), QStringLiteral("Nullprint"));
    EXPECT_EQ(tray.property("Category").toString(), QStringLiteral("ApplicationStatus"));
    EXPECT_EQ(tray.property("Status").toString(), QStringLiteral("Active"));
    EXPECT_EQ(tray.property("IconName").toString(), QStringLiteral("some-symbolic"));
    EXPECT_EQ(tray.property("ItemIsMenu"), QVariant(false));
    EXPECT_EQ(tray.toolTip(), QStringLiteral("What it is"));
    letPass(150);
    EXPECT_EQ(missing.count(), 0);
}

TEST(StatusItem, sendsPicturesInNetworkByteOrder)
{
    FakeTray tray;
    StatusItem item;
    item.setIcon({}, redIcon());
    item.show(StatusItem::Start::byUser);
    ASSERT_TRUE(comesTrue([&] { return !tray.items().isEmpty(); }));
    const auto pictures = tray.pictures();
    ASSERT_FALSE(pictures.isEmpty());
    EXPECT_EQ(pictures[0].width, 16);
    EXPECT_EQ(pictures[0].height, 16);
    EXPECT_EQ(pictures[0].pixels.size(), 16 * 16 * 4);
    EXPECT_EQ(pictures[0].pixels.first(4).toHex(), QByteArray("ffff0000"));
}

TEST(StatusItem, opensWithEveryButton)
{
    FakeTray tray;
    StatusItem item;
    item.show(StatusItem::Start::byUser);
    ASSERT_TRUE(comesTrue([&] { return !tray.items().isEmpty(); }));
    const QSignalSpy activated(&item, &StatusItem::activated);
    int expected = 0;
    for (const char* method : {"Activate", "SecondaryActivate", "ContextMenu"}) {
        tray.click(method, {700, 10});
        ++expected;
        ASSERT_TRUE(comesTrue([&] { return activated.count() == expected; })) << method;
    }
    EXPECT_EQ(item.place(), QRect(700, 10, 1, 1));
}

TEST(StatusItem, knowsThePlaceOfAClickAtEveryScale)
{
    const QPoint told(1280, 15);
    const QPoint pointer(640, 8);
    EXPECT_EQ(placeOfClick(told, pointer, 1), told);
    EXPECT_EQ(placeOfClick({}, pointer, 1), pointer);
    EXPECT_EQ(placeOfClick(told, pointer, 2), pointer);
    EXPECT_EQ(placeOfClick(told, pointer, 1.5), pointer);
}

TEST(StatusItem, findsTraysThatComeLateAndComeBack)
{
    StatusItem item;
    const QSignalSpy missing(&item, &StatusItem::trayMissing);
    item.show(StatusItem::Start::byUser);
    ASSERT_TRUE(comesTrue([&] { return missing.count() == 1; }));
    EXPECT_FALSE(item.isInTray());
    {
        FakeTray late(FakeTray::Host::absent);
        ASSERT_TRUE(comesTrue([&] { return late.items().size() == 1; }));
        EXPECT_FALSE(item.isInTray());
        late.setHost(true);
        ASSERT_TRUE(comesTrue([&] { return item.isInTray(); }));
        late.setHost(false);
        ASSERT_TRUE(comesTrue([&] { return !item.isInTray(); }));
        late.setHost(true);
        ASSERT_TRUE(comesTrue([&] { return item.isInTray(); }));
    }
    ASSERT_TRUE(comesTrue([&] { return !item.isInTray(); }));
    FakeTray next;
    ASSERT_TRUE(comesTrue([&] { return next.items().size() == 1 && item.isInTray(); }));
    EXPECT_EQ(missing.count(), 1); // Told once.
}

TEST(StatusItem, waitsForTraysThatStartWithTheSession)
{
    StatusItem item;
    const QSignalSpy missing(&item, &StatusItem::trayMissing);
    item.show(StatusItem::Start::withSession);
    letPass(500);
    EXPECT_EQ(missing.count(), 0);
    const FakeTray late;
    ASSERT_TRUE(comesTrue([&] { return item.isInTray(); }));
    letPass(3'200);
    EXPECT_EQ(missing.count(), 0);
}

TEST(StatusItem, tellsHostsOfChanges)
{
    FakeTray tray;
    StatusItem item;
    item.show(StatusItem::Start::byUser);
    ASSERT_TRUE(comesTrue([&] { return !tray.items().isEmpty(); }));
    item.setToolTip(QStringLiteral("Working"));
    item.setIcon({}, redIcon());
    ASSERT_TRUE(comesTrue(
        [&] { return tray.signalCount("NewToolTip") == 1 && tray.signalCount("NewIcon") == 1; }));
    item.setToolTip(QStringLiteral("Working")); // No change.
    item.hide();
    ASSERT_TRUE(comesTrue([&] { return tray.signalCount("NewStatus") == 1; }));
    EXPECT_EQ(tray.property("Status").toString(), QStringLiteral("Passive"));
    EXPECT_EQ(tray.signalCount("NewToolTip"), 1);
}

TEST(StatusItem, isQuietWithoutABus)
{
    StatusItem item(QDBusConnection(QStringLiteral("no such connection")));
    const QSignalSpy missing(&item, &StatusItem::trayMissing);
    item.show(StatusItem::Start::byUser);
    EXPECT_TRUE(comesTrue([&] { return missing.count() == 1; }));
}

} // namespace
} // namespace nullprint::app
