// The window that files are dropped onto.
#pragma once

#include "engine/support/FileURL.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

namespace nullprint::app {

class DropView : public QWidget {
    Q_OBJECT

public:
    explicit DropView(QWidget* parent = nullptr);

    // Called with the files of a drop, in their order and whatever their kind.
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
    void paintEvent(QPaintEvent* event) override;

private:
    void setHighlighted(bool on);

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
    QWidget& window() { return *dropView; }

private:
    std::unique_ptr<DropView> dropView;
    bool isPlaced = false;
};

} // namespace nullprint::app
