// The program that runs, as other programs have to be told of it.
#pragma once

#include <QByteArray>
#include <QString>

namespace nullprint::app {

// Its absolute path, wherever it was started from.
QString runningProgram();

// A word for the Exec key of a desktop entry: quoted, and escaped once more for being in a file
// (Desktop Entry Specification, "The Exec key").
QString quotedForExec(const QString& word);
// A word for sh, and a string for Python.
QString quotedForShell(const QString& word);
QString quotedForPython(const QString& word);

} // namespace nullprint::app
