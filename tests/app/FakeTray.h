// A tray as the desktop's panel has it: watcher and host of StatusNotifierItem in one, on a
// connection of its own.
#pragma once

#include "app/platform/NotifierItem.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QMap>
#include <QObject>
#include <QStringList>

namespace nullprint::tests {

class FakeTray : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    enum class Host { present, absent };

    explicit FakeTray(Host host = Host::present);
    ~FakeTray() override;

    bool hasHost() const { return host; }
    void setHost(bool isThere);
    QStringList items() const { return registered; }

    // Of the one item.
    QVariant property(const char* name) const;
    QString toolTip() const;
    app::NotifierPictures pictures() const;
    void click(const char* method, QPoint place) const;
    int signalCount(const char* name) const { return counts.value(QString::fromLatin1(name)); }

    // NOLINTBEGIN(readability-identifier-naming): the names that the interface has on the bus.
signals:
    Q_SCRIPTABLE void StatusNotifierHostRegistered();
    Q_SCRIPTABLE void StatusNotifierHostUnregistered();

public slots:
    Q_SCRIPTABLE void RegisterStatusNotifierItem(const QString& item);
    // NOLINTEND(readability-identifier-naming)

private slots:
    void countNewIcon() { ++counts[QStringLiteral("NewIcon")]; }
    void countNewToolTip() { ++counts[QStringLiteral("NewToolTip")]; }
    void countNewStatus() { ++counts[QStringLiteral("NewStatus")]; }

private:
    QString busName;
    QDBusConnection bus;
    bool host;
    QStringList registered;
    QMap<QString, int> counts;
};

} // namespace nullprint::tests
