#include "app/platform/ThunarActions.h"

#include <QXmlStreamReader>

#include <vector>

namespace nullprint::app {
namespace {

struct Stretch {
    qsizetype begin;
    qsizetype end;
};

// Where the entries with our ids are, and where the list ends.
struct Layout {
    std::vector<Stretch> ours;
    qsizetype end = -1;
};

// The unique id of the entry that has begun; empty without one.
QString readID(QXmlStreamReader& xml)
{
    QString id;
    while (xml.readNextStartElement()) {
        if (xml.name() == u"unique-id")
            id = xml.readElementText(QXmlStreamReader::IncludeChildElements);
        else
            xml.skipCurrentElement();
    }
    return id;
}

// The tag that the reader has just passed begins at the last "<" before it.
qsizetype startOfTag(const QString& text, const QXmlStreamReader& xml)
{
    return text.lastIndexOf(u'<', xml.characterOffset() - 1);
}

std::optional<Layout> layoutOf(const QString& text, const QStringList& ids)
{
    QXmlStreamReader xml(text);
    Layout layout;
    if (!xml.readNextStartElement() || xml.name() != u"actions")
        return std::nullopt;
    while (xml.readNextStartElement()) {
        const qsizetype begin = startOfTag(text, xml);
        if (ids.contains(readID(xml)))
            layout.ours.push_back({begin, xml.characterOffset()});
    }
    layout.end = startOfTag(text, xml);
    while (!xml.atEnd())
        xml.readNext();
    if (xml.hasError())
        return std::nullopt;
    return layout;
}

} // namespace

std::optional<QByteArray>
mergedThunarActions(const QByteArray& actions, const QStringList& ids, const QStringList& fresh)
{
    QString text = QString::fromUtf8(actions);
    // "<actions/>" has no end to write before.
    const auto layout = layoutOf(text, ids);
    if (!layout || text.toUtf8() != actions || !text.sliced(layout->end).startsWith(u"</"))
        return std::nullopt;
    text.insert(layout->end, fresh.join(QString()));
    for (auto ours = layout->ours.rbegin(); ours != layout->ours.rend(); ++ours) {
        const bool endsLine = ours->end < text.size() && text[ours->end] == u'\n';
        text.remove(ours->begin, ours->end - ours->begin + (endsLine ? 1 : 0));
    }
    return text.toUtf8();
}

} // namespace nullprint::app
