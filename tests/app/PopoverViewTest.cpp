#include "app/PopoverView.h"

#include "app/Palette.h"
#include "app/PushButton.h"
#include "app/Switch.h"
#include "tests/app/Widgets.h"

#include <QAccessible>
#include <QLabel>
#include <QTest>
#include <QTextLayout>

#include <gtest/gtest.h>

#include <limits>

namespace nullprint::app {
namespace {

class Panel : public testing::Test {
protected:
    Panel()
    {
        view.show();
        view.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&view));
    }

    QLabel& footerLabel() { return *view.findChildren<QLabel*>().last(); }
    // As it is read.
    QString footer()
    {
        EXPECT_EQ(footerLabel().text().replace(QChar::Nbsp, u' '), footerLabel().accessibleName());
        return footerLabel().accessibleName();
    }
    Switch& login() { return *view.findChild<Switch*>(); }

    UIModel model;
    QStringList asked;
    std::vector<bool> logins;
    PopoverView view{model,
                     {[this] { asked += QStringLiteral("check"); },
                      [this] { asked += QStringLiteral("drop"); },
                      [this] { asked += QStringLiteral("quit"); },
                      [this](bool on) { logins.push_back(on); }}};
};

TEST_F(Panel, showsItsTextsInOrder)
{
    QStringList texts;
    for (const auto* label : view.findChildren<QLabel*>()) {
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
        texts += label->text().replace(QChar::Nbsp, u' ');
    }
    EXPECT_EQ(
        texts,
        QStringList(
            {QStringLiteral("Nullprint"),
             QStringLiteral("BETA"),
             QStringLiteral("See what your files reveal"),
             QStringLiteral("GPS, author names, edit history — removed before you share"),
             QStringLiteral("Photos, PDFs and Word / Excel / PowerPoint. Nullprint shows what's "
                            "hidden in plain language — location, device, author, comments. "
                            "Everything stays on your Mac."),
             QStringLiteral("Cleaned copies save next to the originals with “ (scrubbed)” in the "
                            "name — originals are never changed."),
             QStringLiteral("Beta 2.0 · Checked 0 · Cleaned 0 · Last clean: never")}));
}

TEST_F(Panel, followsTheModel)
{
    model.setFilesChecked(12);
    model.setFilesCleaned(5);
    model.setLastCleanText(QStringLiteral("2026-03-02 09:05"));
    EXPECT_EQ(footer(),
              QStringLiteral("Beta 2.0 · Checked 12 · Cleaned 5 · Last clean: 2026-03-02 09:05"));
    model.setLoginOn(true);
    EXPECT_TRUE(login().isChecked());
}

TEST_F(Panel, breaksItsTotalsBetweenParts)
{
    model.setLastCleanText(QStringLiteral("2026-03-02 09:05"));
    for (const qint64 count : {12LL, 123LL, 12345LL, 123456789012345678LL}) {
        model.setFilesChecked(count);
        model.setFilesCleaned(count);
        QTextOption wrapping;
        wrapping.setWrapMode(QTextOption::WordWrap);
        QTextLayout layout(footerLabel().text(), footerLabel().font());
        layout.setTextOption(wrapping);
        layout.beginLayout();
        QStringList lines;
        for (auto line = layout.createLine(); line.isValid(); line = layout.createLine()) {
            line.setLineWidth(footerLabel().width());
            lines += footerLabel().text().mid(line.textStart(), line.textLength()).trimmed();
        }
        layout.endLayout();
        const auto last = lines.takeLast();
        EXPECT_TRUE(last.endsWith(QStringLiteral("09:05")));
        for (const auto& line : lines)
            EXPECT_TRUE(line.endsWith(u'·')) << line.toStdString();
        EXPECT_TRUE(count < 12345 || !lines.isEmpty()) << count;
    }
}

TEST_F(Panel, asksForWhatIsPressed)
{
    for (const auto* text : {"Check Files…", "Open Drop Window…", "Quit Nullprint"}) {
        auto* button = buttonOf(view, QString::fromUtf8(text));
        ASSERT_NE(button, nullptr) << text;
        QTest::mouseClick(button, Qt::LeftButton);
    }
    EXPECT_EQ(asked.join(u' '), QStringLiteral("check drop quit"));
}

TEST_F(Panel, switchGoesBackWhenThePositionDoesNotHold)
{
    QTest::mouseClick(&login(), Qt::LeftButton);
    EXPECT_EQ(logins, std::vector<bool>{true});
    EXPECT_FALSE(login().isChecked());
    login().setFocus();
    QTest::keyClick(&login(), Qt::Key_Space);
    EXPECT_EQ(logins, (std::vector<bool>{true, true}));
    EXPECT_FALSE(login().isChecked());
}

