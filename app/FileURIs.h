// Files as desktops name them: "file:" URIs (RFC 8089). Names are bytes and stay so: nothing passes
// through a text encoding.
#pragma once

#include "engine/support/FileURL.h"

#include <QByteArray>
#include <QMimeData>
#include <QStringList>

#include <optional>
#include <vector>

namespace nullprint::app {

// The file of a URI; nothing for other schemes, other machines, and paths that are not absolute or
// hold a NUL.
std::optional<FileURL> fileOfURI(const QByteArray& uri);
QByteArray uriOfFile(const FileURL& file);

// The files among what was dragged or sent, in its order (text/uri-list, RFC 2483 5).
std::vector<FileURL> readFileURLs(const QMimeData& pasteboard);
std::vector<FileURL> readFileURLs(const QStringList& uris);
QStringList urisOfFiles(const std::vector<FileURL>& files);

} // namespace nullprint::app
