// The icon that stands for the application, in whatever tray the desktop has.
#pragma once

#include "app/platform/NotifierItem.h"

#include <QRect>
#include <QSystemTrayIcon>
#include <QTimer>

#include <chrono>
#include <memory>
#include <optional>

namespace nullprint::app {

// StatusNotifierItem comes first; the older XEmbed tray of X11 serves while no host for that is
// there. Never are two icons shown.
class StatusItem : public QObject {
    Q_OBJECT

public:
    explicit StatusItem(QDBusConnection bus = QDBusConnection::sessionBus());

    void setIcon(const QString& themeName, const QIcon& icon);
    void setToolTip(const QString& text);
    // `patience` is how long a tray of the newer kind is waited for: long while a session begins,
    // when trays come in any order.
    void show(std::chrono::milliseconds patience);
    void hide();
    // Whether the icon is in some tray at this moment.
    bool isInTray() const;
    // Where the icon is, as far as anybody knows.
    std::optional<QRect> place() const { return lastPlace; }

    QString text() const { return toolTip; }
    NotifierPictures pictures() const { return item.iconPixmap(); }

signals:
    void activated();
    // Told once when, after the time of patience, there is no tray of any kind.
    void trayMissing();

private:
    void chooseHost();
    void useOlderTray();
    void activateAt(QRect where);

    NotifierItem item;
    // Only while it is needed: once made, Qt decides for ever which kind of tray it is.
    std::unique_ptr<QSystemTrayIcon> olderIcon;
    QIcon icon;
    QString toolTip;
    QTimer patienceTimer;
    std::optional<QRect> lastPlace;
    bool hasToldOfMissingTray = false;
};

} // namespace nullprint::app
