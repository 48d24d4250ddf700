// Where a new window goes.
#pragma once

class QWidget;

namespace nullprint::app {

// To the middle of the screen that the pointer is on, as far as the desktop lets windows choose.
void centerOnScreen(QWidget& window);
// In front of the others and with the keyboard, also when it was minimised.
void bringToFront(QWidget& window);

} // namespace nullprint::app
