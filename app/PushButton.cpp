#include "app/PushButton.h"

#include "app/FocusRing.h"
#include "app/Fonts.h"
#include "app/Palette.h"

#include <QPainter>

namespace nullprint::app {
namespace {

constexpr int symbolGap = 7;
constexpr int borderedHeight = 32;
constexpr int padding = 12;
constexpr int borderlessPadding = 4;
constexpr int borderlessHeight = 24;
constexpr qreal radius = 7;

QColor withAlpha(QColor color, qreal alpha)
{
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

struct Ground {
    QColor fill;
    QColor line;
    QColor content;
};

// White is readable only on a darker shade of the light accent.
Ground prominentGround(const Palette& palette, bool isDark)
{
    if (isDark)
        return {palette.accent, palette.accent, palette.background};
    const auto fill = palette.accent.darker(120);
    return {fill, fill, Qt::white};
}

Ground borderedGround(const Palette& palette, const TextColors& text, bool isDark)
{
    if (isDark)
        return {withAlpha(palette.ink, 0.10), withAlpha(palette.ink, 0.16), text.primary};
    return {QColor(255, 253, 250), palette.border.darker(108), text.primary};
}

} // namespace

PushButton::PushButton(const QString& text, Look look, std::optional<Symbol> symbol)
    : QPushButton(text)
    , look(look)
    , symbol(symbol)
{
    const auto weight = look == Look::prominent ? QFont::DemiBold : QFont::Normal;
    setFont(systemFont(look == Look::borderless ? fontpixels::caption : fontpixels::body, weight));
    setAttribute(Qt::WA_Hover);
}

int PushButton::contentWidth() const
{
    const auto size = symbol ? symbolSize(*symbol, font().pixelSize() + 3).width() + symbolGap : 0;
    return size + fontMetrics().horizontalAdvance(text());
}

QSize PushButton::sizeHint() const
{
    if (look == Look::borderless)
        return {contentWidth() + 2 * borderlessPadding, borderlessHeight};
    return {contentWidth() + 2 * padding, borderedHeight};
}

void PushButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto content = paintGround(painter);
    paintContent(painter, content);
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), radius);
}

// Yields the colour of what stands on it.
QColor PushButton::paintGround(QPainter& painter) const
{
    const auto desktop = QApplication::palette();
    const auto text = TextColors::of(desktop);
    if (look == Look::borderless)
        return isDown() || underMouse() ? text.primary : text.secondary;
    const bool isDark = appearanceOf(desktop) == Appearance::dark;
    const bool isProminent = (look == Look::prominent || isDefault()) && isEnabled();
    const auto palette = Palette::of(desktop);
    auto ground =
        isProminent ? prominentGround(palette, isDark) : borderedGround(palette, text, isDark);
    painter.setPen(ground.line);
    painter.setBrush(ground.fill);
    const auto area = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.drawRoundedRect(area, radius, radius);
    if (isEnabled() && (isDown() || underMouse())) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(withAlpha(isDark ? Qt::white : Qt::black, isDown() ? 0.14 : 0.05));
        painter.drawRoundedRect(area, radius, radius);
    }
    return isEnabled() ? ground.content : withAlpha(text.secondary, 0.7);
}

void PushButton::paintContent(QPainter& painter, const QColor& color) const
{
    auto x = (width() - contentWidth()) / 2;
    if (look == Look::borderless)
        x = borderlessPadding;
    if (symbol) {
        const auto size = symbolSize(*symbol, font().pixelSize() + 3);
        const int top = (height() - size.height()) / 2; // On a whole pixel, to be sharp.
        drawSymbol(painter, *symbol, {QPointF(x, top), size}, color);
        x += size.width() + symbolGap;
    }
    const auto left = std::max(x, borderlessPadding);
    const auto room = width() - left - borderlessPadding;
    painter.setPen(color);
    painter.drawText(QRect(left, 0, room, height()),
                     Qt::AlignVCenter | Qt::AlignLeft,
                     fontMetrics().elidedText(text(), Qt::ElideRight, room));
}

} // namespace nullprint::app
