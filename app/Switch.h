// A check box that looks like a switch, with its text before it.
#pragma once

#include <QCheckBox>
#include <QVariantAnimation>

namespace nullprint::app {

class Switch : public QCheckBox {
    Q_OBJECT

public:
    explicit Switch(const QString& text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void checkStateSet() override;
    void nextCheckState() override;
    bool hitButton(const QPoint& position) const override;
    void paintEvent(QPaintEvent* event) override;

private:
    void slide();
    QRectF track() const;

    QVariantAnimation knob; // From 0, off, to 1, on.
};

} // namespace nullprint::app
