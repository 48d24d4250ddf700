// The panel's window: beside the icon, in front of everything, and gone with the next click
// elsewhere.
#pragma once

#include <QElapsedTimer>
#include <QEvent>
#include <QTimer>
#include <QWidget>

#include <optional>

namespace nullprint::app {

// Where a panel of this size goes: below its anchor in the upper half of the screen, above it in
// the lower half, centred on it, and inside `screen`.
QRect popoverPlace(QSize size, const QRect& anchor, const QRect& screen);

class PopoverScroller;

class Popover : public QWidget {
    Q_OBJECT

public:
    // Takes `content` over and has its size. What is higher than the screen can be scrolled.
    explicit Popover(QWidget* content);

    // Whether it was closed by the very click that now asks for it. A click on the icon is one
    // elsewhere too, and comes first.
    bool wasJustClosed() const;
    // As an ordinary window where there is no tray to open from; otherwise beside `anchor`, or in
    // a corner when nobody knows where the icon is.
    void open(const std::optional<QRect>& anchor, bool asWindow);
    void performClose();
    // For another window to be seen: closes, unless it is a window itself, which stays.
    void makeWay();
    bool isOpenAsWindow() const { return isVisible() && !isTransient(); }

protected:
    bool event(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool isTransient() const;
    void setKind(bool asWindow);
    int highest(const QRect& around) const;
    void placeAt(const QRect& around);
    void placeAsWindow();
    void followFocus(QEvent::Type change);
    void tellOfBeingActive();

    PopoverScroller* scroller;
    QElapsedTimer sinceClosedByClick;
    QTimer withoutFocus;
    bool isReached = false; // By the pointer, since it was opened.
    std::optional<QPoint> lastPlaceAsWindow;
    bool closesItself = true;
};

} // namespace nullprint::app
