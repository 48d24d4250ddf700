// Which of the two window systems the desktop has.
#pragma once

#include <QGuiApplication>

namespace nullprint::app {

inline bool isOnX11()
{
    return QGuiApplication::platformName() == QStringLiteral("xcb");
}

inline bool isOnWayland()
{
    return QGuiApplication::platformName().startsWith(QStringLiteral("wayland"));
}

} // namespace nullprint::app
