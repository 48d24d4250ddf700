#include "app/platform/ColorScheme.h"

#include "app/Palette.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QProcess>
#include <QTest>

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

const auto group = QStringLiteral("org.freedesktop.appearance");
const auto key = QStringLiteral("color-scheme");

} // namespace

// Answers as the desktop's settings portal does.
class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    uint scheme = 0;

public slots:
    // NOLINTNEXTLINE(readability-identifier-naming): the name that it has on the bus.
    QDBusVariant Read(const QString&, const QString&) const
    {
        return QDBusVariant(QVariant::fromValue(QDBusVariant(scheme)));
    }
};

namespace {

// On a bus of its own, so that the tester's desktop has no say.
class ColorSchemeTest : public testing::Test {
protected:
    void SetUp() override
    {
        daemon.start(QStringLiteral("dbus-daemon"),
                     {QStringLiteral("--session"),
                      QStringLiteral("--nofork"),
                      QStringLiteral("--print-address")});
        ASSERT_TRUE(daemon.waitForReadyRead()) << "dbus-daemon is needed";
        address = QString::fromUtf8(daemon.readLine().trimmed());
        ASSERT_TRUE(bus(QStringLiteral("application")).isConnected());
    }

    void TearDown() override
    {
        for (const auto& name : {QStringLiteral("application"), QStringLiteral("portal")})
            QDBusConnection::disconnectFromBus(name);
        daemon.terminate();
        daemon.waitForFinished();
        QApplication::setPalette(QPalette());
    }

    QDBusConnection bus(const QString& name)
    {
        return QDBusConnection::connectToBus(address, name);
    }

    void offerPortal()
    {
        auto connection = bus(QStringLiteral("portal"));
        ASSERT_TRUE(connection.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"),
                                              &portal,
                                              QDBusConnection::ExportAllContents));
        ASSERT_TRUE(connection.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    }

    void change(uint scheme, const QString& setting = key)
    {
        auto signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                 QStringLiteral("org.freedesktop.portal.Settings"),
                                                 QStringLiteral("SettingChanged"));
        signal << group << setting << QVariant::fromValue(QDBusVariant(scheme));
        EXPECT_TRUE(QDBusConnection(QStringLiteral("portal")).send(signal));
    }

    static bool isDark() { return appearanceOf(QApplication::palette()) == Appearance::dark; }

    FakePortal portal;
    QProcess daemon;
    QString address;
};

TEST_F(ColorSchemeTest, darkensAsThePortalSaysAndFollowsIt)
{
    portal.scheme = 1;
    offerPortal();
    const auto before = QApplication::palette();
    const ColorScheme scheme(bus(QStringLiteral("application")));
    EXPECT_TRUE(QTest::qWaitFor(isDark));
    change(0);
    EXPECT_TRUE(QTest::qWaitFor([] { return !isDark(); }));
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), before.color(QPalette::Window));
    change(1);
    EXPECT_TRUE(QTest::qWaitFor(isDark));
    change(2);
    EXPECT_TRUE(QTest::qWaitFor([] { return !isDark(); }));
}

TEST_F(ColorSchemeTest, leavesOtherSettingsAndDarkDesktopsAlone)
{
    offerPortal();
    const ColorScheme scheme(bus(QStringLiteral("application")));
    change(1, QStringLiteral("contrast"));
    QTest::qWait(100);
    EXPECT_FALSE(isDark());
    const QPalette own(Qt::white, Qt::black);
    QApplication::setPalette(own);
    change(1);
    QTest::qWait(100);
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), own.color(QPalette::Window));
    change(0);
    QTest::qWait(100);
    EXPECT_EQ(QApplication::palette().color(QPalette::Window), own.color(QPalette::Window));
}

TEST_F(ColorSchemeTest, changesNothingWithoutAPortal)
{
    const auto before = QApplication::palette();
    const ColorScheme scheme(bus(QStringLiteral("application")));
    QTest::qWait(200);
    EXPECT_EQ(QApplication::palette(), before);
}

} // namespace
} // namespace nullprint::app

#include "ColorSchemeTest.moc"
