#include "app/platform/SmallFile.h"

#include "engine/support/FileSource.h"

#include <QFile>
#include <QFileInfo>

#include <span>
#include <sys/stat.h>

namespace nullprint::app {
namespace {

constexpr std::uint64_t largest = 16UL * 1024 * 1024;

} // namespace

void makeFolders(const QString& folder)
{
    if (folder.isEmpty() || QFileInfo::exists(folder))
        return;
    makeFolders(QFileInfo(folder).path());
    ::mkdir(QFile::encodeName(folder).constData(), S_IRWXU);
}

std::optional<QByteArray> readSmallFile(const QString& path)
{
    const auto source = FileSource::open(QFile::encodeName(path).toStdString());
    if (!source.ok() || source.value()->size() > largest)
        return std::nullopt;
    Bytes content(static_cast<std::size_t>(source.value()->size()));
    if (!source.value()->read(0, content).ok())
        return std::nullopt;
    return QByteArray::fromStdString(std::string(asText(content)));
}

std::optional<QString> writeSmallFile(const QString& path, const QByteArray& content, mode_t mode)
{
    makeFolders(QFileInfo(path).path());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || ::fchmod(file.handle(), mode) != 0)
        return file.errorString();
    if (!writeAndCommit(file, content))
        return file.errorString();
    return std::nullopt;
}

bool writeAndCommit(QSaveFile& file, const QByteArray& content)
{
    // What was still to be written when it is committed may fail unnoticed.
    return file.write(content) == content.size() && file.flush() && file.commit();
}

} // namespace nullprint::app
