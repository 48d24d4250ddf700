#include "app/ReportView.h"

#include "app/Fonts.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QScrollBar>

namespace nullprint::app {
namespace {

constexpr int sideInset = 16;
constexpr int topInset = 14;
constexpr int sliceMs = 8;
// Laying out a line takes time by the square of its paragraph's length: where a paragraph is longer
// than any that people write, it goes on in a new one.
constexpr qsizetype longestParagraph = 2000;

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
    auto font = systemFont(fontpixels::body);
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
        : title(styled(systemFont(fontpixels::title, QFont::DemiBold), colors.primary))
        , small(styled(systemFont(fontpixels::caption), colors.secondary))
        , strong(styled(systemFont(fontpixels::body, QFont::DemiBold), colors.primary))
        , detail(styled(systemFont(fontpixels::body), colors.secondary))
        , note(styled(systemFont(fontpixels::body), colors.orange))
        , nothingFound(styled(systemFont(fontpixels::body), colors.green))
        , cleaned(styled(systemFont(fontpixels::body, QFont::DemiBold), colors.green))
        , plain(unstyled(systemFont(fontpixels::body)))
        , icon(unstyled(iconFont()))
    {
    }

    QTextCharFormat title, small, strong, detail, note, nothingFound, cleaned, plain, icon;
};

ReportView::ReportView(const std::vector<RevealReport>& reports, QWidget* parent)
    : ReadOnlyText(parent)
    , reports(reports)
{
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFont(systemFont(fontpixels::body));
    document()->setDocumentMargin(topInset);
    setViewportMargins(sideInset - topInset, 0, sideInset - topInset, 0);
    setBackgroundRole(QPalette::Base); // Of the margins, too.
    setAutoFillBackground(true);
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
    runs.clear();
    clear();
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
        writePiece(cursor);
    cursor.endEditBlock();
    if (!isComplete())
        return;
    slices.stop();
    if (std::exchange(scrollsToEnd, false))
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    emit completed();
}

// One paragraph at most.
void ReportView::writePiece(QTextCursor& cursor)
{
    if (runs.empty())
        prepareNext();
    if (runs.empty())
        return;
    auto& [text, format, written] = runs.front();
    auto end = std::min(written + longestParagraph, text.size());
    if (end < text.size() && text[end].isLowSurrogate())
        --end;
    const auto lineFeed = text.indexOf(u'\n', written);
    if (lineFeed >= 0 && lineFeed < end)
        end = lineFeed + 1;
    cursor.insertText(text.sliced(written, end - written), format);
    if (end - written >= longestParagraph - 1 && text[end - 1] != u'\n')
        cursor.insertText(QStringLiteral("\n"), format);
    written = end;
    if (written == text.size())
        runs.pop_front();
}

// What stands at the next place, and which place follows.
void ReportView::prepareNext()
{
    if (next.part == Part::heading && next.report == reports.size())
        next.part = Part::summary;
    switch (next.part) {
    case Part::heading:
        prepareHeading(reports[next.report]);
        next.part = Part::findings;
        return;
    case Part::findings:
        prepareFinding(reports[next.report]);
        return;
    case Part::summary:
        prepareSummary();
        next.part = Part::end;
        return;
    case Part::end:
        return;
    }
}

void ReportView::prepareHeading(const RevealReport& report)
{
    runs.push_back({shown(report.url.lastPathComponent()) + u'\n', styles->title});
    runs.push_back({shown(report.kind) + u'\n', styles->small});
}

void ReportView::prepareFinding(const RevealReport& report)
{
    const auto indent = QStringLiteral("  ");
    if (report.note) {
        runs.push_back({indent + shown(*report.note) + u'\n', styles->note});
    } else if (report.items.empty()) {
        runs.push_back({QStringLiteral("  ✓ No hidden metadata found — nothing to remove.\n"),
                        styles->nothingFound});
    } else {
        const auto& item = report.items[next.item];
        runs.push_back({indent, styles->plain});
        runs.push_back({shown(item.icon), styles->icon});
        runs.push_back({indent, styles->plain});
        runs.push_back({shown(item.label) + QStringLiteral(": "), styles->strong});
        runs.push_back({shown(item.detail) + u'\n', styles->detail});
        if (++next.item < report.items.size())
            return;
    }
    runs.push_back({QStringLiteral("\n"), styles->plain});
    next = {Part::heading, next.report + 1, 0};
}

void ReportView::prepareSummary()
{
    if (cleanedCopies == 0)
        return;
    const auto plural = cleanedCopies == 1 ? QString() : QStringLiteral("s");
    runs.push_back(
        {QStringLiteral("✓ Cleaned %1 file%2. ").arg(cleanedCopies).arg(plural), styles->cleaned});
    runs.push_back({QStringLiteral("Saved next to the originals with “ (scrubbed)” in the name.\n"),
                    styles->small});
}

// Colours that were given by name do not follow the desktop's.
void ReportView::changeEvent(QEvent* event)
{
    ReadOnlyText::changeEvent(event);
    if (event->type() != QEvent::PaletteChange || styles == nullptr ||
        colors == TextColors::of(QApplication::palette()))
        return;
    const auto place = verticalScrollBar()->value();
    render();
    verticalScrollBar()->setValue(place);
}

} // namespace nullprint::app
