// How a widget that paints itself shows that it has the keyboard.
#pragma once

#include <QWidget>

class QPainter;

namespace nullprint::app {

// Only those who use the keyboard are shown where it is.
bool showsFocus(const QWidget& widget);
void paintFocusRing(QPainter& painter, const QRectF& area, qreal radius);

} // namespace nullprint::app
