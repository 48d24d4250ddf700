#include "app/UsageStats.h"

#include <QLocale>

namespace nullprint::app {
namespace {

const QString totalCheckedKey = QStringLiteral("totalChecked");
const QString totalCleanedKey = QStringLiteral("totalCleaned");
const QString lastCleanKey = QStringLiteral("lastClean");

// A counter that wrapped around would be believed.
qint64 sum(const QVariant& total, qint64 count)
{
    qint64 result = 0;
    if (__builtin_add_overflow(DefaultsStore::integerOf(total), count, &result))
        qFatal("a usage total exceeds 64 bits");
    return result;
}

} // namespace

UsageStats::UsageStats(DefaultsStore& store)
    : store(store)
{
}

qint64 UsageStats::totalChecked() const
{
    return store.integer(totalCheckedKey);
}

qint64 UsageStats::totalCleaned() const
{
    return store.integer(totalCleanedKey);
}

std::optional<QDateTime> UsageStats::lastClean() const
{
    return store.date(lastCleanKey);
}

void UsageStats::addChecked(qint64 count)
{
    store.update(totalCheckedKey, [count](const QVariant& total) { return sum(total, count); });
}

void UsageStats::addCleaned(qint64 count, const QDateTime& now)
{
    if (count <= 0)
        return;
    store.updateAll([&](QVariantMap& values) {
        values[totalCleanedKey] = sum(values.value(totalCleanedKey), count);
        values[lastCleanKey] = now;
    });
}

QString lastCleanText(const std::optional<QDateTime>& lastClean)
{
    if (!lastClean)
        return QStringLiteral("never");
    return lastClean->toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

} // namespace nullprint::app
