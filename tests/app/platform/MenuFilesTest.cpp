#include "app/platform/MenuFiles.h"

#include "app/FileURIs.h"
#include "app/FinderServices.h"
#include "tests/app/Scratch.h"

#include <QDir>
#include <QDirIterator>
#include <QMap>
#include <QProcess>

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace nullprint::app {
namespace {

constexpr char mark[] = "# Written by Nullprint, which may write it anew or remove it.\n";

// A program's path in which everything that some kind of file takes for something else occurs.
const QString strangeProgram = QStringLiteral("bin/null \"print\" 'b' $HOME `c` \\d %F &é");

const QString nemoShow = QStringLiteral("data/nemo/actions/nullprint-showMetadata.nemo_action");
const QString dolphinShow = QStringLiteral("data/kio/servicemenus/nullprint-showMetadata.desktop");
const QString actionsShow =
    QStringLiteral("data/file-manager/actions/nullprint-showMetadata.desktop");
const QString extensionShow =
    QStringLiteral("data/nautilus-python/extensions/nullprint_showMetadata.py");
const QString nautilusShow =
    QStringLiteral("data/nautilus/scripts/Show Hidden Metadata (Nullprint)");
const QString cajaShow = QStringLiteral("config/caja/scripts/Show Hidden Metadata (Nullprint)");
const QString thunarActions = QStringLiteral("config/Thunar/uca.xml");

QString scrubOf(QString showName)
{
    return showName.replace(QStringLiteral("showMetadata"), QStringLiteral("scrubMetadata"))
        .replace(QStringLiteral("Show Hidden Metadata"), QStringLiteral("Scrub Metadata"));
}

const QString dolphinScrub = scrubOf(dolphinShow);
const QString cajaScrub = scrubOf(cajaShow);

// The names of both services' files, sorted.
QStringList both(const QString& showName)
{
    return {scrubOf(showName), showName};
}

// A user's folders, and a system's with some file managers.
struct Desktop {
    explicit Desktop(const QStringList& managers)
    {
        for (const QString& manager : managers)
            if (!manager.isEmpty())
                scratch.put(QStringLiteral("bin/") + manager, "", executableFile);
        enable(true, true);
    }

    // The entries of "pbs": the one that shows, the one that scrubs.
    void enable(bool show, bool scrub)
    {
        QVariantMap status;
        for (const FinderService& service : finderServices) {
            const bool isOn = &service == &finderServices.front() ? show : scrub;
            status.insert(statusKey(service),
                          QVariantMap{{QStringLiteral("enabled_context_menu"), isOn}});
        }
        services.set(QLatin1String(servicesStatusKey), status);
    }

    void rebuild() const { rebuildServicesList(services, places); }

    // All files that were made for the user, and what is in them.
    QMap<QString, QByteArray> files() const
    {
        QMap<QString, QByteArray> found;
        for (const QString& root : {places.dataFolder, places.configFolder}) {
            QDirIterator all(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
            while (all.hasNext()) {
                const QString file = all.next();
                found.insert(QDir(scratch.path()).relativeFilePath(file), *readSmallFile(file));
            }
        }
        return found;
    }

    QStringList names() const { return files().keys(); }

    Scratch scratch;
    DefaultsStore services{scratch.path(QStringLiteral("pbs.plist"))};
    MenuPlaces places{
        .program = scratch.path(strangeProgram),
        .configFolder = scratch.path(QStringLiteral("config")),
        .dataFolder = scratch.path(QStringLiteral("data")),
        .configFolders = {scratch.path(QStringLiteral("system/config"))},
        .dataFolders = {scratch.path(QStringLiteral("system/local")),
                        scratch.path(QStringLiteral("system/data"))},
        .programFolders = {scratch.path(QStringLiteral("bin"))},
    };
};

mode_t modeOf(const QString& path)
{
    struct stat found {};
    return ::stat(QFile::encodeName(path).constData(), &found) == 0 ? found.st_mode & 07777U : 0;
}

// The names that trouble file managers, in their way to us: as URIs.
QByteArrayList strangeURIs()
{
    QByteArrayList uris;
    for (const std::string name : {"a b",
                                   "c%41&d",
                                   "'e'",
                                   "\"f\"",
                                   "$HOME `id` \\",
                                   "*",
                                   "line\nfeed",
                                   "“é”",
                                   "\xFF",
                                   "-g",
                                   "#?;"})
        uris.append(uriOfFile(FileURL::fromPath("/tmp/" + name)));
    return uris;
}

// Stands in for the program: says what it is called with.
void putStandIn(const Desktop& desktop)
{
    desktop.scratch.put(strangeProgram,
                        "#!/bin/sh\nprintf '%s\\n' \"$@\" >\"${0%/*}/../words\"\n",
                        executableFile);
}

// What the stand-in was called with, a word a line.
QByteArrayList wordsAfter(const Desktop& desktop, QProcess& process)
{
    EXPECT_TRUE(process.waitForFinished());
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
    return desktop.scratch.read(QStringLiteral("words")).trimmed().split('\n');
}

QByteArrayList calledWith(const QByteArray& message, const QByteArrayList& files)
{
    return QByteArrayList{"--service", message} + files;
}

TEST(MenuFiles, areForTheFileManagersThatAreThere)
{
    const std::vector<std::pair<QString, QStringList>> expected{
        {{}, {}},
        {QStringLiteral("nemo"), both(nemoShow)},
        {QStringLiteral("caja-actions-run"), both(actionsShow)},
        {QStringLiteral("pcmanfm"), both(actionsShow)},
        {QStringLiteral("dolphin"), both(dolphinShow)},
        {QStringLiteral("nautilus"), both(nautilusShow)},
        {QStringLiteral("caja"), both(cajaShow)},
        {QStringLiteral("thunar"), {thunarActions}},
    };
    for (const auto& [manager, names] : expected) {
        const Desktop desktop({manager});
        desktop.rebuild();
        EXPECT_EQ(desktop.names(), names) << qPrintable(manager);
    }
}

TEST(MenuFiles, useTheBetterOfTwoWays)
{
    const Desktop caja({QStringLiteral("caja"), QStringLiteral("caja-actions-run")});
    caja.rebuild();
    EXPECT_EQ(caja.names(), both(actionsShow));
    const Desktop nautilus({QStringLiteral("nautilus")});
    nautilus.rebuild();
    EXPECT_EQ(nautilus.names(), both(nautilusShow));
    makeFolders(nautilus.scratch.path(QStringLiteral("system/data/nautilus-python/extensions")));
    nautilus.rebuild();
    EXPECT_EQ(nautilus.names(), both(extensionShow));
}

TEST(MenuFiles, haveTheModesThatFileManagersWant)
{
    const Desktop desktop(
        {QStringLiteral("dolphin"), QStringLiteral("nemo"), QStringLiteral("caja")});
    desktop.rebuild();
    EXPECT_EQ(modeOf(desktop.scratch.path(dolphinScrub)), 0755U);
    EXPECT_EQ(modeOf(desktop.scratch.path(cajaScrub)), 0755U);
    EXPECT_EQ(modeOf(desktop.scratch.path(nemoShow)), 0644U);
}

TEST(MenuFiles, areLeftAsTheyAreTheSecondTime)
{
    const Desktop desktop({QStringLiteral("nemo"), QStringLiteral("thunar")});
    desktop.rebuild();
    const auto before = desktop.files();
    const auto inode = [&](const QString& name) {
        struct stat found {};
        return ::stat(QFile::encodeName(desktop.scratch.path(name)).constData(), &found) == 0
                   ? found.st_ino
                   : 0;
    };
    const auto nemo = inode(nemoShow);
    const auto thunar = inode(thunarActions);
    desktop.rebuild();
    EXPECT_EQ(desktop.files(), before);
    EXPECT_EQ(inode(nemoShow), nemo);
    EXPECT_EQ(inode(thunarActions), thunar);
}

TEST(MenuFiles, areMendedWhenTheProgramMoved)
{
    Desktop desktop({QStringLiteral("nemo")});
    desktop.rebuild();
    desktop.places.program = QStringLiteral("/usr/bin/nullprint");
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(nemoShow),
              QByteArray(mark) +
                  "# Nemo sets its quotes around names as they are: URIs hold none.\n"
                  "[Nemo Action]\n"
                  "Active=true\n"
                  "Name=Show Hidden Metadata (Nullprint)\n"
                  "Comment=See and remove hidden data before you share\n"
                  "Exec=\"/usr/bin/nullprint\" --service showMetadata %U\n"
                  "Icon-Name=org.nullprint.Nullprint\n"
                  "Selection=notnone\n"
                  "Extensions=nodirs;\n"
                  "Quote=double\n");
}

TEST(MenuFiles, goWithTheirService)
{
    Desktop desktop({QStringLiteral("nemo"), QStringLiteral("dolphin"), QStringLiteral("thunar")});
    desktop.rebuild();
    desktop.enable(true, false);
    desktop.rebuild();
    EXPECT_EQ(desktop.names(), (QStringList{thunarActions, dolphinShow, nemoShow}));
    EXPECT_TRUE(desktop.scratch.read(thunarActions).contains("nullprint-showMetadata"));
    EXPECT_FALSE(desktop.scratch.read(thunarActions).contains("nullprint-scrubMetadata"));
    desktop.services.set(QLatin1String(servicesStatusKey), {});
    desktop.rebuild();
    EXPECT_EQ(desktop.names(), QStringList{thunarActions});
    EXPECT_FALSE(desktop.scratch.read(thunarActions).contains("nullprint-"));
}

TEST(MenuFiles, areNotWrittenWhereThePackageHasThem)
{
    const Desktop desktop({QStringLiteral("nemo")});
    desktop.rebuild();
    desktop.scratch.put(
        QStringLiteral("system/data/nemo/actions/nullprint-showMetadata.nemo_action"),
        "x");
    desktop.rebuild();
    EXPECT_EQ(desktop.names(), QStringList{both(nemoShow).constFirst()});
}

TEST(MenuFiles, leaveForeignFilesAndLinksAlone)
{
    Desktop desktop({QStringLiteral("nemo"), QStringLiteral("dolphin")});
    desktop.scratch.put(nemoShow, "[Nemo Action]\n");
    desktop.scratch.put(QStringLiteral("elsewhere"), mark);
    makeFolders(desktop.scratch.path(QStringLiteral("data/kio/servicemenus")));
    ASSERT_TRUE(QFile::link(desktop.scratch.path(QStringLiteral("elsewhere")),
                            desktop.scratch.path(dolphinScrub)));
    for (const bool isOn : {true, false}) {
        desktop.enable(isOn, isOn);
        desktop.rebuild();
        EXPECT_EQ(desktop.scratch.read(nemoShow), "[Nemo Action]\n");
        EXPECT_EQ(desktop.scratch.read(QStringLiteral("elsewhere")), mark);
        EXPECT_TRUE(QFileInfo(desktop.scratch.path(dolphinScrub)).isSymLink());
    }
}

TEST(MenuFiles, surviveFoldersThatCannotBeWritten)
{
    const Desktop desktop(
        {QStringLiteral("nemo"), QStringLiteral("thunar"), QStringLiteral("caja")});
    desktop.scratch.put(QStringLiteral("data"), "a file");
    desktop.scratch.put(QStringLiteral("config"), "a file");
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(QStringLiteral("data")), "a file");
    EXPECT_EQ(desktop.scratch.read(QStringLiteral("config")), "a file");
}

TEST(MenuFiles, bringEveryNameThroughTheScripts)
{
    const Desktop desktop({QStringLiteral("nautilus"), QStringLiteral("caja")});
    putStandIn(desktop);
    desktop.rebuild();
    const QMap<QString, QString> scripts{
        {nautilusShow, QStringLiteral("NAUTILUS_SCRIPT_SELECTED_URIS")},
        {cajaScrub, QStringLiteral("CAJA_SCRIPT_SELECTED_URIS")},
    };
    for (auto script = scripts.begin(); script != scripts.end(); ++script) {
        QProcess process;
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
        environment.insert(script.value(), QString::fromLatin1(strangeURIs().join('\n') + '\n'));
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(QStringLiteral("/"));
        process.start(desktop.scratch.path(script.key()), {QStringLiteral("mangled")});
        EXPECT_EQ(wordsAfter(desktop, process),
                  calledWith(script.key() == nautilusShow ? "showMetadata" : "scrubMetadata",
                             strangeURIs()));
    }
}

// The line as a file manager has it before it fills in the files: escapes of the file undone, and
// the doubled per cent signs.
QByteArray commandOf(const QByteArray& entry)
{
    const auto begin = entry.indexOf("\nExec=") + 6;
    QByteArray line = entry.sliced(begin, entry.indexOf('\n', begin) - begin);
    EXPECT_TRUE(line.endsWith(" %F") || line.endsWith(" %U")) << line.constData();
    line.chop(3);
    return line.replace("\\\\", "\\").replace("%%", "%");
}

TEST(MenuFiles, quoteTheProgramInEntries)
{
    const Desktop desktop(
        {QStringLiteral("nemo"), QStringLiteral("dolphin"), QStringLiteral("pcmanfm")});
    putStandIn(desktop);
    desktop.rebuild();
    for (const QString& name : {nemoShow, dolphinScrub, actionsShow}) {
        QProcess process;
        process.start(
            QStringLiteral("/bin/sh"),
            {QStringLiteral("-c"), QString::fromUtf8(commandOf(desktop.scratch.read(name)))});
        EXPECT_EQ(wordsAfter(desktop, process),
                  calledWith(name == dolphinScrub ? "scrubMetadata" : "showMetadata", {}))
            << qPrintable(name);
    }
}

// What the extension needs of Nautilus, and a click on its entry.
constexpr char nautilus[] = R"py(
import importlib.util, subprocess, sys, types

class Subprocess:
    new = staticmethod(lambda command, flags: subprocess.run(command, check=True))

class MenuItem:
    def __init__(self, name, label):
        self.name, self.label = name, label
    def connect(self, signal, *call):
        self.call = call

class File:
    def __init__(self, uri, directory=False):
        self.uri, self.directory = uri, directory
    get_uri = lambda self: self.uri
    get_uri_scheme = lambda self: self.uri.split(":")[0]
    is_directory = lambda self: self.directory

repository = types.ModuleType("gi.repository")
repository.Gio = types.SimpleNamespace(
    Subprocess=Subprocess, SubprocessFlags=types.SimpleNamespace(NONE=0))
# One type for each name of a class: Nautilus keeps the last of two that are called alike.
known = {}
class GObject:
    def __init_subclass__(cls):
        known[cls.__name__] = cls
repository.GObject = types.SimpleNamespace(GObject=GObject)
repository.Nautilus = types.SimpleNamespace(MenuProvider=type("P", (), {}), MenuItem=MenuItem)
sys.modules["gi"] = types.ModuleType("gi")
sys.modules["gi.repository"] = repository

for path in sys.argv[1:3]:
    spec = importlib.util.spec_from_file_location("extension", path)
    spec.loader.exec_module(importlib.util.module_from_spec(spec))
files = [File(uri) for uri in sys.argv[4:]]
items = {}
for menu in [each() for each in known.values()]:
    assert menu.get_background_items("window", None) == []
    assert menu.get_file_items([]) == []
    assert menu.get_file_items([*files, File("file:///folder", True)]) == []
    assert menu.get_file_items([*files, File("sftp://host/a")]) == []
    assert len(menu.get_file_items("window", files)) == 1
    item, = menu.get_file_items(files)
    items[item.label] = item
assert len({item.name for item in items.values()}) == 2, items
item = items[sys.argv[3]]
call, *arguments = item.call
call(item, *arguments)
)py";

