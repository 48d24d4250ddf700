#include "app/Palette.h"

#include "tests/app/Widgets.h"

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

TEST(Palette, isDarkWhereTextIsLighterThanItsWindow)
{
    EXPECT_EQ(appearanceOf(QPalette(Qt::white, Qt::black)), Appearance::dark);
    QPalette light;
    light.setColor(QPalette::Window, QColor(239, 239, 239));
    light.setColor(QPalette::WindowText, Qt::black);
    EXPECT_EQ(appearanceOf(light), Appearance::light);
    EXPECT_EQ(appearanceOf(darkDesktopPalette()), Appearance::dark);
}

TEST(Palette, hasFourColoursForEachAppearance)
{
    const auto dark = Palette::of(darkDesktopPalette());
    EXPECT_EQ(dark.background, QColor(43, 38, 32));
    EXPECT_EQ(dark.accent, QColor(194, 162, 120));
    EXPECT_EQ(dark.ink, QColor(239, 230, 216));
    EXPECT_EQ(dark.border, QColor(74, 66, 56));
    const auto light = Palette::of(QPalette());
    EXPECT_EQ(light.background, QColor(250, 245, 236));
    EXPECT_EQ(light.accent, QColor(156, 122, 84));
    EXPECT_EQ(light.ink, QColor(78, 61, 42));
    EXPECT_EQ(light.border, QColor(232, 220, 200));
}

TEST(Palette, textCanBeReadOnEveryGround)
{
    for (const auto& desktop : {QPalette(), darkDesktopPalette()}) {
        const auto text = TextColors::of(desktop);
        for (const auto& ground : {desktop.color(QPalette::Base), Palette::of(desktop).background})
            for (const auto& color : {text.primary, text.secondary, text.orange, text.green})
                EXPECT_GE(contrast(color, ground), 4.5)
                    << color.name().toStdString() << " on " << ground.name().toStdString();
    }
}

} // namespace
} // namespace nullprint::app