TEST_F(Panel, switchIsACheckBoxForAssistiveTechnology)
{
    auto* accessible = QAccessible::queryAccessibleInterface(&login());
    ASSERT_NE(accessible, nullptr);
    EXPECT_EQ(accessible->role(), QAccessible::CheckBox);
    EXPECT_EQ(accessible->text(QAccessible::Name), QStringLiteral("Open at Login"));
    EXPECT_FALSE(accessible->state().checked);
    model.setLoginOn(true);
    EXPECT_TRUE(accessible->state().checked);
}

TEST_F(Panel, badgeIsALabelInItsTint)
{
    QLabel* badge = nullptr;
    for (auto* label : view.findChildren<QLabel*>()) {
        if (label->text() == QStringLiteral("BETA"))
            badge = label;
    }
    ASSERT_NE(badge, nullptr);
    EXPECT_EQ(badge->font().pixelSize(), 9);
    EXPECT_EQ(badge->font().weight(), QFont::Bold);
    EXPECT_EQ(badge->width(), badge->fontMetrics().horizontalAdvance(badge->text()) + 2 * 5);
    EXPECT_EQ(badge->height(), badge->fontMetrics().height() + 3);
    auto* accessible = QAccessible::queryAccessibleInterface(badge);
    EXPECT_EQ(accessible->role(), QAccessible::StaticText);
    EXPECT_EQ(accessible->text(QAccessible::Name), QStringLiteral("BETA"));
    // A ground of its own tint, and the word on it.
    const auto picture = badge->grab().toImage();
    const auto ground = picture.pixelColor(2, picture.height() / 2);
    EXPECT_NE(ground, view.grab().toImage().pixelColor(4, 4));
    double most = 0;
    for (int x = 5; x < picture.width() - 5; ++x) {
        for (int y = 2; y < picture.height() - 2; ++y)
            most = std::max(most, contrast(picture.pixelColor(x, y), ground));
    }
    EXPECT_GE(most, 4.5);
}

TEST_F(Panel, cutsNoTextOffHoweverLong)
{
    const auto width = view.width();
    const auto height = view.height();
    model.setFilesChecked(std::numeric_limits<qint64>::max());
    model.setFilesCleaned(std::numeric_limits<qint64>::min());
    model.setLastCleanText(QStringLiteral("2026-03-02 09:05"));
    QApplication::processEvents();
    EXPECT_EQ(view.width(), width);
    EXPECT_GT(view.height(), height);
    EXPECT_EQ(view.size(), view.sizeHint());
    for (const auto* label : view.findChildren<QLabel*>()) {
        const auto needed =
            label->fontMetrics().boundingRect(QRect(0, 0, label->width(), 1000),
                                              label->wordWrap() ? Qt::TextWordWrap : 0,
                                              label->text());
        EXPECT_LE(needed.width(), label->width()) << label->text().toStdString();
        EXPECT_LE(needed.height(), label->height()) << label->text().toStdString();
    }
    for (const auto* button : view.findChildren<PushButton*>())
        EXPECT_GE(button->width(), button->sizeHint().width()) << button->text().toStdString();
}

TEST_F(Panel, buttonsStretchAndComeInOrder)
{
    auto* check = buttonOf(view, QStringLiteral("Check Files…"));
    auto* drop = buttonOf(view, QStringLiteral("Open Drop Window…"));
    EXPECT_EQ(check->width(), drop->width());
    EXPECT_EQ(check->width(), view.width() - 2 * 16 - 2 * 12);
    check->setFocus();
    QTest::keyClick(check, Qt::Key_Tab);
    EXPECT_TRUE(drop->hasFocus());
    QTest::keyClick(drop, Qt::Key_Tab);
    EXPECT_TRUE(login().hasFocus());
    QTest::keyClick(&login(), Qt::Key_Tab);
    EXPECT_TRUE(buttonOf(view, QStringLiteral("Quit Nullprint"))->hasFocus());
}

TEST_F(Panel, showsWhereTheKeyboardIs)
{
    auto* drop = buttonOf(view, QStringLiteral("Open Drop Window…"));
    const auto before = drop->grab().toImage();
    buttonOf(view, QStringLiteral("Check Files…"))->setFocus();
    QTest::keyClick(&view, Qt::Key_Tab);
    ASSERT_TRUE(drop->hasFocus());
    EXPECT_NE(drop->grab().toImage(), before);
}

TEST_F(Panel, hasTheDesktopsAppearance)
{
    for (const auto& desktop : {QPalette(), darkDesktopPalette()}) {
        const DesktopPalette used(desktop);
        const auto picture = view.grab().toImage();
        const auto background = Palette::of(desktop).background;
        EXPECT_EQ(picture.pixelColor(4, 4), background);
        // Inside a card, above its first line of text: black at a twentieth.
        auto* first = view.findChildren<QLabel*>()[4];
        const auto card = picture.pixelColor(first->mapTo(&view, QPoint(0, -5)));
        EXPECT_NEAR(card.red(), background.red() * 0.95, 1.5);
        EXPECT_NEAR(card.blue(), background.blue() * 0.95, 1.5);
    }
}

} // namespace
} // namespace nullprint::app
