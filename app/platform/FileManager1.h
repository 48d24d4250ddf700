// The file manager by way of org.freedesktop.FileManager1.
#pragma once

#include "app/platform/FileManager.h"

#include <QDBusConnection>
#include <QObject>
#include <QStringList>

#include <functional>

namespace nullprint::app {

// What to ask for, in the order of the files: all of them when they are few or when the manager
// shows all in one window, and otherwise, since most open a window for each, one of each folder.
QStringList urisToShow(const std::vector<FileURL>& files, bool showsAllInOneWindow);

class FileManager1 : public QObject, public FileManager {
    Q_OBJECT

public:
    // `openFolder` is for desktops without such a service; the folder comes as an encoded URI.
    explicit FileManager1(QDBusConnection bus = QDBusConnection::sessionBus(),
                          std::function<void(const QByteArray& folder)> openFolder = {});

    void select(const std::vector<FileURL>& files, std::function<void()> answered) override;

private:
    void show(const std::vector<FileURL>& files,
              bool showsAllInOneWindow,
              const std::function<void()>& answered);
    void openFolders(const std::vector<FileURL>& files) const;

    QDBusConnection bus;
    std::function<void(const QByteArray&)> openFolder;
};

} // namespace nullprint::app
