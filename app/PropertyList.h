// XML property lists: typed values in a file.
#pragma once

#include <QByteArray>
#include <QVariantMap>

#include <optional>

namespace nullprint::app {

// The dictionary that the text holds; nothing when it is not a property list through and through.
// Values are bool, qint64 (quint64 past it), double, QString, QDateTime, QByteArray, QVariantList
// and QVariantMap.
std::optional<QVariantMap> readPropertyList(const QByteArray& xml);

// Nothing when there is a value of another type, or a text that XML cannot hold.
std::optional<QByteArray> writePropertyList(const QVariantMap& values);

} // namespace nullprint::app
