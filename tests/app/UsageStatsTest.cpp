#include "app/UsageStats.h"

#include "tests/app/Scratch.h"

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

const QString totalChecked = QStringLiteral("totalChecked");
const QString totalCleaned = QStringLiteral("totalCleaned");
const QString lastClean = QStringLiteral("lastClean");

QDateTime aMoment()
{
    return {QDate(2026, 3, 2), QTime(9, 5, 59)};
}

struct Usage {
    Scratch scratch;
    DefaultsStore store{scratch.path(QStringLiteral("settings.plist"))};
    UsageStats stats{store};
};

TEST(UsageStats, beginWithNothing)
{
    const Usage usage;
    EXPECT_EQ(usage.stats.totalChecked(), 0);
    EXPECT_EQ(usage.stats.totalCleaned(), 0);
    EXPECT_FALSE(usage.stats.lastClean());
    EXPECT_EQ(lastCleanText(usage.stats.lastClean()), QStringLiteral("never"));
}

TEST(UsageStats, countWhatIsHandedIn)
{
    Usage usage;
    usage.stats.addChecked(3);
    usage.stats.addChecked(2);
    EXPECT_EQ(usage.store.value(totalChecked), 5LL);
    EXPECT_FALSE(usage.store.value(totalCleaned).isValid());
}

TEST(UsageStats, rememberCopiesAndTheirTimeTogether)
{
    Usage usage;
    usage.stats.addCleaned(2, aMoment());
    EXPECT_EQ(usage.stats.totalCleaned(), 2);
    EXPECT_EQ(usage.stats.lastClean(), aMoment());
    EXPECT_EQ(usage.store.value(lastClean).typeId(), QMetaType::QDateTime);
    EXPECT_FALSE(usage.store.value(totalChecked).isValid());
}

TEST(UsageStats, keepSilentAboutACleaningWithoutCopies)
{
    Usage usage;
    usage.stats.addCleaned(0, aMoment());
    EXPECT_FALSE(usage.store.value(totalCleaned).isValid());
    EXPECT_FALSE(usage.store.value(lastClean).isValid());
    usage.stats.addCleaned(1, aMoment());
    usage.stats.addCleaned(0, aMoment().addDays(1));
    EXPECT_EQ(usage.stats.totalCleaned(), 1);
    EXPECT_EQ(usage.stats.lastClean(), aMoment());
}

TEST(UsageStats, takeAnotherTypeForNoValue)
{
    Usage usage;
    usage.store.set(lastClean, QStringLiteral("2026-03-02 09:05"));
    EXPECT_EQ(lastCleanText(usage.stats.lastClean()), QStringLiteral("never"));
    usage.store.set(totalChecked, QStringLiteral("nonsense"));
    usage.stats.addChecked(1);
    EXPECT_EQ(usage.stats.totalChecked(), 1);
}

TEST(UsageStats, showLocalTime)
{
    EXPECT_EQ(lastCleanText(aMoment()), QStringLiteral("2026-03-02 09:05"));
    EXPECT_EQ(lastCleanText(aMoment().toUTC()), QStringLiteral("2026-03-02 09:05"));
    Usage usage;
    usage.stats.addCleaned(1, aMoment());
    EXPECT_EQ(lastCleanText(usage.stats.lastClean()), QStringLiteral("2026-03-02 09:05"));
}

TEST(UsageStats, followTheTimeZone)
{
    const QByteArray before = qgetenv("TZ");
    qputenv("TZ", "XYZ-05:30");
    ::tzset();
    const QDateTime utc(QDate(2026, 3, 1), QTime(20, 0), Qt::UTC);
    EXPECT_EQ(lastCleanText(utc), QStringLiteral("2026-03-02 01:30"));
    before.isEmpty() ? qunsetenv("TZ") : qputenv("TZ", before);
    ::tzset();
}

TEST(UsageStatsDeathTest, endTheProgramRatherThanWrapAround)
{
    Usage usage;
    const qint64 most = std::numeric_limits<qint64>::max();
    usage.store.set(totalChecked, most - 1);
    usage.stats.addChecked(1);
    EXPECT_EQ(usage.stats.totalChecked(), most);
    EXPECT_DEATH(usage.stats.addChecked(1), "exceeds 64 bits");
    usage.store.set(totalCleaned, most);
    EXPECT_DEATH(usage.stats.addCleaned(1, aMoment()), "exceeds 64 bits");
    EXPECT_EQ(usage.stats.totalCleaned(), most);
    EXPECT_FALSE(usage.stats.lastClean());
}

} // namespace
} // namespace nullprint::app
