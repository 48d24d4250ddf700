// Colours of the application's windows, light and dark.
#pragma once

#include <QColor>
#include <QPalette>

namespace nullprint::app {

enum class Appearance { light, dark };

// Dark is what writes light text on a darker window, whoever chose the colours.
Appearance appearanceOf(const QPalette& desktop);

struct Palette {
    QColor background;
    QColor accent;
    QColor ink;
    QColor border;

    static Palette of(const QPalette& desktop);
};

// Colours of text that the desktop's palette does not have. All can be read on its text background
// and on `Palette::background`.
struct TextColors {
    QColor primary;
    QColor secondary;
    QColor orange;
    QColor green;

    static TextColors of(const QPalette& desktop);

    friend bool operator==(const TextColors&, const TextColors&) = default;
};

// The colours of a dark desktop, for platforms whose style knows only light ones.
QPalette darkDesktopPalette();

} // namespace nullprint::app
