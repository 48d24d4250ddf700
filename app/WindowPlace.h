// Where a new window goes.
#pragma once

#include <QSize>

class QScreen;
class QWidget;

namespace nullprint::app {

// The one that the pointer is on. Nothing where there is none at all.
QScreen* screenOfPointer();
// `wanted`, or as much of it as a screen has room for beside the window's frame.
QSize sizeThatFits(QSize wanted, const QScreen* screen);
// To the middle of the screen that the pointer is on, as far as the desktop lets windows choose.
void centerOnScreen(QWidget& window);
// In front of the others and with the keyboard, also when it was minimised.
void bringToFront(QWidget& window);

} // namespace nullprint::app
