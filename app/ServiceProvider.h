// The two services that file managers offer on files. What they ask for is done by a delegate.
#pragma once

#include "engine/support/FileURL.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <vector>

namespace nullprint::app {

class ServiceProviderDelegate : public QObject {
    Q_OBJECT

public:
    virtual void showMetadata(const std::vector<FileURL>& urls) = 0;
    virtual void scrubMetadata(const std::vector<FileURL>& urls) = 0;
};

// Both services return at once, and pass on what is asked for when the caller has its answer.
class ServiceProvider {
public:
    void setDelegate(ServiceProviderDelegate* receiver) { delegate = receiver; }

    // `pasteboard` holds URIs; those that name no file are passed over.
    void showMetadata(const QStringList& pasteboard) const;
    void scrubMetadata(const QStringList& pasteboard) const;

private:
    using Service = void (ServiceProviderDelegate::*)(const std::vector<FileURL>&);
    void call(Service service, const QStringList& pasteboard) const;

    QPointer<ServiceProviderDelegate> delegate;
};

} // namespace nullprint::app
