// The findings of all files as styled text.
#pragma once

#include "app/Palette.h"
#include "app/ReadOnlyText.h"
#include "engine/reveal/RevealReport.h"

#include <QTextCharFormat>
#include <QTextCursor>
#include <QTimer>

#include <deque>
#include <memory>
#include <vector>

namespace nullprint::app {

// A plain text edit has fonts and colours as a rich one has, and lays out only the lines that are
// seen: thousands of files cost no time when the window is resized. The text is complete at once
// when it is short. The rest of a long one follows in slices, so that neither windows nor input
// wait for it; what is there is always a beginning of the whole.
class ReportView : public ReadOnlyText {
    Q_OBJECT

public:
    // The reports have to outlive the view.
    explicit ReportView(const std::vector<RevealReport>& reports, QWidget* parent = nullptr);
    ~ReportView() override;

    // Renders again, ending in a line about that many copies and scrolled to it.
    void showCleaned(std::size_t copies);
    bool isComplete() const { return next.part == Part::end && runs.empty(); }

signals:
    void completed();

protected:
    void changeEvent(QEvent* event) override;
    // Long paragraphs are copied in one piece, as they are stored.
    QMimeData* createMimeDataFromSelection() const override;

private:
    enum class Part { heading, findings, summary, end };
    struct Place {
        Part part = Part::heading;
        std::size_t report = 0;
        std::size_t item = 0;
    };
    struct Styles;
    struct Run {
        QString text;
        QTextCharFormat format;
        qsizetype written = 0;
    };

    void render();
    void writeSlice();
    void writePieces();
    void finishWhenComplete();
    void writePiece(QTextCursor& cursor);
    void prepareNext();
    void prepareHeading(const RevealReport& report);
    void prepareFinding(const RevealReport& report);
    void prepareSummary();

    const std::vector<RevealReport>& reports;
    TextColors colors;
    std::unique_ptr<Styles> styles;
    std::size_t cleanedCopies = 0;
    bool scrollsToEnd = false;
    Place next;
    std::deque<Run> runs; // What is to be written before the next place.
    QTimer slices;
};

} // namespace nullprint::app
