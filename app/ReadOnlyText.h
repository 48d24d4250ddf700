// Text to read: selected and copied by mouse and keyboard, and never taken for something to edit.
#pragma once

#include <QPlainTextEdit>

namespace nullprint::app {

// Shows no caret. There is one all the same, which assistive technology reads along: the keys that
// move it scroll by as much, and with Shift they select.
class ReadOnlyText : public QPlainTextEdit {
    Q_OBJECT

public:
    explicit ReadOnlyText(QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool showsCursor() const;
    int lineOfCursor() const;
};

} // namespace nullprint::app
