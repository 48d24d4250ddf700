// What the tests of the application share: a folder, and files in it by their names.
#pragma once

#include "app/platform/SmallFile.h"
#include "engine/support/TempFolder.h"

#include <QFile>
#include <QFileInfo>
#include <QString>

#include <csignal>
#include <sys/resource.h>

namespace nullprint::app {

class Scratch {
public:
    Scratch()
        : folder(TempFolder::create("nullprint-app-tests-").value())
    {
    }

    QString path(const QString& name = {}) const
    {
        return QString::fromStdString(folder.path()) + (name.isEmpty() ? QString() : u'/' + name);
    }

    QString put(const QString& name, const QByteArray& content, mode_t mode = readableFile) const
    {
        writeSmallFile(path(name), content, mode);
        return path(name);
    }

    QByteArray read(const QString& name) const
    {
        return readSmallFile(path(name)).value_or("no such file");
    }

    bool has(const QString& name) const
    {
        const QFileInfo file(path(name));
        return file.exists() || file.isSymLink();
    }

private:
    TempFolder folder;
};

// For as long as it lives every write to a file fails, as on a full disk.
class FullDisk {
public:
    FullDisk()
        : handler(::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &before);
        const rlimit none{0, before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &none);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk()
    {
        ::setrlimit(RLIMIT_FSIZE, &before);
        ::signal(SIGXFSZ, handler);
    }

private:
    sighandler_t handler;
    rlimit before = {};
};

} // namespace nullprint::app
