// The project's own pictures, drawn sharply at any size and scale.
#pragma once

#include <QColor>
#include <QIcon>
#include <QRectF>

class QPainter;

namespace nullprint::app {

enum class Symbol { eyeSlash, documentMagnifier, arrowIntoTray, power };

// How large a symbol is beside text of that size.
QSize symbolSize(Symbol symbol, int points);
// Its height for a width of one.
qreal symbolProportion(Symbol symbol);
// Whether there is anything to draw.
bool hasPicture(Symbol symbol);
// Fills `area` with the symbol in one colour.
void drawSymbol(QPainter& painter, Symbol symbol, const QRectF& area, const QColor& color);

QIcon applicationIcon();

} // namespace nullprint::app
