// The findings of all files as styled text.
#pragma once

#include "app/Palette.h"
#include "engine/reveal/RevealReport.h"

#include <QTextCursor>
#include <QTextEdit>
#include <QTimer>

#include <memory>
#include <vector>

namespace nullprint::app {

// The text is complete at once when it is short. The rest of a long one follows in slices, so that
// neither windows nor input wait for it; what is there is always a beginning of the whole.
class ReportView : public QTextEdit {
    Q_OBJECT

public:
    // The reports have to outlive the view.
    explicit ReportView(const std::vector<RevealReport>& reports, QWidget* parent = nullptr);
    ~ReportView() override;

    // Renders again, ending in a line about that many copies and scrolled to it.
    void showCleaned(std::size_t copies);
    bool isComplete() const { return next.part == Part::end; }

signals:
    void completed();

protected:
    void changeEvent(QEvent* event) override;

private:
    enum class Part { heading, findings, summary, end };
    struct Place {
        Part part = Part::heading;
        std::size_t report = 0;
        std::size_t item = 0;
    };
    struct Styles;

    void render();
    void writeSlice();
    void writeNext(QTextCursor& cursor);
    void writeHeading(QTextCursor& cursor, const RevealReport& report) const;
    void writeFinding(QTextCursor& cursor, const RevealReport& report);
    void writeSummary(QTextCursor& cursor) const;

    const std::vector<RevealReport>& reports;
    TextColors colors;
    std::unique_ptr<Styles> styles;
    std::size_t cleanedCopies = 0;
    bool scrollsToEnd = false;
    Place next;
    QTimer slices;
};

} // namespace nullprint::app
