// What the tests of the application share: a folder, and files in it by their names.
#pragma once

#include "app/platform/SmallFile.h"
#include "engine/support/TempFolder.h"

#include <QFile>
#include <QFileInfo>
#include <QString>

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

} // namespace nullprint::app
