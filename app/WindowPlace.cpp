#include "app/WindowPlace.h"

#include "app/platform/Platform.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace nullprint::app {

namespace {

// What window managers usually add.
constexpr QSize frame(8, 40);

} // namespace

QScreen* screenOfPointer()
{
    auto* screen = QGuiApplication::screenAt(QCursor::pos());
    return screen != nullptr ? screen : QGuiApplication::primaryScreen();
}

QSize sizeThatFits(QSize wanted, const QScreen* screen)
{
    return screen == nullptr ? wanted : wanted.boundedTo(screen->availableSize() - frame);
}

void centerOnScreen(QWidget& window)
{
    const auto* screen = screenOfPointer();
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
