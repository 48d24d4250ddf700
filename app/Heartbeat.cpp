#include "app/Heartbeat.h"

#include "cli/Version.h"
#include "engine/support/Text.h"
#include "engine/support/UUID.h"

#include <QHostAddress>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QSysInfo>

#include <array>

namespace nullprint::app {
namespace {

constexpr qint64 intervalMs = 72000LL * 1000;
constexpr int mostRedirects = 20;

const QString disableAnalyticsKey = QStringLiteral("disableAnalytics");
const QString lastHeartbeatKey = QStringLiteral("lastHeartbeat");
const QString installIDKey = QStringLiteral("installID");
const QString opensKey = QStringLiteral("ctPanelOpens");
const QString cleansKey = QStringLiteral("ctCleans");

constexpr char hidingKey = 0x5A;

constexpr char hiddenByte(char byte)
{
    return static_cast<char>(byte ^ hidingKey);
}

// Evaluated by the compiler alone, so that the address stands nowhere in the program as it is.
template <std::size_t Size> consteval std::array<char, Size - 1> hidden(const char (&address)[Size])
{
    std::array<char, Size - 1> bytes{};
    for (std::size_t i = 0; i + 1 < Size; ++i)
        bytes.at(i) = hiddenByte(address[i]);
    return bytes;
}

constexpr auto shippedEndpoint = hidden(NULLPRINT_HEARTBEAT_ENDPOINT);

bool isThisMachine(const QUrl& url)
{
    return url.host() == u"localhost" || QHostAddress(url.host()).isLoopback();
}

// Nothing is sent over a network in the clear. Without a network it may be: so it can be tried.
bool mayAsk(const QUrl& url)
{
    return url.isValid() && !url.host().isEmpty() &&
           (url.scheme() == u"https" || (url.scheme() == u"http" && isThisMachine(url)));
}

bool mayFollow(const QUrl& from, const QUrl& to)
{
    return mayAsk(to) && (to.scheme() == u"https" || from.scheme() == u"http");
}

QString operatingSystem()
{
    const QString distribution = majorMinor(QSysInfo::productVersion());
    return distribution.isEmpty() ? majorMinor(QSysInfo::kernelVersion()) : distribution;
}

QString queryOf(const std::array<std::pair<const char*, QString>, 6>& items)
{
    QStringList parts;
    for (const auto& [name, value] : items)
        parts.append(QLatin1String(name) + u'=' +
                     QString::fromLatin1(QUrl::toPercentEncoding(value)));
    return parts.join(u'&');
}

qint64 left(const QVariant& count, qint64 sent)
{
    qint64 difference = 0;
    if (__builtin_sub_overflow(DefaultsStore::integerOf(count), sent, &difference))
        return 0;
    return std::max<qint64>(difference, 0);
}

} // namespace

Heartbeat::Settings Heartbeat::shipped()
{
    Settings settings;
    settings.endpoint = QByteArray(shippedEndpoint.data(), shippedEndpoint.size());
    return settings;
}

QByteArray Heartbeat::obfuscated(QByteArray address)
{
    std::ranges::transform(address, address.begin(), hiddenByte);
    return address;
}

Heartbeat::Heartbeat(DefaultsStore& store, Settings settings)
    : store(store)
    , settings(std::move(settings))
{
}

Heartbeat::~Heartbeat() = default;

void Heartbeat::bump(const QString& key)
{
    store.update(key, [](const QVariant& count) {
        const qint64 now = DefaultsStore::integerOf(count);
        return now == std::numeric_limits<qint64>::max() ? now : now + 1;
    });
}

void Heartbeat::send()
{
    const QByteArray endpoint = obfuscated(settings.endpoint);
    if (endpoint.isEmpty() || !isUTF8(endpoint.toStdString()))
        return;
    if (!store.isReadable() || store.boolean(disableAnalyticsKey))
        return;
    QUrl url(QString::fromUtf8(endpoint), QUrl::StrictMode);
    if (!mayAsk(url) || !isTime())
        return;
    const QString id = installID();
    const Counts counts{store.integer(opensKey), store.integer(cleansKey)};
    url.setQuery(queryOf({{
                     {"id", id},
                     {"v", QString::fromUtf8(appVersion.data(), appVersion.size())},
                     {"os", operatingSystem()},
                     {"opens", QString::number(counts.opens)},
                     {"fixes", QString::number(counts.cleans)},
                     {"app", QStringLiteral("np")},
                 }}),
                 QUrl::StrictMode);
    ask(url, counts, mostRedirects);
}

bool Heartbeat::isTime() const
{
    const auto last = store.date(lastHeartbeatKey);
    return !last || last->msecsTo(settings.now()) >= intervalMs;
}

QString Heartbeat::installID()
{
    QString id;
    store.update(installIDKey, [&id](const QVariant& stored) -> QVariant {
        if (stored.typeId() == QMetaType::QString)
            id = stored.toString();
        if (!id.isEmpty())
            return stored;
        id = QString::fromStdString(randomUUID());
        return id;
    });
    return id;
}

void Heartbeat::ask(const QUrl& url, const Counts& counts, int redirectsLeft)
{
    if (!network)
        network = std::make_unique<QNetworkAccessManager>();
    QNetworkRequest request(url);
    request.setSslConfiguration(settings.tls);
    request.setTransferTimeout(static_cast<int>(settings.patience.count()));
    // Followed here: the library's own way ends a loop with a status that looks like success.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    // Nothing but the query tells who is asking: no cookies, and not the user's language.
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setRawHeader("Accept-Language", "*");
    QNetworkReply* reply = network->get(request);
    // The body means nothing, however long it is.
    QObject::connect(reply, &QIODevice::readyRead, reply, [reply] { reply->readAll(); });
    QObject::connect(reply, &QNetworkReply::finished, reply, [=, this] {
        reply->deleteLater();
        finish(*reply, counts, redirectsLeft);
    });
}

void Heartbeat::finish(const QNetworkReply& reply, const Counts& counts, int redirectsLeft)
{
    if (reply.error() != QNetworkReply::NoError)
        return;
    const QUrl target = reply.attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    if (!target.isEmpty()) {
        const QUrl next = reply.url().resolved(target);
        if (redirectsLeft > 0 && mayFollow(reply.url(), next))
            ask(next, counts, redirectsLeft - 1);
        return;
    }
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status >= 200 && status < 400)
        acknowledge(counts);
}

// What was counted while the request was under way is for the next one.
void Heartbeat::acknowledge(const Counts& counts)
{
    store.updateAll([&](QVariantMap& values) {
        values[lastHeartbeatKey] = settings.now();
        values[opensKey] = left(values.value(opensKey), counts.opens);
        values[cleansKey] = left(values.value(cleansKey), counts.cleans);
    });
}

QString majorMinor(const QString& version)
{
    static const QRegularExpression numbers(QStringLiteral("^([0-9]+)(?:\\.([0-9]+))?"));
    const auto match = numbers.match(version);
    if (!match.hasMatch())
        return {};
    const QString minor = match.captured(2);
    return match.captured(1) + u'.' + (minor.isEmpty() ? QStringLiteral("0") : minor);
}

} // namespace nullprint::app
