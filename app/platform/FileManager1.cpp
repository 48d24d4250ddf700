#include "app/platform/FileManager1.h"

#include "app/FileURIs.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QFile>
#include <QUrl>

#include <algorithm>
#include <array>
#include <set>

namespace nullprint::app {
namespace {

const auto service = QStringLiteral("org.freedesktop.FileManager1");

constexpr std::size_t few = 3;
// Time for a file manager to be started by the bus.
constexpr int answerMs = 25'000;

constexpr std::array managersWithOneWindow{"dolphin", "pcmanfm-qt"};

// What the kernel calls the process: nothing it says of itself is needed.
bool showsAllInOneWindow(uint process)
{
    QFile file(QStringLiteral("/proc/%1/comm").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const auto name = file.readAll().trimmed();
    return std::ranges::any_of(managersWithOneWindow,
                               [&](const char* each) { return name == each; });
}

std::vector<FileURL> oneOfEachFolder(const std::vector<FileURL>& files)
{
    std::set<std::string> seen;
    std::vector<FileURL> first;
    for (const FileURL& file : files) {
        if (seen.insert(file.folder()).second)
            first.push_back(file);
    }
    return first;
}

void openWithDesktop(const QByteArray& folder)
{
    QDesktopServices::openUrl(QUrl::fromEncoded(folder));
}

} // namespace

QStringList urisToShow(const std::vector<FileURL>& files, bool showsAllInOneWindow)
{
    const bool all = showsAllInOneWindow || files.size() <= few;
    return urisOfFiles(all ? files : oneOfEachFolder(files));
}

FileManager1::FileManager1(QDBusConnection connection,
                           std::function<void(const QByteArray&)> openFolder)
    : bus(std::move(connection))
    , openFolder(openFolder ? std::move(openFolder) : openWithDesktop)
{
}

void FileManager1::select(const std::vector<FileURL>& files, std::function<void()> answered)
{
    if (files.empty() || !bus.isConnected()) {
        openFolders(files);
        answered();
        return;
    }
    // Fails when the manager does not run yet: then it is not known which one it will be.
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                               QStringLiteral("/org/freedesktop/DBus"),
                                               QStringLiteral("org.freedesktop.DBus"),
                                               QStringLiteral("GetConnectionUnixProcessID"));
    auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(call << service, answerMs), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, files, answered] {
        const QDBusPendingReply<uint> process = *answer;
        show(files, !process.isError() && showsAllInOneWindow(process.value()), answered);
        answer->deleteLater();
    });
}

void FileManager1::show(const std::vector<FileURL>& files,
                        bool showsAllInOneWindow,
                        const std::function<void()>& answered)
{
    auto call = QDBusMessage::createMethodCall(service,
                                               QStringLiteral("/org/freedesktop/FileManager1"),
                                               service,
                                               QStringLiteral("ShowItems"));
    call << urisToShow(files, showsAllInOneWindow) << QString();
    auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(call, answerMs), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, files, answered] {
        if (answer->isError())
            openFolders(files);
        answered();
        answer->deleteLater();
    });
}

void FileManager1::openFolders(const std::vector<FileURL>& files) const
{
    for (const FileURL& file : oneOfEachFolder(files))
        openFolder(uriOfFile(FileURL::fromPath(file.folder())));
}

} // namespace nullprint::app
