// The icon that stands for the application, in whatever tray the desktop has.
#pragma once

#include "app/platform/NotifierItem.h"

#include <QRect>
#include <QSystemTrayIcon>
#include <QTimer>

#include <memory>
#include <optional>

namespace nullprint::app {

// Where a click on the icon was. A host may not tell the place, hence (0, 0), or tell it in the
// screen's pixels or in its own, which at a scale are not ours; then the pointer is there.
QPoint placeOfClick(QPoint told, QPoint pointer, qreal scale);

// StatusNotifierItem comes first; the older XEmbed tray of X11 serves while no host for that is
// there. Never are two icons shown.
class StatusItem : public QObject {
    Q_OBJECT

public:
    explicit StatusItem(QDBusConnection bus = QDBusConnection::sessionBus());

    void setIcon(const QString& themeName, const QIcon& icon);
    void setToolTip(const QString& text);
    // When the user starts a program the trays are there, and the choice is made with the first
    // answer. What starts with the session waits some seconds for trays that start as well.
    enum class Start { byUser, withSession };
    void show(Start kind);
    void hide();
    // Whether the icon is in some tray at this moment.
    bool isInTray() const;
    // Whether another process can ask for the application.
    bool hasBus() const { return item.hasBus(); }
    // Where the icon is, as far as anybody knows.
    std::optional<QRect> place() const { return lastPlace; }

    QString text() const { return toolTip; }
    NotifierPictures pictures() const { return item.iconPixmap(); }

signals:
    void activated();
    // Told once when there turns out to be no tray of any kind.
    void trayMissing();

private:
    void hostChanged(bool isThere);
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
    bool choosesAtOnce = false;
    bool hasToldOfMissingTray = false;
};

} // namespace nullprint::app
