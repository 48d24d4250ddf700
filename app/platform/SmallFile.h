// Files of the user that are read and written whole: settings, and what other programs look for.
#pragma once

#include <QByteArray>
#include <QSaveFile>
#include <QString>

#include <optional>
#include <sys/types.h>

namespace nullprint::app {

inline constexpr mode_t ownersFile = 0600;
inline constexpr mode_t readableFile = 0644;
inline constexpr mode_t executableFile = 0755;

// Makes what is missing of a folder, for the user alone.
void makeFolders(const QString& folder);

// Nothing when there is no such regular file, it cannot be read, or it is larger than such files
// are (16 MiB).
std::optional<QByteArray> readSmallFile(const QString& path);

// Replaces a file, or what a link there leads to, in one step; until then the old one stays as it
// is. Missing folders are made, for the user alone. Yields the description of an error, or nothing.
std::optional<QString> writeSmallFile(const QString& path, const QByteArray& content, mode_t mode);

// The whole content of an open file, or no change where it was to be.
bool writeAndCommit(QSaveFile& file, const QByteArray& content);

} // namespace nullprint::app
