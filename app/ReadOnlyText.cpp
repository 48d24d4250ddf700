#include "app/ReadOnlyText.h"

#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>

namespace nullprint::app {

ReadOnlyText::ReadOnlyText(QWidget* parent)
    : QPlainTextEdit(parent)
{
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setCursorWidth(0);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setTabChangesFocus(true);
}

bool ReadOnlyText::showsCursor() const
{
    const auto place = cursorRect();
    return place.top() >= 0 && place.bottom() < viewport()->height();
}

int ReadOnlyText::lineOfCursor() const
{
    const auto cursor = textCursor();
    const auto line = cursor.block().layout()->lineForTextPosition(cursor.positionInBlock());
    return cursor.block().firstLineNumber() + (line.isValid() ? line.lineNumber() : 0);
}

void ReadOnlyText::keyPressEvent(QKeyEvent* event)
{
    // Whoever scrolled by the mouse goes on from there.
    if (!textCursor().hasSelection() && !showsCursor())
        setTextCursor(cursorForPosition(QPoint()));
    const int place = verticalScrollBar()->value();
    const int line = lineOfCursor();
    QPlainTextEdit::keyPressEvent(event);
    if (!textCursor().hasSelection())
        verticalScrollBar()->setValue(place + lineOfCursor() - line);
}

} // namespace nullprint::app
