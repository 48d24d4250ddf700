// The entries in context menus: a file for each service and each file manager.
#pragma once

#include "app/DefaultsStore.h"

#include <QStringList>

namespace nullprint::app {

// Where the files go and what they run. All folders are absolute.
struct MenuPlaces {
    QString program;            // What the entries start.
    QString configFolder;       // $XDG_CONFIG_HOME
    QString dataFolder;         // $XDG_DATA_HOME
    QStringList configFolders;  // $XDG_CONFIG_DIRS
    QStringList dataFolders;    // $XDG_DATA_DIRS
    QStringList programFolders; // $PATH

    static MenuPlaces usual();
};

// Writes the entries of the services that are on in "pbs", for the file managers that are there,
// and removes those of services that are off. Where the package of the system has such a file there
// is none for the user. Only files and entries that were written here are ever changed; links are
// not followed. Failures are kept to itself.
void rebuildServicesList(const DefaultsStore& services,
                         const MenuPlaces& places = MenuPlaces::usual());

} // namespace nullprint::app
