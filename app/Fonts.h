// The desktop's font in the sizes that the windows use.
#pragma once

#include <QApplication>
#include <QFont>

namespace nullprint::app {

namespace fontpixels {
inline constexpr int badge = 9;
inline constexpr int caption = 11;
inline constexpr int small = 12;
inline constexpr int body = 13;
inline constexpr int title = 15;
} // namespace fontpixels

// Sizes are pixels: the windows' measures are, too, and both grow with the display's scale.
inline QFont systemFont(int pixels, QFont::Weight weight = QFont::Normal)
{
    auto font = QApplication::font();
    font.setPixelSize(pixels);
    font.setWeight(weight);
    return font;
}

} // namespace nullprint::app