TEST(MenuFiles, bringEveryNameThroughTheExtensions)
{
    const Desktop desktop({QStringLiteral("nautilus")});
    putStandIn(desktop);
    makeFolders(desktop.scratch.path(QStringLiteral("system/local/nautilus-python/extensions")));
    desktop.rebuild();
    for (const FinderService& service : finderServices) {
        QStringList words{QStringLiteral("-B"),
                          QStringLiteral("-c"),
                          QString::fromUtf8(nautilus),
                          desktop.scratch.path(extensionShow),
                          desktop.scratch.path(scrubOf(extensionShow)),
                          QLatin1String(service.title)};
        for (const QByteArray& uri : strangeURIs())
            words.append(QString::fromLatin1(uri));
        QProcess process;
        process.start(QStringLiteral("python3"), words);
        EXPECT_EQ(wordsAfter(desktop, process), calledWith(service.message, strangeURIs()));
    }
}

constexpr char foreignActions[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                  "<actions>\n"
                                  "<!-- mine -->\n"
                                  "<action>\n"
                                  "\t<name>Öffnen &amp; mehr</name>\n"
                                  "\t<unique-id>123-1</unique-id>\n"
                                  "\t<command>x %F</command>\n"
                                  "\t<directories/>\n"
                                  "</action>\n"
                                  "</actions>\n";

QByteArray thunarEntry(const QByteArray& message, const QByteArray& title)
{
    return "<action>\n"
           "\t<icon>org.nullprint.Nullprint</icon>\n"
           "\t<name>" +
           title +
           "</name>\n"
           "\t<unique-id>nullprint-" +
           message +
           "</unique-id>\n"
           "\t<command>'/usr/bin/nullprint' --service " +
           message +
           " %F</command>\n"
           "\t<description>See and remove hidden data before you share</description>\n"
           "\t<patterns>*</patterns>\n"
           "\t<audio-files/>\n\t<image-files/>\n\t<other-files/>\n\t<text-files/>\n"
           "\t<video-files/>\n"
           "</action>\n";
}

QByteArray withOurs(QByteArray actions)
{
    return actions.insert(actions.lastIndexOf("</actions"),
                          thunarEntry("showMetadata", "Show Hidden Metadata (Nullprint)") +
                              thunarEntry("scrubMetadata", "Scrub Metadata (Nullprint)"));
}

struct ThunarDesktop : Desktop {
    ThunarDesktop()
        : Desktop({QStringLiteral("thunar")})
    {
        places.program = QStringLiteral("/usr/bin/nullprint");
    }
};

TEST(ThunarActions, areAddedToTheUsersOwn)
{
    ThunarDesktop desktop;
    desktop.scratch.put(thunarActions, foreignActions, ownersFile);
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(thunarActions), withOurs(foreignActions));
    EXPECT_EQ(modeOf(desktop.scratch.path(thunarActions)), 0600U);
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(thunarActions), withOurs(foreignActions));
    desktop.enable(false, false);
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(thunarActions), foreignActions);
}

