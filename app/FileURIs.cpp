#include "app/FileURIs.h"

#include <QSysInfo>

namespace nullprint::app {
namespace {

constexpr qsizetype schemeLength = 5; // "file:"

bool isThisMachine(const QByteArray& host)
{
    return host.isEmpty() || host.compare("localhost", Qt::CaseInsensitive) == 0 ||
           host.compare(QSysInfo::machineHostName().toUtf8(), Qt::CaseInsensitive) == 0;
}

// Behind the scheme: "/path" or "//host/path". Query and fragment name no file.
std::optional<QByteArray> encodedPath(QByteArray rest)
{
    if (rest.startsWith("//")) {
        const auto slash = rest.indexOf('/', 2);
        if (slash < 0 || !isThisMachine(rest.sliced(2, slash - 2)))
            return std::nullopt;
        rest = rest.sliced(slash);
    }
    if (!rest.startsWith('/'))
        return std::nullopt;
    for (const char mark : {'?', '#'}) {
        if (const auto end = rest.indexOf(mark); end >= 0)
            rest.truncate(end);
    }
    return rest;
}

} // namespace

std::optional<FileURL> fileOfURI(const QByteArray& uri)
{
    if (uri.first(std::min(schemeLength, uri.size())).compare("file:", Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const auto encoded = encodedPath(uri.sliced(schemeLength));
    if (!encoded)
        return std::nullopt;
    const auto path = QByteArray::fromPercentEncoding(*encoded);
    if (path.contains('\0'))
        return std::nullopt;
    return FileURL::fromPath(path.toStdString());
}

QByteArray uriOfFile(const FileURL& file)
{
    return "file://" + QByteArray::fromStdString(file.path()).toPercentEncoding("/!$&'()*+,;=:@");
}

std::vector<FileURL> readFileURLs(const QMimeData& pasteboard)
{
    std::vector<FileURL> files;
    for (const auto& line : pasteboard.data(QStringLiteral("text/uri-list")).split('\n')) {
        const auto uri = line.trimmed();
        if (const auto file = fileOfURI(uri); file && !uri.startsWith('#'))
            files.push_back(*file);
    }
    return files;
}

std::vector<FileURL> readFileURLs(const QStringList& uris)
{
    std::vector<FileURL> files;
    for (const QString& uri : uris) {
        if (auto file = fileOfURI(uri.toUtf8()))
            files.push_back(*std::move(file));
    }
    return files;
}

QStringList urisOfFiles(const std::vector<FileURL>& files)
{
    QStringList uris;
    for (const FileURL& file : files)
        uris << QString::fromLatin1(uriOfFile(file));
    return uris;
}

} // namespace nullprint::app
