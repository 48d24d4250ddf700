#include "app/FinderServices.h"

#include "app/Identity.h"

namespace nullprint::app {
namespace {

const QString didEnableServicesKey = QStringLiteral("didEnableServicesV1");

QVariantMap enabledEntry()
{
    return {
        {QStringLiteral("enabled_context_menu"), true},
        {QStringLiteral("enabled_services_menu"), true},
        {QStringLiteral("presentation_modes"),
         QVariantMap{{QStringLiteral("ContextMenu"), true},
                     {QStringLiteral("ServicesMenu"), true}}},
    };
}

QVariant withOurEntries(const QVariant& status)
{
    QVariantMap entries = status.toMap();
    for (const FinderService& service : finderServices)
        entries.insert(statusKey(service), enabledEntry());
    return entries;
}

} // namespace

QString statusKey(const FinderService& service)
{
    return QStringLiteral("%1 - %2 - %3")
        .arg(QLatin1String(applicationID),
             QLatin1String(service.title),
             QLatin1String(service.message));
}

void enableFinderServicesOnce(DefaultsStore& standard,
                              DefaultsStore& services,
                              AppLog& log,
                              const std::function<void()>& rebuildServicesList)
{
    if (standard.boolean(didEnableServicesKey))
        return;
    services.update(QLatin1String(servicesStatusKey), withOurEntries);
    standard.set(didEnableServicesKey, true);
    log.log("Finder services enabled in context menu.");
    rebuildServicesList();
}

} // namespace nullprint::app
