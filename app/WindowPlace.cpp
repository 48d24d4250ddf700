#include "app/WindowPlace.h"

#include "app/platform/Platform.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace nullprint::app {

void centerOnScreen(QWidget& window)
{
    const auto* screen = QGuiApplication::screenAt(QCursor::pos());
    if (screen == nullptr)
        screen = QGuiApplication::primaryScreen();
    if (screen == nullptr)
        return;
    auto place = window.rect();
    place.moveCenter(screen->availableGeometry().center());
    window.move(place.topLeft());
}

void bringToFront(QWidget& window)
{
    // A window that asks is at best marked there; one that is new comes to the front.
    if (isOnWayland() && window.isVisible() && !window.isActiveWindow())
        window.hide();
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace nullprint::app
