#include "app/platform/Instance.h"

#include "tests/app/Waiting.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QSignalSpy>
#include <QThread>

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

using tests::comesTrue;

// As another process does it: the answer comes from the event loop here.
Forwarding forwardFromElsewhere(const StartRequest& request)
{
    auto outcome = Forwarding::unanswered;
    const std::unique_ptr<QThread> elsewhere(QThread::create([&] { outcome = forward(request); }));
    elsewhere->start();
    EXPECT_TRUE(comesTrue([&] { return elsewhere->isFinished(); }));
    return outcome;
}

TEST(Instance, isNotFoundWhereNobodyRuns)
{
    EXPECT_EQ(forwardFromElsewhere({}), Forwarding::nobodyRuns);
}

TEST(Instance, isOneAtATime)
{
    {
        Instance first;
        EXPECT_TRUE(first.claim());
        EXPECT_EQ(forwardFromElsewhere({}), Forwarding::delivered);
    }
    EXPECT_EQ(forwardFromElsewhere({}), Forwarding::nobodyRuns);
    Instance next;
    EXPECT_TRUE(next.claim());
}

TEST(Instance, isRefusedWhileSomebodyElseHasTheName)
{
    const auto name = QStringLiteral("somebody else");
    auto bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
    ASSERT_TRUE(bus.registerService(QStringLiteral("org.nullprint.Nullprint")));
    Instance late;
    EXPECT_FALSE(late.claim());
    // Asked of the bus, which answers in turn: when the connection has gone, it may not know yet.
    EXPECT_TRUE(bus.unregisterService(QStringLiteral("org.nullprint.Nullprint")));
    QDBusConnection::disconnectFromBus(name);
}

TEST(Instance, getsWhatOthersWereStartedWith)
{
    Instance instance;
    ASSERT_TRUE(instance.claim());
    const QSignalSpy activated(&instance, &Instance::activated);
    std::vector<FileURL> opened;
    QObject::connect(&instance, &Instance::opened, [&](const auto& files) { opened = files; });
    const QSignalSpy actions(&instance, &Instance::actionCalled);

    const std::vector files{FileURL::fromPath("/a b%41\xFF&'\".png"), FileURL::fromPath("/é")};
    EXPECT_EQ(forwardFromElsewhere({}), Forwarding::delivered);
    EXPECT_EQ(activated.count(), 1);
    EXPECT_EQ(forwardFromElsewhere({.files = files}), Forwarding::delivered);
    EXPECT_EQ(opened, files);
    EXPECT_EQ(forwardFromElsewhere({.files = files, .service = "scrubMetadata"}),
              Forwarding::delivered);
    ASSERT_EQ(actions.count(), 1);
    EXPECT_EQ(actions[0][0].toString(), QStringLiteral("scrubMetadata"));
    EXPECT_EQ(actions[0][1].toStringList(),
              QStringList({QStringLiteral("file:///a%20b%2541%FF&'%22.png"),
                           QStringLiteral("file:///%C3%A9")}));
    // The session's own start asks for nothing.
    EXPECT_EQ(forwardFromElsewhere({.isLoginItem = true}), Forwarding::delivered);
    EXPECT_EQ(activated.count(), 1);
}

TEST(Instance, takesActionsAsLaunchersSendThem)
{
    Instance instance;
    ASSERT_TRUE(instance.claim());
    const QSignalSpy actions(&instance, &Instance::actionCalled);
    const auto send = [](const QVariantList& parameter) {
        auto call = QDBusMessage::createMethodCall(QStringLiteral("org.nullprint.Nullprint"),
                                                   QStringLiteral("/org/nullprint/Nullprint"),
                                                   QStringLiteral("org.freedesktop.Application"),
                                                   QStringLiteral("ActivateAction"));
        call << QStringLiteral("check-files") << parameter
             << QVariantMap{{QStringLiteral("activation-token"), QStringLiteral("token-7")}};
        const auto name = QStringLiteral("launcher");
        const auto bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
        const QDBusPendingReply<> reply = bus.asyncCall(call);
        const bool isAnswered = comesTrue([&] { return reply.isFinished(); });
        QDBusConnection::disconnectFromBus(name);
        return isAnswered && !reply.isError();
    };
    ASSERT_TRUE(send({}));
    ASSERT_TRUE(send({QStringLiteral("no list")}));
    ASSERT_TRUE(send({17}));
    ASSERT_EQ(actions.count(), 3);
    EXPECT_EQ(actions[0][0].toString(), QStringLiteral("check-files"));
    EXPECT_TRUE(actions[0][1].toStringList().isEmpty());
    EXPECT_EQ(qgetenv("XDG_ACTIVATION_TOKEN"), QByteArray("token-7"));
}

} // namespace
} // namespace nullprint::app
