#include "app/FocusRing.h"

#include "app/Palette.h"

#include <QApplication>
#include <QPainter>

namespace nullprint::app {

bool showsFocus(const QWidget& widget)
{
    return widget.hasFocus() && widget.window()->testAttribute(Qt::WA_KeyboardFocusChange);
}

// Two lines, one light and one dark, of which one stands out on whatever is below.
void paintFocusRing(QPainter& painter, const QRectF& area, qreal radius)
{
    const auto palette = Palette::of(QApplication::palette());
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(palette.ink, 2));
    painter.drawRoundedRect(area.adjusted(1, 1, -1, -1), radius, radius);
    painter.setPen(QPen(palette.background, 1));
    painter.drawRoundedRect(area.adjusted(2.5, 2.5, -2.5, -2.5), radius - 2, radius - 2);
}

} // namespace nullprint::app
