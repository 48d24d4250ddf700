#include "app/platform/StatusItem.h"

#include "app/platform/Platform.h"

#include <QCursor>

namespace nullprint::app {
namespace {

// How long a tray may take to come, or to come back.
constexpr std::chrono::milliseconds patience{3'000};

} // namespace

QPoint placeOfClick(QPoint told, QPoint pointer, qreal scale)
{
    return told.isNull() || !qFuzzyCompare(scale, 1.0) ? pointer : told;
}

StatusItem::StatusItem(QDBusConnection bus)
    : item(std::move(bus))
{
    patienceTimer.setSingleShot(true);
    connect(&patienceTimer, &QTimer::timeout, this, &StatusItem::chooseHost);
    connect(&item, &NotifierItem::activated, this, [this](const QPoint& click) {
        const auto place = placeOfClick(click, QCursor::pos(), qGuiApp->devicePixelRatio());
        activateAt({place, QSize(1, 1)});
    });
    connect(&item, &NotifierItem::hostChanged, this, &StatusItem::hostChanged);
}

void StatusItem::setIcon(const QString& themeName, const QIcon& newIcon)
{
    icon = newIcon;
    item.setIcon(themeName, icon);
    if (olderIcon)
        olderIcon->setIcon(icon);
}

void StatusItem::setToolTip(const QString& text)
{
    if (toolTip == text)
        return;
    toolTip = text;
    item.setToolTip(text);
    if (olderIcon)
        olderIcon->setToolTip(text);
}

void StatusItem::show(Start kind)
{
    choosesAtOnce = kind == Start::byUser;
    patienceTimer.start(patience);
    item.start();
}

void StatusItem::hide()
{
    patienceTimer.stop();
    item.stop();
    olderIcon.reset();
}

bool StatusItem::isInTray() const
{
    return item.hasHost() || (olderIcon && QSystemTrayIcon::isSystemTrayAvailable());
}

void StatusItem::hostChanged(bool isThere)
{
    if (isThere || choosesAtOnce)
        chooseHost();
    else if (!patienceTimer.isActive())
        patienceTimer.start(patience);
    choosesAtOnce = false; // A host that goes may be back soon.
}

void StatusItem::chooseHost()
{
    patienceTimer.stop();
    if (item.hasHost()) {
        olderIcon.reset();
        return;
    }
    if (isOnX11())
        useOlderTray();
    if (!isInTray() && !hasToldOfMissingTray) {
        hasToldOfMissingTray = true;
        emit trayMissing();
    }
}

void StatusItem::useOlderTray()
{
    if (olderIcon)
        return;
    olderIcon = std::make_unique<QSystemTrayIcon>(icon);
    olderIcon->setToolTip(toolTip);
    connect(olderIcon.get(),
            &QSystemTrayIcon::activated,
            this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                // The second click of two has been told as a single one before.
                if (reason != QSystemTrayIcon::DoubleClick)
                    activateAt(olderIcon->geometry());
            });
    olderIcon->show();
}

void StatusItem::activateAt(QRect where)
{
    lastPlace = where;
    emit activated();
}

} // namespace nullprint::app
