#include "app/DropWindow.h"

#include "app/AccessibleRole.h"
#include "app/FileURIs.h"
#include "app/FocusRing.h"
#include "app/Fonts.h"
#include "app/Palette.h"
#include "app/Symbols.h"
#include "app/WindowPlace.h"

#include <QApplication>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QStringList>

namespace nullprint::app {
namespace {

constexpr int viewWidth = 380;
constexpr int viewHeight = 280;
constexpr int inset = 24;
constexpr qreal cornerRadius = 16;
constexpr qreal lineWidth = 2;
constexpr int symbolPoints = 52;
constexpr int symbolGap = 4; // Above the middle.
constexpr int statusHeight = 40;
constexpr float idleAlpha = 0.65F;

QString statusOf(int cleaned, int skipped)
{
    QStringList phrases;
    if (cleaned >= 1)
        phrases += QStringLiteral("Cleaned %1").arg(cleaned);
    if (skipped >= 1)
        phrases += QStringLiteral("skipped %1").arg(skipped);
    if (phrases.isEmpty())
        return QStringLiteral("Drop files here to scrub");
    return phrases.join(QStringLiteral(", "));
}

// Files may be among links: what they are is read when they are dropped.
bool carriesLinks(const QDropEvent& event)
{
    return event.mimeData()->hasFormat(QStringLiteral("text/uri-list")) &&
           event.possibleActions().testFlag(Qt::CopyAction);
}

// Whatever else a drag offers, it is never a move: originals stay where they are.
void acceptCopy(QDropEvent& event)
{
    event.setDropAction(Qt::CopyAction);
    event.accept();
}

} // namespace

DropView::DropView(QWidget* parent)
    : QWidget(parent)
{
    setAcceptDrops(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleRole(*this, QAccessible::Grouping);
    setAccessibleDescription(
        QStringLiteral("Files that are dropped or pasted here are checked for hidden data."));
    setFont(systemFont(fontpixels::body));
    setStatusText(statusOf(0, 0));
}

void DropView::setStatusText(const QString& text)
{
    status = text;
    setAccessibleName(text);
    update();
}

void DropView::setHighlighted(bool on)
{
    highlighted = on;
    update();
}

void DropView::dragEnterEvent(QDragEnterEvent* event)
{
    if (!carriesLinks(*event)) {
        event->ignore();
        return;
    }
    setHighlighted(true);
    acceptCopy(*event);
}

void DropView::dragMoveEvent(QDragMoveEvent* event)
{
    acceptCopy(*event);
}

void DropView::dragLeaveEvent(QDragLeaveEvent*)
{
    setHighlighted(false);
}

void DropView::dropEvent(QDropEvent* event)
{
    setHighlighted(false);
    if (take(*event->mimeData()))
        acceptCopy(*event);
    else
        event->ignore();
}

bool DropView::take(const QMimeData& data)
{
    auto files = readFileURLs(data);
    if (files.empty())
        return false;
    if (onDrop)
        onDrop(std::move(files));
    return true;
}

void DropView::keyPressEvent(QKeyEvent* event)
{
    if (!event->matches(QKeySequence::Paste))
        QWidget::keyPressEvent(event);
    else if (const auto* data = QGuiApplication::clipboard()->mimeData())
        take(*data);
}

// A window that goes away under a drag is not told that the drag has left.
void DropView::hideEvent(QHideEvent*)
{
    setHighlighted(false);
}

void DropView::paintEvent(QPaintEvent*)
{
    const auto desktop = QApplication::palette();
    const auto palette = Palette::of(desktop);
    QPainter painter(this);
    painter.fillRect(rect(), palette.background);

    QPen dashes(highlighted ? palette.accent : palette.border, lineWidth);
    dashes.setDashPattern({8 / lineWidth, 6 / lineWidth}); // In widths of the line.
    dashes.setCapStyle(Qt::FlatCap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(dashes);
    painter.drawRoundedRect(rect().adjusted(inset, inset, -inset, -inset),
                            cornerRadius,
                            cornerRadius);

    auto ink = palette.ink;
    ink.setAlphaF(idleAlpha);
    const auto size = symbolSize(Symbol::eyeSlash, symbolPoints);
    const auto middle = QRectF(rect()).center();
    const QPointF corner(middle.x() - size.width() / 2.0, middle.y() - symbolGap - size.height());
    drawSymbol(painter, Symbol::eyeSlash, {corner, size}, highlighted ? palette.accent : ink);

    painter.setPen(TextColors::of(desktop).secondary);
    painter.drawText(QRectF(0, middle.y(), width(), statusHeight),
                     Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap,
                     status);
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), 4);
}

DropWindowController::DropWindowController(std::function<void(std::vector<FileURL>)> onDrop)
    : dropView(new DropView(&dialog))
{
    dropView->onDrop = std::move(onDrop);
    dropView->setFixedSize(viewWidth, viewHeight);
    dialog.setWindowTitle(QStringLiteral("Nullprint"));
    dialog.setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                          Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint);
    dialog.setFixedSize(viewWidth, viewHeight);
}

void DropWindowController::updateStatus(int cleaned, int skipped)
{
    dropView->setStatusText(statusOf(cleaned, skipped));
}

void DropWindowController::show()
{
    if (!isPlaced)
        centerOnScreen(dialog);
    isPlaced = true;
    bringToFront(dialog);
}

} // namespace nullprint::app
