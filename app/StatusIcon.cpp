#include "app/StatusIcon.h"

#include "app/Identity.h"
#include "app/Palette.h"
#include "app/Symbols.h"

#include <QGuiApplication>
#include <QPainter>

#include <array>

namespace nullprint::app {
namespace {

constexpr std::array sides{16, 22, 24, 32, 48, 64};

// What stands for the eye where its picture cannot be loaded.
QPixmap signPixmap(int side)
{
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setPen(QGuiApplication::palette().color(QPalette::WindowText));
    auto font = painter.font();
    font.setPixelSize(side);
    painter.setFont(font);
    painter.drawText(pixmap.rect(), Qt::AlignCenter, QStringLiteral("⦰"));
    return pixmap;
}

struct EyeColors {
    QColor eye;
    QColor halo;
};

// What is behind the icon is not known: an eye of the one colour in a halo of the other is seen on
// dark trays and on light ones.
EyeColors eyeColors()
{
    constexpr QColor dark(40, 40, 40);
    constexpr QColor light(245, 245, 245);
    if (appearanceOf(QGuiApplication::palette()) == Appearance::dark)
        return {light, dark};
    return {dark, light};
}

// The eye in one colour, with room for the halo on every side.
QPixmap plainEye(int side, qreal room, const QColor& color)
{
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    const auto width = side - 2 * room;
    const auto height = width * symbolProportion(Symbol::eyeSlash);
    QPainter painter(&pixmap);
    drawSymbol(painter, Symbol::eyeSlash, {room, (side - height) / 2, width, height}, color);
    return pixmap;
}

QPixmap eyePixmap(int side)
{
    if (!hasPicture(Symbol::eyeSlash))
        return signPixmap(side);
    constexpr std::array<QPointF, 8> directions{
        {{1, 0}, {0.7, 0.7}, {0, 1}, {-0.7, 0.7}, {-1, 0}, {-0.7, -0.7}, {0, -1}, {0.7, -0.7}}};
    const qreal halo = side / 22.0;
    const auto colors = eyeColors();
    const auto behind = plainEye(side, halo, colors.halo);
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (const auto& direction : directions)
        painter.drawPixmap(direction * halo, behind);
    painter.drawPixmap(0, 0, plainEye(side, halo, colors.eye));
    return pixmap;
}

QPixmap withDot(QPixmap pixmap)
{
    const qreal side = pixmap.width();
    const qreal radius = side * 0.2;
    const qreal ring = radius * 1.3;
    const QPointF middle(side - ring, side - ring);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(eyeColors().halo);
    painter.drawEllipse(middle, ring, ring);
    painter.setBrush(QColor(235, 110, 0));
    painter.drawEllipse(middle, radius, radius);
    return pixmap;
}

QIcon iconOf(QPixmap (*pixmapOf)(int side))
{
    QIcon icon;
    for (const int side : sides)
        icon.addPixmap(pixmapOf(side));
    return icon;
}

} // namespace

QString statusIconName()
{
    const auto name = QString::fromLatin1(applicationID) + QStringLiteral("-symbolic");
    return QIcon::hasThemeIcon(name) ? name : QString();
}

QIcon statusIcon()
{
    return iconOf(eyePixmap);
}

QIcon busyStatusIcon()
{
    return iconOf([](int side) { return withDot(eyePixmap(side)); });
}

} // namespace nullprint::app
