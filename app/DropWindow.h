// The window that files are dropped onto.
#pragma once

#include "engine/support/FileURL.h"

#include <QDialog>

#include <functional>
#include <vector>

class QMimeData;

namespace nullprint::app {

class DropView : public QWidget {
    Q_OBJECT

public:
    explicit DropView(QWidget* parent = nullptr);

    // Called with the files of a drop, in their order and whatever their kind. What is pasted is
    // dropped by the keyboard.
    std::function<void(std::vector<FileURL>)> onDrop;

    QString statusText() const { return status; }
    void setStatusText(const QString& text);
    bool isHighlighted() const { return highlighted; }

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void setHighlighted(bool on);
    bool take(const QMimeData& data);

    QString status;
    bool highlighted = false;
};

// Owns the window, which closing only hides.
class DropWindowController {
public:
    explicit DropWindowController(std::function<void(std::vector<FileURL>)> onDrop);

    void updateStatus(int cleaned, int skipped);
    // Brings the window to the front, also when it is minimised; centred the first time.
    void show();
    QWidget& window() { return dialog; }
    DropView& view() { return *dropView; }

private:
    QDialog dialog;
    DropView* const dropView;
    bool isPlaced = false;
};

} // namespace nullprint::app
