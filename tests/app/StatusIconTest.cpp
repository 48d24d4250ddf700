#include "app/StatusIcon.h"

#include "app/Palette.h"
#include "tests/app/Widgets.h"

#include <QPainter>

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

constexpr int usualSides[]{16, 22, 24, 32, 48, 64};

QImage on(const QColor& ground, const QIcon& icon, int side)
{
    QImage picture(side, side, QImage::Format_RGB32);
    picture.fill(ground);
    QPainter painter(&picture);
    painter.drawPixmap(0, 0, icon.pixmap(QSize(side, side), 1.0));
    return picture;
}

// The share of pixels of which that holds.
template <typename Condition> double share(const QImage& picture, Condition condition)
{
    int count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            count += condition(picture.pixelColor(x, y)) ? 1 : 0;
    }
    return double(count) / (picture.width() * picture.height());
}

TEST(StatusIcon, isSeenOnEveryGround)
{
    for (const auto& desktop : {QPalette(), darkDesktopPalette()}) {
        const DesktopPalette used(desktop);
        for (const int side : usualSides) {
            for (const int level : {0, 60, 128, 200, 255}) {
                const QColor ground(level, level, level);
                const auto seen = share(on(ground, statusIcon(), side), [&](const QColor& color) {
                    return contrast(color, ground) >= 3;
                });
                EXPECT_GT(seen, 0.1) << side << " on " << level;
            }
        }
    }
}

TEST(StatusIcon, isADrawingAndNoTile)
{
    const auto picture = statusIcon().pixmap(QSize(22, 22), 1.0).toImage();
    const auto empty = share(picture, [](const QColor& color) { return color.alpha() == 0; });
    EXPECT_GT(empty, 0.3);
    EXPECT_LT(empty, 0.8);
}

TEST(StatusIcon, fitsTheDesktopsAppearance)
{
    // The stroke crosses the middle.
    const auto stroke = [] {
        return statusIcon().pixmap(QSize(64, 64), 1.0).toImage().pixelColor(32, 32).lightness();
    };
    EXPECT_LT(stroke(), 64);
    const DesktopPalette used(darkDesktopPalette());
    EXPECT_GT(stroke(), 192);
}

TEST(StatusIcon, hasADotThatIsSeenWhileBusy)
{
    for (const auto& desktop : {QPalette(), darkDesktopPalette()}) {
        const DesktopPalette used(desktop);
        for (const int side : usualSides) {
            const auto isOrange = [](const QColor& color) {
                return color.red() > color.blue() + 100;
            };
            EXPECT_EQ(share(on(Qt::gray, statusIcon(), side), isOrange), 0) << side;
            for (const QColor ground : {Qt::black, Qt::gray, Qt::white})
                EXPECT_GT(share(on(ground, busyStatusIcon(), side), isOrange), 0.1) << side;
        }
    }
}

} // namespace
} // namespace nullprint::app
