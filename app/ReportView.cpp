#include "app/ReportView.h"

#include "app/Fonts.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QScrollBar>
#include <QTextFrame>

namespace nullprint::app {
namespace {

constexpr int sideInset = 16;
constexpr int topInset = 14;
constexpr int sliceMs = 8; // Laying it out takes about as long again.

QTextCharFormat styled(const QFont& font, const QColor& color)
{
    QTextCharFormat format;
    format.setFont(font);
    format.setForeground(color);
    return format;
}

QTextCharFormat unstyled(const QFont& font)
{
    QTextCharFormat format;
    format.setFont(font);
    return format;
}

// Otherwise pictures that are also in a text font come out of that one, without their colours.
QFont iconFont()
{
    auto font = systemFont(fontPixels::body);
    font.setFamilies(QStringList{QStringLiteral("Noto Color Emoji")} + font.families());
    return font;
}

QString shown(const std::string& text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

struct ReportView::Styles {
    explicit Styles(const TextColors& colors)
        : title(styled(systemFont(fontPixels::title, QFont::DemiBold), colors.primary))
        , small(styled(systemFont(fontPixels::caption), colors.secondary))
        , strong(styled(systemFont(fontPixels::body, QFont::DemiBold), colors.primary))
        , detail(styled(systemFont(fontPixels::body), colors.secondary))
        , note(styled(systemFont(fontPixels::body), colors.orange))
        , nothingFound(styled(systemFont(fontPixels::body), colors.green))
        , cleaned(styled(systemFont(fontPixels::body, QFont::DemiBold), colors.green))
        , plain(unstyled(systemFont(fontPixels::body)))
        , icon(unstyled(iconFont()))
    {
    }

    QTextCharFormat title, small, strong, detail, note, nothingFound, cleaned, plain, icon;
};

ReportView::ReportView(const std::vector<RevealReport>& reports, QWidget* parent)
    : QTextEdit(parent)
    , reports(reports)
{
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setFont(systemFont(fontPixels::body));
    setTabChangesFocus(true);
    setAccessibleName(QStringLiteral("Report"));
    slices.setInterval(0);
    connect(&slices, &QTimer::timeout, this, &ReportView::writeSlice);
    render();
}

ReportView::~ReportView() = default;

void ReportView::showCleaned(std::size_t copies)
{
    cleanedCopies = copies;
    scrollsToEnd = copies > 0;
    render();
}

void ReportView::render()
{
    colors = TextColors::of(QApplication::palette());
    styles = std::make_unique<Styles>(colors);
    next = {};
    clear();
    auto margins = document()->rootFrame()->frameFormat();
    margins.setLeftMargin(sideInset);
    margins.setRightMargin(sideInset);
    margins.setTopMargin(topInset);
    margins.setBottomMargin(topInset);
    document()->rootFrame()->setFrameFormat(margins);
    slices.start();
    writeSlice();
    moveCursor(QTextCursor::Start); // It went along with what was inserted.
}

void ReportView::writeSlice()
{
    QElapsedTimer spent;
    spent.start();
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    while (!isComplete() && spent.elapsed() < sliceMs)
        writeNext(cursor);
    cursor.endEditBlock();
    if (!isComplete())
        return;
    slices.stop();
    if (std::exchange(scrollsToEnd, false))
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    emit completed();
}

// One piece, and which one follows.
void ReportView::writeNext(QTextCursor& cursor)
{
    if (next.part == Part::heading && next.report == reports.size())
        next.part = Part::summary;
    switch (next.part) {
    case Part::heading:
        writeHeading(cursor, reports[next.report]);
        next.part = Part::findings;
        return;
    case Part::findings:
        writeFinding(cursor, reports[next.report]);
        return;
    case Part::summary:
        writeSummary(cursor);
        next.part = Part::end;
        return;
    case Part::end:
        return;
    }
}

void ReportView::writeHeading(QTextCursor& cursor, const RevealReport& report) const
{
    cursor.insertText(shown(report.url.lastPathComponent()) + u'\n', styles->title);
    cursor.insertText(shown(report.kind) + u'\n', styles->small);
}

void ReportView::writeFinding(QTextCursor& cursor, const RevealReport& report)
{
    const auto indent = QStringLiteral("  ");
    if (report.note) {
        cursor.insertText(indent + shown(*report.note) + u'\n', styles->note);
    } else if (report.items.empty()) {
        cursor.insertText(QStringLiteral("  ✓ No hidden metadata found — nothing to remove.\n"),
                          styles->nothingFound);
    } else {
        const auto& item = report.items[next.item];
        cursor.insertText(indent, styles->plain);
        cursor.insertText(shown(item.icon), styles->icon);
        cursor.insertText(indent, styles->plain);
        cursor.insertText(shown(item.label) + QStringLiteral(": "), styles->strong);
        cursor.insertText(shown(item.detail) + u'\n', styles->detail);
        if (++next.item < report.items.size())
            return;
    }
    cursor.insertText(QStringLiteral("\n"), styles->plain);
    next = {Part::heading, next.report + 1, 0};
}

void ReportView::writeSummary(QTextCursor& cursor) const
{
    if (cleanedCopies == 0)
        return;
    const auto plural = cleanedCopies == 1 ? QString() : QStringLiteral("s");
    cursor.insertText(QStringLiteral("✓ Cleaned %1 file%2. ").arg(cleanedCopies).arg(plural),
                      styles->cleaned);
    cursor.insertText(
        QStringLiteral("Saved next to the originals with “ (scrubbed)” in the name.\n"),
        styles->small);
}

// Colours that were given by name do not follow the desktop's.
void ReportView::changeEvent(QEvent* event)
{
    QTextEdit::changeEvent(event);
    if (event->type() != QEvent::PaletteChange || styles == nullptr ||
        colors == TextColors::of(QApplication::palette()))
        return;
    const auto place = verticalScrollBar()->value();
    render();
    verticalScrollBar()->setValue(place);
}

} // namespace nullprint::app
