// A property list is a "plist" element with one value, here a "dict" of "key" elements and values.
#include "app/PropertyList.h"

#include <QDateTime>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <cmath>

namespace nullprint::app {
namespace {

// Ours are three deep. Readers call themselves, so there has to be an end.
constexpr int deepest = 64;

class Reader {
public:
    explicit Reader(const QByteArray& xml)
        : xml(xml)
    {
    }

    std::optional<QVariantMap> read()
    {
        if (!xml.readNextStartElement() || xml.name() != u"plist" || !xml.readNextStartElement())
            return std::nullopt;
        const QVariant root = value(0);
        if (xml.readNextStartElement() || root.typeId() != QMetaType::QVariantMap)
            return std::nullopt;
        while (!xml.atEnd())
            xml.readNext();
        if (xml.hasError())
            return std::nullopt;
        return root.toMap();
    }

private:
    // The value of the element that has begun, up to its end. Invalid with an error raised.
    QVariant value(int depth);
    QVariant dictionary(int depth);
    QVariant array(int depth);
    QVariant scalar();
    QVariant flag(bool on);
    QVariant unless(bool isWrong, const QVariant& value)
    {
        if (isWrong)
            xml.raiseError(QStringLiteral("malformed value"));
        return value;
    }

    QXmlStreamReader xml;
};

QVariant Reader::value(int depth)
{
    if (depth > deepest)
        return unless(true, {});
    if (xml.name() == u"dict")
        return dictionary(depth);
    if (xml.name() == u"array")
        return array(depth);
    if (xml.name() == u"true")
        return flag(true);
    if (xml.name() == u"false")
        return flag(false);
    return scalar();
}

QVariant Reader::dictionary(int depth)
{
    QVariantMap values;
    while (xml.readNextStartElement()) {
        if (xml.name() != u"key")
            return unless(true, {});
        const QString key = xml.readElementText();
        if (!xml.readNextStartElement())
            return unless(true, {});
        values.insert(key, value(depth + 1));
    }
    return values;
}

QVariant Reader::array(int depth)
{
    QVariantList values;
    while (xml.readNextStartElement())
        values.append(value(depth + 1));
    return values;
}

QVariant Reader::flag(bool on)
{
    xml.skipCurrentElement();
    return on;
}

QVariant integerOf(const QString& text, bool& isRead)
{
    if (const qlonglong number = text.toLongLong(&isRead); isRead)
        return number;
    return text.toULongLong(&isRead);
}

QVariant Reader::scalar()
{
    const QString type = xml.name().toString();
    const QString text = xml.readElementText();
    if (type == u"string")
        return text;
    bool isRead = true;
    if (type == u"integer") {
        const QVariant number = integerOf(text, isRead);
        return unless(!isRead, number);
    }
    if (type == u"real") {
        const double number = text.toDouble(&isRead);
        return unless(!isRead, number);
    }
    if (type == u"date") {
        const QDateTime date = QDateTime::fromString(text, Qt::ISODate);
        return unless(!date.isValid(), date.toUTC());
    }
    // Lines and indentation belong to the layout.
    const auto data = QByteArray::fromBase64Encoding(text.simplified().remove(u' ').toLatin1(),
                                                     QByteArray::AbortOnBase64DecodingErrors);
    return unless(type != u"data" || !data, data ? *data : QByteArray());
}

class Writer {
public:
    std::optional<QByteArray> write(const QVariantMap& values)
    {
        xml.setAutoFormatting(true);
        xml.setAutoFormattingIndent(-1); // Tabs.
        xml.writeStartDocument();
        xml.writeStartElement(QStringLiteral("plist"));
        xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
        dictionary(values, 0);
        xml.writeEndDocument();
        if (isWrong || xml.hasError())
            return std::nullopt;
        return text;
    }

private:
    void value(const QVariant& value, int depth);
    void scalar(const QVariant& value);
    void dictionary(const QVariantMap& values, int depth);
    void array(const QVariantList& values, int depth);

    QByteArray text;
    QXmlStreamWriter xml{&text};
    bool isWrong = false;
};

void Writer::value(const QVariant& value, int depth)
{
    if (depth > deepest) {
        isWrong = true;
        return;
    }
    if (value.typeId() == QMetaType::QVariantMap)
        return dictionary(value.toMap(), depth);
    if (value.typeId() == QMetaType::QVariantList)
        return array(value.toList(), depth);
    scalar(value);
}

void Writer::dictionary(const QVariantMap& values, int depth)
{
    xml.writeStartElement(QStringLiteral("dict"));
    for (auto entry = values.begin(); entry != values.end(); ++entry) {
        xml.writeTextElement(QStringLiteral("key"), entry.key());
        value(entry.value(), depth + 1);
    }
    xml.writeEndElement();
}

void Writer::array(const QVariantList& values, int depth)
{
    xml.writeStartElement(QStringLiteral("array"));
    for (const QVariant& entry : values)
        value(entry, depth + 1);
    xml.writeEndElement();
}

// The shortest that reads back as the same number.
QString textOf(double number)
{
    if (std::isnan(number))
        return QStringLiteral("nan");
    if (std::isinf(number))
        return number > 0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    return QString::number(number, 'g', QLocale::FloatingPointShortest);
}

void Writer::scalar(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return xml.writeEmptyElement(value.toBool() ? QStringLiteral("true")
                                                    : QStringLiteral("false"));
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return xml.writeTextElement(QStringLiteral("integer"), value.toString());
    case QMetaType::Double:
        return xml.writeTextElement(QStringLiteral("real"), textOf(value.toDouble()));
    case QMetaType::QString:
        return xml.writeTextElement(QStringLiteral("string"), value.toString());
    case QMetaType::QDateTime:
        return xml.writeTextElement(
            QStringLiteral("date"),
            value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss'Z'")));
    case QMetaType::QByteArray:
        return xml.writeTextElement(QStringLiteral("data"),
                                    QString::fromLatin1(value.toByteArray().toBase64()));
    default:
        isWrong = true;
    }
}

} // namespace

std::optional<QVariantMap> readPropertyList(const QByteArray& xml)
{
    return Reader(xml).read();
}

std::optional<QByteArray> writePropertyList(const QVariantMap& values)
{
    auto xml = Writer().write(values);
    // What cannot be read again, such as a control character in a text, would cost all the rest.
    if (!xml || !readPropertyList(*xml))
        return std::nullopt;
    return xml;
}

} // namespace nullprint::app
