#include "app/LoginItem.h"

#include <syslog.h>

namespace nullprint::app {

void writeToSystemLog(const QString& line)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface.
    ::syslog(LOG_USER | LOG_ERR, "%s", line.toUtf8().constData());
}

void setLoginItem(LoginItem& item, bool on, const std::function<void(const QString&)>& systemLog)
{
    if (on && item.isEnabled())
        return;
    if (const auto error = on ? item.enlist() : item.delist())
        systemLog(QStringLiteral("Nullprint: login toggle failed: ") + *error);
}

} // namespace nullprint::app
