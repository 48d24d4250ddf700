#include "app/Switch.h"

#include "app/FocusRing.h"
#include "app/Fonts.h"
#include "app/Palette.h"

#include <QPainter>
#include <QStyle>

namespace nullprint::app {
namespace {

constexpr int trackWidth = 32;
constexpr int trackHeight = 18;
constexpr int gap = 8;
constexpr int ring = 3; // Around the track, for the focus ring.
constexpr int slideMs = 120;

} // namespace

Switch::Switch(const QString& text)
    : QCheckBox(text)
{
    setFont(systemFont(fontpixels::body));
    setAttribute(Qt::WA_Hover);
    knob.setStartValue(0.0);
    knob.setEndValue(0.0);
    connect(&knob, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

QSize Switch::sizeHint() const
{
    const auto text = fontMetrics().horizontalAdvance(this->text());
    return {text + gap + trackWidth + 2 * ring, trackHeight + 2 * ring};
}

QRectF Switch::track() const
{
    const auto text = fontMetrics().horizontalAdvance(this->text());
    return {qreal(text + gap + ring), (height() - trackHeight) / 2.0, trackWidth, trackHeight};
}

bool Switch::hitButton(const QPoint& position) const
{
    return rect().contains(position);
}

void Switch::checkStateSet()
{
    QCheckBox::checkStateSet();
    slide();
}

void Switch::nextCheckState()
{
    QCheckBox::nextCheckState();
    slide();
}

void Switch::slide()
{
    const auto to = isChecked() ? 1.0 : 0.0;
    if (knob.endValue().toReal() == to)
        return;
    const auto from = knob.currentValue();
    const bool moves =
        isVisible() && style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) > 0;
    knob.stop();
    knob.setStartValue(moves ? from : QVariant(to));
    knob.setEndValue(to);
    knob.setDuration(moves ? slideMs : 0);
    knob.start();
}

void Switch::paintEvent(QPaintEvent*)
{
    const auto desktop = QApplication::palette();
    const auto palette = Palette::of(desktop);
    const bool isDark = appearanceOf(desktop) == Appearance::dark;
    const auto on = knob.currentValue().toReal();
    const auto area = track();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(TextColors::of(desktop).primary);
    painter.drawText(rect(), Qt::AlignVCenter | Qt::AlignLeft, text());
    painter.setPen(Qt::NoPen);
    painter.setBrush(isDark ? QColor(112, 103, 91) : QColor(160, 148, 132));
    painter.drawRoundedRect(area, trackHeight / 2.0, trackHeight / 2.0);
    painter.setOpacity(on);
    painter.setBrush(isDark ? palette.accent : palette.accent.darker(120));
    painter.drawRoundedRect(area, trackHeight / 2.0, trackHeight / 2.0);
    painter.setOpacity(1);
    painter.setBrush(Qt::white);
    const auto side = trackHeight - 4.0;
    const auto x = area.left() + 2 + on * (trackWidth - trackHeight);
    painter.drawEllipse(QRectF(x, area.top() + 2, side, side));
    if (showsFocus(*this))
        paintFocusRing(painter, area.adjusted(-ring, -ring, ring, ring), trackHeight / 2.0 + ring);
}

} // namespace nullprint::app
