#include "app/ServiceProvider.h"

#include "app/FileURIs.h"

namespace nullprint::app {

void ServiceProvider::showMetadata(const QStringList& pasteboard) const
{
    call(&ServiceProviderDelegate::showMetadata, pasteboard);
}

void ServiceProvider::scrubMetadata(const QStringList& pasteboard) const
{
    call(&ServiceProviderDelegate::scrubMetadata, pasteboard);
}

void ServiceProvider::call(Service service, const QStringList& pasteboard) const
{
    const auto urls = readFileURLs(pasteboard);
    if (urls.empty() || !delegate)
        return;
    QMetaObject::invokeMethod(
        delegate,
        [receiver = delegate.data(), service, urls] { (receiver->*service)(urls); },
        Qt::QueuedConnection);
}

} // namespace nullprint::app
