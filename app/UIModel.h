// What the panel shows. Lives on the main thread.
#pragma once

#include <QObject>
#include <QString>

namespace nullprint::app {

class UIModel : public QObject {
    Q_OBJECT

public:
    qint64 filesChecked() const { return checked; }
    qint64 filesCleaned() const { return cleaned; }
    // “never”, or a local date and time.
    QString lastCleanText() const { return lastClean; }
    bool loginOn() const { return login; }

    // Each tells of a change, and of nothing where the value stays the same.
    void setFilesChecked(qint64 count);
    void setFilesCleaned(qint64 count);
    void setLastCleanText(const QString& text);
    // Tells always: a switch that the user flipped and that did not hold has to go back.
    void setLoginOn(bool on);

signals:
    void changed();

private:
    qint64 checked = 0;
    qint64 cleaned = 0;
    QString lastClean = QStringLiteral("never");
    bool login = false;
};

} // namespace nullprint::app
