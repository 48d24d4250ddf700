// The desktop's wish for light or dark windows, where its own look does not reach Qt.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QPalette>

namespace nullprint::app {

// Constructed once, after the QApplication. Follows the settings portal and darkens the
// application's palette; without a portal everything stays as it is.
class ColorScheme : public QObject {
    Q_OBJECT

public:
    explicit ColorScheme(QDBusConnection bus = QDBusConnection::sessionBus(),
                         QObject* parent = nullptr);

private slots:
    void settingChanged(const QDBusMessage& signal);

private:
    void read();
    void apply(const QVariant& scheme);

    QDBusConnection bus;
    bool darkened = false;
};

} // namespace nullprint::app
