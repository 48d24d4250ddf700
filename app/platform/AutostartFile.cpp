#include "app/platform/AutostartFile.h"

#include "app/Identity.h"
#include "app/platform/Program.h"
#include "app/platform/SmallFile.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace nullprint::app {
namespace {

// The desktop starts its panel at the same time; the keys ask it to have the panel first. With the
// argument, a desktop without a tray is not greeted with a window.
QString entryFor(const QString& program)
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Version=1.4\n"
                          "Name=Nullprint\n"
                          "Comment=See and remove hidden data before you share\n"
                          "Exec=%1 --login-item\n"
                          "Icon=%2\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-Delay=2\n"
                          "X-KDE-autostart-after=panel\n")
        .arg(quotedForExec(program), QString::fromLatin1(applicationID));
}

// The value of a key in the entry's own group, not in that of an action.
QByteArray valueOf(const QByteArray& entry, const QByteArray& key)
{
    bool isInGroup = false;
    for (const QByteArray& raw : entry.split('\n')) {
        const QByteArray line = raw.trimmed();
        if (line.startsWith('['))
            isInGroup = line == "[Desktop Entry]";
        const auto equals = line.indexOf('=');
        if (isInGroup && equals > 0 && line.first(equals).trimmed() == key)
            return line.sliced(equals + 1).trimmed();
    }
    return {};
}

} // namespace

AutostartFile::AutostartFile(QString file, QString program)
    : file(std::move(file))
    , program(std::move(program))
{
}

QString AutostartFile::usualFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/autostart/%1.desktop").arg(QString::fromLatin1(applicationID));
}

bool AutostartFile::isEnabled() const
{
    const auto entry = readSmallFile(file);
    return entry && !valueOf(*entry, "Exec").isEmpty() && valueOf(*entry, "Hidden") != "true" &&
           valueOf(*entry, "X-GNOME-Autostart-enabled") != "false";
}

std::optional<QString> AutostartFile::enlist()
{
    // A link to nothing is a way to switch an entry off; what it leads to is not written.
    if (QFileInfo(file).isSymLink())
        QFile::remove(file);
    return writeSmallFile(file, entryFor(program).toUtf8(), readableFile);
}

std::optional<QString> AutostartFile::delist()
{
    QFile entry(file);
    if (!entry.remove())
        return entry.errorString();
    return std::nullopt;
}

} // namespace nullprint::app
