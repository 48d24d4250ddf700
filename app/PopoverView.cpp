#include "app/PopoverView.h"

#include "app/Fonts.h"
#include "app/Palette.h"
#include "app/PushButton.h"
#include "app/Switch.h"
#include "cli/Version.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

namespace nullprint::app {
namespace {

constexpr int panelWidth = 408;
constexpr int margin = 16;
constexpr int groupSpacing = 12;
constexpr int cardPadding = 12;
constexpr int cardSpacing = 8;
constexpr qreal cardRadius = 10;
constexpr int titlePixels = 17;
constexpr int tileSide = 46;
constexpr qreal tileRadius = 11;
constexpr int tileSymbolPoints = 20;

Palette desktopColors()
{
    return Palette::of(QApplication::palette());
}

// A group of the panel's content.
class Card : public QWidget {
public:
    Card() { box.setContentsMargins(cardPadding, cardPadding, cardPadding, cardPadding); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(desktopColors().border);
        painter.setBrush(QColor::fromRgbF(0, 0, 0, 0.05F));
        const auto area = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
        painter.drawRoundedRect(area, cardRadius, cardRadius);
    }

public:
    QVBoxLayout box{this};
};

class Tile : public QWidget {
public:
    Tile() { setFixedSize(tileSide, tileSide); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        const auto accent = QColor(156, 122, 84);
        QLinearGradient ground(0, 0, 0, tileSide);
        ground.setColorAt(0, accent.lighter(118));
        ground.setColorAt(1, accent.darker(118));
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(ground);
        painter.drawRoundedRect(rect(), tileRadius, tileRadius);
        QRect symbol({}, symbolSize(Symbol::eyeSlash, tileSymbolPoints));
        symbol.moveCenter(rect().center());
        drawSymbol(painter, Symbol::eyeSlash, symbol, QColor(250, 245, 236));
    }
};

// A word on a rounded background of its own tint.
class Badge : public QLabel {
public:
    explicit Badge(const QString& text)
        : QLabel(text)
    {
        setTextFormat(Qt::PlainText);
        setFont(systemFont(fontpixels::badge, QFont::Bold));
        const auto advance = fontMetrics().horizontalAdvance(text);
        setFixedSize(advance + 10, fontMetrics().height() + 3);
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        const auto desktop = QApplication::palette();
        const bool isDark = appearanceOf(desktop) == Appearance::dark;
        const auto tint = isDark ? QColor(255, 179, 64) : QColor(150, 72, 0);
        auto ground = tint;
        ground.setAlphaF(0.18F);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(ground);
        painter.drawRoundedRect(rect(), 4, 4);
        painter.setPen(tint);
        painter.drawText(rect(), Qt::AlignCenter, text());
    }
};

class Divider : public QWidget {
public:
    Divider() { setFixedHeight(1); }

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter(this).fillRect(rect(), desktopColors().border);
    }
};

QLabel* line(const QString& text, const QFont& font)
{
    auto* label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setFont(font);
    return label;
}

QLabel* secondaryLine(const QString& text, int pixels)
{
    auto* label = line(text, systemFont(pixels));
    label->setForegroundRole(QPalette::PlaceholderText); // As the panel's own palette has it.
    return label;
}

// Where it does not fit on a line, it goes on after a dot.
QString brokenBetweenParts(QString text)
{
    text.replace(u' ', QChar::Nbsp);
    return text.replace(QStringLiteral("·") + QChar::Nbsp, QStringLiteral("· "));
}

PushButton* button(const QString& text, PushButton::Look look, Symbol symbol)
{
    auto* made = new PushButton(text, look, symbol);
    made->setFocusPolicy(Qt::StrongFocus);
    made->setAccessibleName(text);
    return made;
}

} // namespace

PopoverView::PopoverView(UIModel& model, AppActions actions, QWidget* parent)
    : QWidget(parent)
    , model(model)
    , actions(std::move(actions))
{
    setAccessibleName(QStringLiteral("Nullprint"));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(margin, margin, margin, margin);
    column->setSpacing(groupSpacing);
    column->addWidget(header());
    column->addWidget(headline());
    column->addWidget(new Divider);
    column->addWidget(waysIn());
    column->addWidget(new Divider);
    column->addWidget(loginRow());
    footer = secondaryLine({}, fontpixels::caption);
    column->addWidget(footer);
    column->addStretch();
    takeColors();
    showModel();
    connect(&model, &UIModel::changed, this, &PopoverView::showModel);
}

