// How many files were checked and cleaned, and when the last time was.
#pragma once

#include "app/DefaultsStore.h"

namespace nullprint::app {

class UsageStats {
public:
    explicit UsageStats(DefaultsStore& store);

    qint64 totalChecked() const;
    qint64 totalCleaned() const;
    // Nothing when there was none or the stored value is not a date.
    std::optional<QDateTime> lastClean() const;

    // Counts are those of an operation: files handed in, and copies written. Without a copy nothing
    // changes. A total past 64 bits ends the program.
    void addChecked(qint64 count);
    void addCleaned(qint64 count, const QDateTime& now);

private:
    DefaultsStore& store;
};

// "never", or yyyy-MM-dd HH:mm in local time.
QString lastCleanText(const std::optional<QDateTime>& lastClean);

} // namespace nullprint::app
