#include "app/BusySign.h"

#include "app/AccessibleRole.h"
#include "app/Palette.h"

#include <QApplication>
#include <QPainter>

namespace nullprint::app {
namespace {

constexpr int side = 16;
constexpr int strokes = 8;
constexpr int stepMs = 100;

} // namespace

BusySign::BusySign(QWidget* parent)
    : QWidget(parent)
{
    setFixedSize(side, side);
    setAccessibleName(QStringLiteral("Cleaning"));
    setAccessibleRole(*this, QAccessible::Animation);
    turning.setInterval(stepMs);
    connect(&turning, &QTimer::timeout, this, [this] {
        step = (step + 1) % strokes;
        update();
    });
}

void BusySign::showEvent(QShowEvent*)
{
    turning.start();
}

void BusySign::hideEvent(QHideEvent*)
{
    turning.stop();
}

void BusySign::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(side / 2.0, side / 2.0);
    painter.rotate(step * 360.0 / strokes);
    const auto color = TextColors::of(QApplication::palette()).secondary;
    for (int i = 0; i < strokes; ++i) {
        painter.setOpacity((i + 1.0) / strokes);
        painter.setPen(QPen(color, 1.7, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPointF(0, -3.6), QPointF(0, -6.8));
        painter.rotate(360.0 / strokes);
    }
}

} // namespace nullprint::app
