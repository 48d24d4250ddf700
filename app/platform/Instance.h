// One running application for each session, over the interface org.freedesktop.Application of the
// Desktop Entry Specification. Where there is no session bus every start is on its own.
#pragma once

#include "app/Arguments.h"

#include <QObject>
#include <QVariant>

namespace nullprint::app {

// What became of a request that is meant for whoever runs already.
enum class Forwarding { delivered, nobodyRuns, unanswered };

// Hands a request over. Waits for the answer, some seconds at most.
Forwarding forward(const StartRequest& request);

// The running application's side: tells what others ask for.
class Instance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    ~Instance() override;

    // Becomes the one that others find. False when somebody else is. From here on requests may
    // arrive; they are told by the event loop.
    bool claim();

signals:
    void activated();
    void opened(const std::vector<nullprint::FileURL>& files);
    // One of the services or of the launcher's actions; `uris` is empty for the latter.
    void actionCalled(const QString& action, const QStringList& uris);

public slots:
    // NOLINTBEGIN(readability-identifier-naming): the interface's names.
    Q_SCRIPTABLE void Activate(const QVariantMap& platformData);
    Q_SCRIPTABLE void Open(const QStringList& uris, const QVariantMap& platformData);
    Q_SCRIPTABLE void ActivateAction(const QString& action,
                                     const QVariantList& parameter,
                                     const QVariantMap& platformData);
    // NOLINTEND(readability-identifier-naming)

private:
    bool hasName = false;
};

} // namespace nullprint::app