TEST(ThunarActions, areAddedToTheSystemsWhenTheUserHasNone)
{
    const ThunarDesktop desktop;
    desktop.scratch.put(QStringLiteral("system/config/Thunar/uca.xml"), foreignActions);
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(thunarActions), withOurs(foreignActions));
    EXPECT_EQ(desktop.scratch.read(QStringLiteral("system/config/Thunar/uca.xml")), foreignActions);
}

TEST(ThunarActions, beginAListWhereThereIsNone)
{
    const ThunarDesktop desktop;
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(thunarActions),
              withOurs("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<actions>\n</actions>\n"));
}

TEST(ThunarActions, areNotForcedIntoWhatIsNoList)
{
    for (const QByteArray other : {"",
                                   "<actions>",
                                   "<actions/>",
                                   "<x></x>",
                                   "<actions></actions>x",
                                   "<actions><!-- \xFF --></actions>"}) {
        const ThunarDesktop desktop;
        desktop.scratch.put(thunarActions, other);
        desktop.rebuild();
        EXPECT_EQ(desktop.scratch.read(thunarActions), other);
    }
}

TEST(ThunarActions, doNotFollowALink)
{
    const ThunarDesktop desktop;
    desktop.scratch.put(QStringLiteral("dotfiles"), foreignActions);
    makeFolders(desktop.scratch.path(QStringLiteral("config/Thunar")));
    ASSERT_TRUE(QFile::link(desktop.scratch.path(QStringLiteral("dotfiles")),
                            desktop.scratch.path(thunarActions)));
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(QStringLiteral("dotfiles")), foreignActions);
    EXPECT_TRUE(QFileInfo(desktop.scratch.path(thunarActions)).isSymLink());
}

