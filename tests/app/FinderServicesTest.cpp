#include "app/FinderServices.h"

#include "tests/app/Scratch.h"

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

const QString showKey =
    QStringLiteral("org.nullprint.Nullprint - Show Hidden Metadata (Nullprint) - showMetadata");
const QString scrubKey =
    QStringLiteral("org.nullprint.Nullprint - Scrub Metadata (Nullprint) - scrubMetadata");
const QString statusName = QStringLiteral("NSServicesStatus");
const QString flag = QStringLiteral("didEnableServicesV1");

QVariantMap enabled()
{
    return {
        {QStringLiteral("enabled_context_menu"), true},
        {QStringLiteral("enabled_services_menu"), true},
        {QStringLiteral("presentation_modes"),
         QVariantMap{{QStringLiteral("ContextMenu"), true},
                     {QStringLiteral("ServicesMenu"), true}}},
    };
}

struct Launch {
    void run()
    {
        AppLog log(scratch.path(QStringLiteral("log")).toStdString());
        enableFinderServicesOnce(standard, services, log, [this] {
            ++rebuilds;
            wasReady = standard.boolean(flag) && !services.dictionary(statusName).isEmpty();
        });
    }

    Scratch scratch;
    DefaultsStore standard{scratch.path(QStringLiteral("standard.plist"))};
    DefaultsStore services{scratch.path(QStringLiteral("pbs.plist"))};
    int rebuilds = 0;
    bool wasReady = false;
};

TEST(FinderServices, areEnabledAtTheFirstLaunch)
{
    Launch launch;
    launch.run();
    EXPECT_EQ(launch.services.dictionary(statusName),
              (QVariantMap{{showKey, enabled()}, {scrubKey, enabled()}}));
    EXPECT_EQ(launch.standard.value(flag), true);
    EXPECT_TRUE(launch.scratch.read(QStringLiteral("log"))
                    .endsWith("] Finder services enabled in context menu.\n"));
    EXPECT_EQ(launch.rebuilds, 1);
    EXPECT_TRUE(launch.wasReady);
}

TEST(FinderServices, keepEverythingElseInThatDomain)
{
    Launch launch;
    const QVariantMap other{{QStringLiteral("enabled_context_menu"), false}};
    launch.services.set(QStringLiteral("unrelated"), 7LL);
    launch.services.set(statusName,
                        QVariantMap{{QStringLiteral("other"), other}, {showKey, other}});
    launch.run();
    EXPECT_EQ(launch.services.dictionary(statusName),
              (QVariantMap{{QStringLiteral("other"), other},
                           {showKey, enabled()},
                           {scrubKey, enabled()}}));
    EXPECT_EQ(launch.services.integer(QStringLiteral("unrelated")), 7);
}

TEST(FinderServices, takeAStatusThatIsNoDictionaryForAnEmptyOne)
{
    Launch launch;
    launch.services.set(statusName, QStringLiteral("nonsense"));
    launch.run();
    EXPECT_EQ(launch.services.dictionary(statusName).keys(), (QStringList{scrubKey, showKey}));
}

TEST(FinderServices, areLeftAloneAtTheSecondLaunch)
{
    Launch launch;
    launch.run();
    launch.services.set(statusName, QVariantMap());
    launch.services.flush();
    const QByteArray before = launch.scratch.read(QStringLiteral("pbs.plist"));
    const QByteArray log = launch.scratch.read(QStringLiteral("log"));
    launch.run();
    launch.services.flush();
    EXPECT_EQ(launch.scratch.read(QStringLiteral("pbs.plist")), before);
    EXPECT_EQ(launch.scratch.read(QStringLiteral("log")), log);
    EXPECT_EQ(launch.rebuilds, 1);
}

TEST(FinderServices, areNotSwitchedOnOverTheUser)
{
    Launch launch;
    launch.standard.set(flag, true);
    launch.run();
    EXPECT_FALSE(launch.scratch.has(QStringLiteral("pbs.plist")));
    EXPECT_FALSE(launch.scratch.has(QStringLiteral("pbs.plist.lock")));
    EXPECT_FALSE(launch.scratch.has(QStringLiteral("log")));
    EXPECT_EQ(launch.rebuilds, 0);
}

} // namespace
} // namespace nullprint::app
