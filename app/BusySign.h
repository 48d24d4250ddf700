// A small turning ring: something is going on.
#pragma once

#include <QTimer>
#include <QWidget>

namespace nullprint::app {

// Turns while it is visible.
class BusySign : public QWidget {
    Q_OBJECT

public:
    explicit BusySign(QWidget* parent = nullptr);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QTimer turning;
    int step = 0;
};

} // namespace nullprint::app
