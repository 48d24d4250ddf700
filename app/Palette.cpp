#include "app/Palette.h"

namespace nullprint::app {
namespace {

QColor mixed(const QColor& most, const QColor& some, int percent)
{
    const auto mix = [percent](int a, int b) { return (a * (100 - percent) + b * percent) / 100; };
    return {mix(most.red(), some.red()),
            mix(most.green(), some.green()),
            mix(most.blue(), some.blue())};
}

struct RoleColor {
    QPalette::ColorRole role;
    QRgb usual;
    QRgb disabled;
};

// Light and dark edges surround the button colour as in the style's own light palette: bevels and
// separators are drawn with them.
constexpr RoleColor darkRoles[]{
    {QPalette::Window, 0x302c27, 0x302c27},
    {QPalette::WindowText, 0xf0eae0, 0x8d867b},
    {QPalette::Base, 0x211e1a, 0x2b2823},
    {QPalette::AlternateBase, 0x2a2621, 0x2b2823},
    {QPalette::Text, 0xf0eae0, 0x8d867b},
    {QPalette::PlaceholderText, 0x9d968a, 0x6f695f},
    {QPalette::Button, 0x403b34, 0x37332d},
    {QPalette::ButtonText, 0xf0eae0, 0x8d867b},
    {QPalette::BrightText, 0xffffff, 0xffffff},
    {QPalette::ToolTipBase, 0x403b34, 0x403b34},
    {QPalette::ToolTipText, 0xf0eae0, 0xf0eae0},
    {QPalette::Highlight, 0x8a6a45, 0x57504a},
    {QPalette::HighlightedText, 0xffffff, 0xd8d2c8},
    {QPalette::Link, 0xd8b688, 0x8d867b},
    {QPalette::LinkVisited, 0xc3a58a, 0x8d867b},
    {QPalette::Light, 0x5c554b, 0x5c554b},
    {QPalette::Midlight, 0x4c463e, 0x4c463e},
    {QPalette::Mid, 0x292520, 0x292520},
    {QPalette::Dark, 0x1d1a16, 0x1d1a16},
    {QPalette::Shadow, 0x0c0a08, 0x0c0a08},
};

} // namespace

Appearance appearanceOf(const QPalette& desktop)
{
    const auto text = desktop.color(QPalette::Active, QPalette::WindowText).lightness();
    const auto window = desktop.color(QPalette::Active, QPalette::Window).lightness();
    return text > window ? Appearance::dark : Appearance::light;
}

Palette Palette::of(const QPalette& desktop)
{
    if (appearanceOf(desktop) == Appearance::dark)
        return {{43, 38, 32}, {194, 162, 120}, {239, 230, 216}, {74, 66, 56}};
    return {{250, 245, 236}, {156, 122, 84}, {78, 61, 42}, {232, 220, 200}};
}

TextColors TextColors::of(const QPalette& desktop)
{
    const auto primary = desktop.color(QPalette::Active, QPalette::WindowText);
    const auto secondary = mixed(primary, Palette::of(desktop).background, 36);
    if (appearanceOf(desktop) == Appearance::dark)
        return {primary, secondary, {255, 159, 10}, {48, 209, 88}};
    return {primary, secondary, {168, 76, 0}, {24, 114, 48}};
}

QPalette darkDesktopPalette()
{
    QPalette palette;
    for (const auto& [role, usual, disabled] : darkRoles) {
        palette.setColor(QPalette::All, role, QColor(usual));
        palette.setColor(QPalette::Disabled, role, QColor(disabled));
    }
    return palette;
}

} // namespace nullprint::app
