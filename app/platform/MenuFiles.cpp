#include "app/platform/MenuFiles.h"

#include "app/FinderServices.h"
#include "app/Identity.h"
#include "app/platform/Program.h"
#include "app/platform/SmallFile.h"
#include "app/platform/ThunarActions.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <sys/stat.h>

// Resources of a static library are left out of a program that does not ask for them.
static void loadTemplates()
{
    Q_INIT_RESOURCE(menus);
}

namespace nullprint::app {
namespace {

// Stands at the top of every file that is ours.
constexpr char mark[] = "# Written by Nullprint, which may write it anew or remove it.\n";
constexpr qsizetype markWithin = 128;

using Variables = QHash<QString, QString>;

bool hasProgram(const MenuPlaces& places, const char* name)
{
    return !QStandardPaths::findExecutable(QLatin1String(name), places.programFolders).isEmpty();
}

bool hasNautilusExtensions(const MenuPlaces& places)
{
    return std::ranges::any_of(places.dataFolders, [](const QString& folder) {
        return QFileInfo(folder + QStringLiteral("/nautilus-python/extensions")).isDir();
    });
}

bool hasActions(const MenuPlaces& places)
{
    return hasProgram(places, "caja-actions-run") || hasProgram(places, "pcmanfm");
}

// A file for each service. "%1" in its name is the service's message, "%2" its title.
struct MenuFile {
    const char* content; // The template.
    const char* path;    // Under the folder for data, or the one for settings.
    mode_t mode;
    bool isSetting;
    const char* selection;
    // Whether it is the best way into the menu of a file manager that is there.
    bool (*isWanted)(const MenuPlaces&);
};

constexpr std::array menuFiles{
    MenuFile{"nemo.nemo_action.in",
             "nemo/actions/nullprint-%1.nemo_action",
             readableFile,
             false,
             "",
             [](const MenuPlaces& places) { return hasProgram(places, "nemo"); }},
    MenuFile{"file-manager.desktop.in",
             "file-manager/actions/nullprint-%1.desktop",
             readableFile,
             false,
             "",
             hasActions},
    // Dolphin refuses to run what a user's file says unless that file is executable.
    MenuFile{"dolphin.desktop.in",
             "kio/servicemenus/nullprint-%1.desktop",
             executableFile,
             false,
             "",
             [](const MenuPlaces& places) { return hasProgram(places, "dolphin"); }},
    MenuFile{"nautilus.py.in",
             "nautilus-python/extensions/nullprint_%1.py",
             readableFile,
             false,
             "",
             [](const MenuPlaces& places) {
                 return hasProgram(places, "nautilus") && hasNautilusExtensions(places);
             }},
    MenuFile{"script.sh.in",
             "nautilus/scripts/%2",
             executableFile,
             false,
             "NAUTILUS_SCRIPT_SELECTED_URIS",
             [](const MenuPlaces& places) {
                 return hasProgram(places, "nautilus") && !hasNautilusExtensions(places);
             }},
    MenuFile{"script.sh.in",
             "caja/scripts/%2",
             executableFile,
             true,
             "CAJA_SCRIPT_SELECTED_URIS",
             [](const MenuPlaces& places) {
                 return hasProgram(places, "caja") && !hasProgram(places, "caja-actions-run");
             }},
};

Variables variablesFor(const FinderService& service, const QString& program)
{
    return {
        {QStringLiteral("NP_TITLE"), QLatin1String(service.title)},
        {QStringLiteral("NP_MESSAGE"), QLatin1String(service.message)},
        {QStringLiteral("NP_ID"), QLatin1String(applicationID)},
        {QStringLiteral("NP_PROGRAM_EXEC"), quotedForExec(program)},
        {QStringLiteral("NP_PROGRAM_SHELL"), quotedForShell(program)},
        {QStringLiteral("NP_PROGRAM_PYTHON"), quotedForPython(program)},
        // Thunar takes the line apart like a shell, after it has replaced what follows a "%".
        {QStringLiteral("NP_PROGRAM_XML"),
         quotedForShell(program).replace(u'%', QStringLiteral("%%")).toHtmlEscaped()},
    };
}

QString filledIn(const char* name, const Variables& variables)
{
    QFile file(QStringLiteral(":/menus/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString text = QString::fromUtf8(file.readAll());
    static const QRegularExpression place(QStringLiteral("@(NP_[A-Z_]+)@"));
    QString filled;
    qsizetype end = 0;
    for (auto matches = place.globalMatch(text); matches.hasNext();) {
        const auto match = matches.next();
        filled +=
            text.sliced(end, match.capturedStart() - end) + variables.value(match.captured(1));
        end = match.capturedEnd();
    }
    return filled + text.sliced(end);
}

bool isOn(const QVariantMap& status, const FinderService& service)
{
    const QVariantMap entry = status.value(statusKey(service)).toMap();
    return DefaultsStore::integerOf(entry.value(QStringLiteral("enabled_context_menu"))) != 0;
}

bool isLink(const QString& path)
{
    return QFileInfo(path).isSymLink();
}

// Whether the file may be written or removed: there is none, or it was written here.
bool isFree(const QString& path)
{
    if (isLink(path))
        return false;
    if (!QFileInfo::exists(path))
        return true;
    const auto content = readSmallFile(path);
    return content && content->first(std::min(markWithin, content->size())).contains(mark);
}

std::optional<mode_t> modeOf(const QString& path)
{
    struct stat found {};
    if (::stat(QFile::encodeName(path).constData(), &found) != 0)
        return std::nullopt;
    return found.st_mode & ALLPERMS;
}

void place(const QString& path, const QByteArray& content, mode_t mode)
{
    if (modeOf(path) != mode || readSmallFile(path) != content)
        writeSmallFile(path, content, mode);
}

bool isInSystem(const QString& relative, const MenuPlaces& places)
{
    return std::ranges::any_of(places.dataFolders, [&](const QString& folder) {
        return QFileInfo::exists(folder + u'/' + relative);
    });
}

void rebuildFile(const MenuFile& file,
                 const FinderService& service,
                 bool isServiceOn,
                 const MenuPlaces& places)
{
    const QString relative = QString::fromLatin1(file.path)
                                 .replace(QStringLiteral("%1"), QLatin1String(service.message))
                                 .replace(QStringLiteral("%2"), QLatin1String(service.title));
    const QString path =
        (file.isSetting ? places.configFolder : places.dataFolder) + u'/' + relative;
    if (!isFree(path))
        return;
    if (!isServiceOn || !file.isWanted(places) || isInSystem(relative, places)) {
        QFile::remove(path);
        return;
    }
    Variables variables = variablesFor(service, places.program);
    variables.insert(QStringLiteral("NP_SELECTION"), QLatin1String(file.selection));
    place(path, filledIn(file.content, variables).toUtf8(), file.mode);
}

// What the user's list of actions begins with: what Thunar shows as long as there is none.
QByteArray initialThunarActions(const MenuPlaces& places)
{
    for (const QString& folder : places.configFolders) {
        if (const auto actions = readSmallFile(folder + QStringLiteral("/Thunar/uca.xml")))
            return *actions;
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<actions>\n</actions>\n";
}

void rebuildThunar(const QVariantMap& status, const MenuPlaces& places)
{
    QStringList ids;
    QStringList fresh;
    for (const FinderService& service : finderServices) {
        ids.append(QStringLiteral("nullprint-") + QLatin1String(service.message));
        if (isOn(status, service) && hasProgram(places, "thunar"))
            fresh.append(filledIn("thunar.xml.in", variablesFor(service, places.program)));
    }
    const QString path = places.configFolder + QStringLiteral("/Thunar/uca.xml");
    const bool isThere = QFileInfo::exists(path);
    if (isLink(path) || (!isThere && fresh.isEmpty()))
        return;
    const auto before = isThere ? readSmallFile(path) : initialThunarActions(places);
    const auto after = before ? mergedThunarActions(*before, ids, fresh) : std::nullopt;
    if (after && (!isThere || after != before))
        writeSmallFile(path, *after, modeOf(path).value_or(readableFile));
}

QStringList withoutFirst(QStringList folders)
{
    if (!folders.isEmpty())
        folders.removeFirst();
    return folders;
}

} // namespace

MenuPlaces MenuPlaces::usual()
{
    using Paths = QStandardPaths;
    return {
        .program = runningProgram(),
        .configFolder = Paths::writableLocation(Paths::GenericConfigLocation),
        .dataFolder = Paths::writableLocation(Paths::GenericDataLocation),
        .configFolders = withoutFirst(Paths::standardLocations(Paths::GenericConfigLocation)),
        .dataFolders = withoutFirst(Paths::standardLocations(Paths::GenericDataLocation)),
        .programFolders = qEnvironmentVariable("PATH").split(u':', Qt::SkipEmptyParts),
    };
}

void rebuildServicesList(const DefaultsStore& services, const MenuPlaces& places)
{
    loadTemplates();
    const QVariantMap status = services.dictionary(QLatin1String(servicesStatusKey));
    for (const FinderService& service : finderServices) {
        for (const MenuFile& file : menuFiles)
            rebuildFile(file, service, isOn(status, service), places);
    }
    rebuildThunar(status, places);
}

} // namespace nullprint::app
