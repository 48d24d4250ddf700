#include "app/platform/Popover.h"

#include "app/WindowPlace.h"
#include "app/platform/Platform.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>

namespace nullprint::app {
namespace {

// Between the click that closes the panel and its arrival as an activation.
constexpr qint64 sameClickMs = 250;
// For the pointer's way from the icon to the panel.
constexpr std::chrono::milliseconds wayToPanel{2'000};
constexpr int gap = 4;

// Popups of X11 need no place in a task bar; Wayland has them only on top of other windows.
Qt::WindowFlags windowKind(bool asWindow)
{
    if (asWindow)
        return Qt::Window | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
               Qt::WindowMinimizeButtonHint | Qt::CustomizeWindowHint;
    return isOnWayland() ? Qt::Tool | Qt::FramelessWindowHint : Qt::Popup;
}

int within(int wanted, int lowest, int highest)
{
    return std::max(lowest, std::min(wanted, highest));
}

QScreen* screenOf(const QPoint& place)
{
    QScreen* screen = QGuiApplication::screenAt(place);
    return screen != nullptr ? screen : QGuiApplication::primaryScreen();
}

// In a corner, where most icons are.
QRect usualAnchor()
{
    return {QGuiApplication::primaryScreen()->availableGeometry().topRight(), QSize(1, 1)};
}

} // namespace

// As large as its content, up to a height.
class PopoverScroller : public QScrollArea {
public:
    explicit PopoverScroller(QWidget* content)
    {
        setFrameShape(QFrame::NoFrame);
        setFocusPolicy(Qt::NoFocus);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setWidgetResizable(true);
        setWidget(content);
    }

    void setHighest(int height)
    {
        highest = height;
        updateGeometry();
    }

    QSize sizeHint() const override
    {
        const auto whole = widget()->sizeHint().expandedTo(widget()->minimumSize());
        if (whole.height() <= highest)
            return whole;
        return {whole.width() + verticalScrollBar()->sizeHint().width(), highest};
    }
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::LayoutRequest) // The content has changed.
            updateGeometry();
        return QScrollArea::event(event);
    }

private:
    int highest = QWIDGETSIZE_MAX;
};

QRect popoverPlace(QSize size, const QRect& anchor, const QRect& screen)
{
    const bool isBelow = anchor.center().y() <= screen.center().y();
    const int y = isBelow ? anchor.bottom() + 1 + gap : anchor.top() - gap - size.height();
    const int x = anchor.center().x() - size.width() / 2;
    return {{within(x, screen.left(), screen.right() + 1 - size.width()),
             within(y, screen.top(), screen.bottom() + 1 - size.height())},
            size};
}

Popover::Popover(QWidget* content)
{
    setWindowTitle(QStringLiteral("Nullprint"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSizeConstraint(QLayout::SetFixedSize); // It follows its content while it is open.
    scroller = new PopoverScroller(content);
    layout->addWidget(scroller);
    setWindowFlags(windowKind(false));
    withoutFocus.setSingleShot(true);
    connect(&withoutFocus, &QTimer::timeout, this, &QWidget::close);
}

bool Popover::wasJustClosed() const
{
    return sinceClosedByClick.isValid() && sinceClosedByClick.elapsed() < sameClickMs;
}

void Popover::open(const std::optional<QRect>& anchor, bool asWindow)
{
    if (!isVisible()) {
        setKind(asWindow);
        ensurePolished();
        const auto around = anchor.value_or(usualAnchor());
        scroller->setHighest(highest(around));
        layout()->activate();
        adjustSize();
        if (QWidget* last = focusWidget()) // The keyboard begins at the top each time.
            last->clearFocus();
        scroller->verticalScrollBar()->setValue(0);
        if (isTransient())
            placeAt(around);
        else
            placeAsWindow();
    }
    bringToFront(*this);
}

void Popover::performClose()
{
    closesItself = false;
    close();
    closesItself = true;
}

void Popover::makeWay()
{
    if (!isOpenAsWindow())
        performClose();
}

bool Popover::isTransient() const
{
    return windowType() != Qt::Window;
}

void Popover::setKind(bool asWindow)
{
    const auto kind = windowKind(asWindow);
    if (windowFlags() != kind)
        setWindowFlags(kind);
    setAttribute(Qt::WA_QuitOnClose, asWindow); // As a popup it is never the last one.
}

void Popover::placeAt(const QRect& around)
{
    move(popoverPlace(size(), around, screenOf(around.center())->availableGeometry()).topLeft());
}

int Popover::highest(const QRect& around) const
{
    if (isTransient())
        return screenOf(around.center())->availableSize().height();
    constexpr QSize unbounded(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    return sizeThatFits(unbounded, screenOfPointer()).height();
}

// Where the user left it, as long as that is on a screen.
void Popover::placeAsWindow()
{
    const auto last = lastPlaceAsWindow.value_or(QPoint());
    if (lastPlaceAsWindow && QGuiApplication::screenAt(last + rect().center()) != nullptr)
        move(last);
    else
        centerOnScreen(*this);
}

bool Popover::event(QEvent* event)
{
    if (windowType() == Qt::Tool)
        followFocus(event->type());
    return QWidget::event(event);
}

// Popups are closed by their grab; on Wayland the focus tells of a click elsewhere. But some
// compositors give it to whatever the pointer passes, also on its way to the panel.
void Popover::followFocus(QEvent::Type change)
{
    if (change == QEvent::Enter)
        isReached = true;
    else if (change == QEvent::WindowActivate)
        withoutFocus.stop();
    else if (change == QEvent::WindowDeactivate && isReached)
        close();
    else if (change == QEvent::WindowDeactivate)
        withoutFocus.start(wayToPanel);
}

void Popover::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    isReached = false;
    tellOfBeingActive();
}

// Of other windows the focus tells, which a popup takes from nobody.
void Popover::tellOfBeingActive()
{
    if (windowType() != Qt::Popup)
        return;
    QAccessible::State changed;
    changed.active = true;
    QAccessibleStateChangeEvent event(this, changed);
    QAccessible::updateAccessibility(&event);
}

void Popover::hideEvent(QHideEvent* event)
{
    withoutFocus.stop();
    tellOfBeingActive();
    if (!isTransient())
        lastPlaceAsWindow = pos();
    else if (closesItself)
        sinceClosedByClick.start();
    QWidget::hideEvent(event);
}

void Popover::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Cancel))
        performClose();
    else
        QWidget::keyPressEvent(event);
}

} // namespace nullprint::app