TEST(ThunarActions, findOursInWhateverLayout)
{
    const ThunarDesktop desktop;
    desktop.scratch.put(thunarActions,
                        "<actions><action><name>a &gt; b</name><unique-id>nullprint-showMetadata"
                        "</unique-id></action><!-- é𝄞 --><action><unique-id>other</unique-id>"
                        "</action\n><action ><unique-id>nullprint-scrubMetadata</unique-id>"
                        "</action\n></actions\n>");
    desktop.rebuild();
    EXPECT_EQ(desktop.scratch.read(thunarActions),
              withOurs("<actions><!-- é𝄞 --><action><unique-id>other</unique-id></action\n>"
                       "</actions\n>"))
        << desktop.scratch.read(thunarActions).constData();
}

TEST(MenuPlaces, areThoseOfTheUser)
{
    const MenuPlaces places = MenuPlaces::usual();
    EXPECT_TRUE(places.program.endsWith(QStringLiteral("/nullprint-app-tests")));
    EXPECT_FALSE(places.configFolders.contains(places.configFolder));
    EXPECT_FALSE(places.dataFolders.contains(places.dataFolder));
    EXPECT_FALSE(places.programFolders.isEmpty());
    EXPECT_TRUE(places.dataFolder.startsWith(u'/'));
}

} // namespace
} // namespace nullprint::app
