// Signals that ask the application to end (SIGTERM, SIGINT, SIGHUP), told in its event loop.
#pragma once

#include <QObject>

namespace nullprint::app {

// One at a time, on the main thread. The signals have their usual meaning again when it is gone.
class Termination : public QObject {
    Q_OBJECT

public:
    Termination();
    ~Termination() override;

signals:
    void requested();
};

} // namespace nullprint::app
