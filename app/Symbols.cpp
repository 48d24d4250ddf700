#include "app/Symbols.h"

#include "app/Identity.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

// Resources of a static library stay out of the program unless someone asks for them.
static void useResources()
{
    Q_INIT_RESOURCE(icons);
}

namespace nullprint::app {
namespace {

struct SymbolRow {
    const char* file;
    QRectF bounds; // The drawn part of the picture's 16 by 16 units.
};

SymbolRow rowOf(Symbol symbol)
{
    switch (symbol) {
    case Symbol::eyeSlash:
        return {":/nullprint/org.nullprint.Nullprint-symbolic.svg", {0, 1.5, 16, 13}};
    case Symbol::documentMagnifier:
        return {":/nullprint/document-magnifier.svg", {0, 0, 16, 16}};
    case Symbol::arrowIntoTray:
        return {":/nullprint/arrow-into-tray.svg", {0, 0, 16, 16}};
    case Symbol::power:
        break;
    }
    return {":/nullprint/power.svg", {0, 0, 16, 16}};
}

} // namespace

QSize symbolSize(Symbol symbol, int points)
{
    const auto bounds = rowOf(symbol).bounds;
    return {qRound(bounds.width() * points / bounds.height()), points};
}

qreal symbolProportion(Symbol symbol)
{
    const auto bounds = rowOf(symbol).bounds;
    return bounds.height() / bounds.width();
}

bool hasPicture(Symbol symbol)
{
    useResources();
    return QFile::exists(QString::fromLatin1(rowOf(symbol).file));
}

void drawSymbol(QPainter& painter, Symbol symbol, const QRectF& area, const QColor& color)
{
    useResources();
    const auto row = rowOf(symbol);
    const auto ratio = painter.device()->devicePixelRatioF();
    QImage picture((area.size() * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);
    QSvgRenderer renderer(QString::fromLatin1(row.file));
    renderer.setViewBox(row.bounds);
    QPainter tint(&picture);
    renderer.render(&tint);
    tint.setCompositionMode(QPainter::CompositionMode_SourceIn);
    tint.fillRect(picture.rect(), color);
    tint.end();
    picture.setDevicePixelRatio(ratio);
    painter.drawImage(area.topLeft(), picture);
}

QIcon applicationIcon()
{
    useResources();
    const auto drawn = QStringLiteral(":/nullprint/%1.svg").arg(QLatin1String(applicationID));
    return QIcon::fromTheme(QLatin1String(applicationID), QIcon(drawn));
}

} // namespace nullprint::app
