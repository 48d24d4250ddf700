// The push buttons of the application's windows.
#pragma once

#include "app/Symbols.h"

#include <QPushButton>

#include <optional>

namespace nullprint::app {

// `prominent` is a window's main action; a bordered button that is the default one looks the same.
class PushButton : public QPushButton {
    Q_OBJECT

public:
    enum class Look { prominent, bordered, borderless };

    PushButton(const QString& text, Look look, std::optional<Symbol> symbol = std::nullopt);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int contentWidth() const;
    QColor paintGround(QPainter& painter) const;
    void paintContent(QPainter& painter, const QColor& color) const;

    Look look;
    std::optional<Symbol> symbol;
};

} // namespace nullprint::app
