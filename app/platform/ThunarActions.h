// Thunar's custom actions: one file with everybody's entries, which has to be merged into.
#pragma once

#include <QByteArray>
#include <QStringList>

#include <optional>

namespace nullprint::app {

// `actions` without the entries that have one of these unique ids, and with `fresh` ones at the
// end. All else stays as it is, character for character. Nothing when it is not such a file.
std::optional<QByteArray>
mergedThunarActions(const QByteArray& actions, const QStringList& ids, const QStringList& fresh);

} // namespace nullprint::app
