// The anonymous usage ping: counters, sent at most every 20 hours, unless the user said no.
#pragma once

#include "app/DefaultsStore.h"

#include <QNetworkAccessManager>
#include <QSslConfiguration>

#include <chrono>
#include <memory>

namespace nullprint::app {

// Lives on the main thread.
class Heartbeat {
public:
    struct Settings {
        // As `obfuscated` makes it. Without one nothing is ever sent.
        QByteArray endpoint;
        std::function<QDateTime()> now = [] { return QDateTime::currentDateTimeUtc(); };
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        // How long the other side may say nothing.
        std::chrono::milliseconds patience{15000};
    };

    // The endpoint that was given when the program was built.
    static Settings shipped();
    // There and back: the same operation hides an address and shows it.
    static QByteArray obfuscated(QByteArray address);

    Heartbeat(DefaultsStore& store, Settings settings);
    Heartbeat(const Heartbeat&) = delete;
    Heartbeat& operator=(const Heartbeat&) = delete;
    // Requests under way are given up.
    ~Heartbeat();

    // Sends when it is time. Returns at once; when the endpoint has acknowledged, the store is
    // told, otherwise nothing changes and nobody hears of it.
    void send();
    // Counts one panel opened ("ctPanelOpens") or one cleaning begun ("ctCleans").
    void bump(const QString& key);

private:
    // As sent.
    struct Counts {
        qint64 opens;
        qint64 cleans;
    };

    bool isTime() const;
    QString installID();
    void ask(const QUrl& url, const Counts& counts, int redirectsLeft);
    void finish(const QNetworkReply& reply, const Counts& counts, int redirectsLeft);
    void acknowledge(const Counts& counts);

    DefaultsStore& store;
    Settings settings;
    // Made with the first request: most days see one.
    std::unique_ptr<QNetworkAccessManager> network;
};

// The first two numbers of a version ("12" is "12.0"), empty when it does not begin with one.
QString majorMinor(const QString& version);

} // namespace nullprint::app
