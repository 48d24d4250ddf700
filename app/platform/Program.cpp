#include "app/platform/Program.h"

#include <QFileInfo>

namespace nullprint::app {
namespace {

QString escapedForEntry(QString text)
{
    return text.replace(u'\\', QStringLiteral("\\\\"))
        .replace(u'\n', QStringLiteral("\\n"))
        .replace(u'\t', QStringLiteral("\\t"))
        .replace(u'\r', QStringLiteral("\\r"));
}

} // namespace

QString runningProgram()
{
    // What the kernel adds when the file has been replaced since the start, as an upgrade does.
    const QString replaced = QStringLiteral(" (deleted)");
    QString program = QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
    if (program.endsWith(replaced))
        program.chop(replaced.size());
    return program;
}

QString quotedForExec(const QString& word)
{
    QString quoted = word;
    quoted.replace(u'\\', QStringLiteral("\\\\"));
    for (const char mark : {'"', '`', '$'})
        quoted.replace(QLatin1Char(mark), QStringLiteral("\\") + QLatin1Char(mark));
    quoted.replace(u'%', QStringLiteral("%%"));
    return u'"' + escapedForEntry(quoted) + u'"';
}

QString quotedForPython(const QString& word)
{
    QString quoted = escapedForEntry(word);
    quoted.replace(u'"', QStringLiteral("\\\""));
    return u'"' + quoted + u'"';
}

QString quotedForShell(const QString& word)
{
    QString quoted = word;
    quoted.replace(u'\'', QStringLiteral("'\\''"));
    return u'\'' + quoted + u'\'';
}

} // namespace nullprint::app
