#include "app/ServiceNotice.h"

#include <QStringList>

namespace nullprint::app {
namespace {

QString listOf(const std::vector<std::string>& lines)
{
    QStringList texts;
    for (const std::string& line : lines)
        texts << QString::fromStdString(line);
    return texts.join(u'\n');
}

} // namespace

ServiceNotice serviceNotice(const CleanResult& result)
{
    ServiceNotice notice{QStringLiteral("Nothing was cleaned"), {}};
    if (const auto count = result.outputs.size(); count > 0) {
        notice.message = QStringLiteral("Cleaned %1 file").arg(count);
        if (count != 1)
            notice.message += u's';
        notice.information = QStringLiteral("Cleaned copies were saved next to the originals with "
                                            "“ (scrubbed)” in the name — your originals were not "
                                            "changed.");
    }
    if (!result.skipped.empty()) {
        if (!notice.information.isEmpty())
            notice.information += QStringLiteral("\n\n");
        notice.information += QStringLiteral("Skipped:\n") + listOf(result.skipped);
    }
    return notice;
}

} // namespace nullprint::app