QWidget* PopoverView::header()
{
    auto* row = new QWidget;
    auto* box = new QHBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(cardSpacing);
    auto* title = line(QStringLiteral("Nullprint"), systemFont(titlePixels, QFont::DemiBold));
    title->setWordWrap(false);
    box->addWidget(new Tile);
    box->addSpacing(2);
    box->addWidget(title);
    box->addWidget(new Badge(QStringLiteral("BETA")));
    box->addStretch();
    return row;
}

QWidget* PopoverView::headline()
{
    auto* pair = new QWidget;
    auto* box = new QVBoxLayout(pair);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(3);
    box->addWidget(line(QStringLiteral("See what your files reveal"),
                        systemFont(fontpixels::body, QFont::DemiBold)));
    box->addWidget(
        secondaryLine(QStringLiteral("GPS, author names, edit history — removed before you share"),
                      fontpixels::caption));
    return pair;
}

QWidget* PopoverView::waysIn()
{
    auto* card = new Card;
    card->box.setSpacing(cardSpacing);
    card->box.addWidget(secondaryLine(
        QStringLiteral(
            "Photos, PDFs and Word / Excel / PowerPoint. Nullprint shows what's hidden in "
            "plain language — location, device, author, comments. Everything stays on "
            "your Mac."),
        fontpixels::small));
    auto* check = button(QStringLiteral("Check Files…"),
                         PushButton::Look::prominent,
                         Symbol::documentMagnifier);
    connect(check, &QPushButton::clicked, this, [this] { actions.checkFiles(); });
    card->box.addWidget(check);
    auto* drop = button(QStringLiteral("Open Drop Window…"),
                        PushButton::Look::bordered,
                        Symbol::arrowIntoTray);
    connect(drop, &QPushButton::clicked, this, [this] { actions.openDropWindow(); });
    card->box.addWidget(drop);
    card->box.addWidget(secondaryLine(
        QStringLiteral("Cleaned copies save next to the originals with “ (scrubbed)” in the name — "
                       "originals are never changed."),
        fontpixels::caption));
    return card;
}

QWidget* PopoverView::loginRow()
{
    auto* card = new Card;
    auto* row = new QHBoxLayout;
    row->setSpacing(cardSpacing);
    login = new Switch(QStringLiteral("Open at Login"));
    // The position asked for may not hold: whatever was answered, the switch shows the model.
    connect(login, &QCheckBox::clicked, this, [this](bool on) {
        actions.setLogin(on);
        showModel();
    });
    auto* quit =
        button(QStringLiteral("Quit Nullprint"), PushButton::Look::borderless, Symbol::power);
    connect(quit, &QPushButton::clicked, this, [this] { actions.quit(); });
    row->addWidget(login);
    row->addStretch();
    row->addWidget(quit);
    card->box.addLayout(row);
    return card;
}

void PopoverView::showModel()
{
    login->setChecked(model.loginOn());
    const auto totals =
        QStringLiteral("Beta %1 · Checked %2 · Cleaned %3 · Last clean: %4")
            .arg(QLatin1String(appVersion.data(), static_cast<qsizetype>(appVersion.size())),
                 QString::number(model.filesChecked()),
                 QString::number(model.filesCleaned()),
                 model.lastCleanText());
    footer->setText(brokenBetweenParts(totals));
    footer->setAccessibleName(totals);
    fit();
}

void PopoverView::fit()
{
    // A desktop font that is wider than most makes the panel wider; nothing is cut off.
    setFixedWidth(std::max(panelWidth, layout()->totalMinimumSize().width()));
    updateGeometry();
    if (isWindow())
        adjustSize();
}

QSize PopoverView::sizeHint() const
{
    return {minimumWidth(), layout()->totalHeightForWidth(minimumWidth())};
}

// The secondary labels and the ground follow the desktop by way of the panel's own palette.
void PopoverView::takeColors()
{
    const auto desktop = QApplication::palette();
    const auto background = Palette::of(desktop).background;
    const auto secondary = TextColors::of(desktop).secondary;
    if (palette().color(QPalette::Window) == background &&
        palette().color(QPalette::PlaceholderText) == secondary)
        return;
    QPalette own;
    own.setColor(QPalette::Window, background);
    own.setColor(QPalette::PlaceholderText, secondary);
    setPalette(own);
}

void PopoverView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && footer != nullptr)
        takeColors();
}

void PopoverView::paintEvent(QPaintEvent*)
{
    const auto colors = desktopColors();
    QPainter painter(this);
    painter.fillRect(rect(), colors.background);
    if (!isWindow())
        return;
    painter.setPen(colors.border);
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

} // namespace nullprint::app
