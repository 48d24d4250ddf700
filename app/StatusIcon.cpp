#include "app/StatusIcon.h"

#include "app/Identity.h"
#include "app/Palette.h"
#include "app/Symbols.h"

#include <QGuiApplication>
#include <QPainter>

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

QPixmap eyePixmap(int side)
{
    const auto pixmap = applicationIcon().pixmap(QSize(side, side), 1.0);
    return pixmap.isNull() ? signPixmap(side) : pixmap;
}

QPixmap withDot(QPixmap pixmap)
{
    const auto colors = Palette::of(QGuiApplication::palette());
    const qreal diameter = pixmap.width() * 0.4;
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(colors.background, pixmap.width() / 16.0));
    painter.setBrush(colors.accent);
    painter.drawEllipse(
        QRectF(pixmap.width() - diameter - 1, pixmap.height() - diameter - 1, diameter, diameter));
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
