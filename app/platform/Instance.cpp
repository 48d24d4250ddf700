#include "app/platform/Instance.h"

#include "app/FileURIs.h"
#include "app/Identity.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>

namespace nullprint::app {
namespace {

constexpr int answerMs = 5'000;

// A right to come to the front, which the desktop lends to the program that the user started.
struct LentRight {
    const char* key;
    const char* variable;
};
constexpr std::array lentRights{
    LentRight{"activation-token", "XDG_ACTIVATION_TOKEN"},
    LentRight{"desktop-startup-id", "DESKTOP_STARTUP_ID"},
};

QVariantMap rightsOfThisProcess()
{
    QVariantMap data;
    for (const auto& [key, variable] : lentRights) {
        if (const auto value = qgetenv(variable); !value.isEmpty())
            data.insert(QString::fromLatin1(key), QString::fromUtf8(value));
    }
    return data;
}

void takeRights(const QVariantMap& data)
{
    for (const auto& [key, variable] : lentRights) {
        if (const auto value = data.value(QString::fromLatin1(key)).toString(); !value.isEmpty())
            qputenv(variable, value.toUtf8());
    }
}

QDBusMessage messageFor(const StartRequest& request)
{
    const auto method = !request.service.empty() ? QStringLiteral("ActivateAction")
                        : !request.files.empty() ? QStringLiteral("Open")
                                                 : QStringLiteral("Activate");
    auto message = QDBusMessage::createMethodCall(QString::fromLatin1(applicationID),
                                                  QString::fromLatin1(objectPath),
                                                  QStringLiteral("org.freedesktop.Application"),
                                                  method);
    message.setAutoStartService(false);
    const auto uris = urisOfFiles(request.files);
    if (!request.service.empty())
        message << QString::fromStdString(request.service) << QVariantList{QVariant(uris)};
    else if (!uris.isEmpty())
        message << uris;
    return message << rightsOfThisProcess();
}

// The one parameter of a service comes in a variant, of which the library leaves different layers.
QStringList urisOf(const QVariantList& parameter)
{
    if (parameter.isEmpty())
        return {};
    auto value = parameter.first();
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto argument = value.value<QDBusArgument>();
        if (argument.currentSignature() != QStringLiteral("as"))
            return {};
        return qdbus_cast<QStringList>(argument);
    }
    return value.toStringList();
}

} // namespace

Forwarding forward(const StartRequest& request)
{
    // Not the connection that the application shares: that one waits for an event loop.
    const auto name = QStringLiteral("nullprint-forwarding");
    const auto bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
    auto outcome = Forwarding::nobodyRuns;
    if (bus.isConnected() &&
        bus.interface()->isServiceRegistered(QString::fromLatin1(applicationID))) {
        outcome = Forwarding::delivered;
        if (!request.isLoginItem || !request.files.empty()) {
            const auto answer = bus.call(messageFor(request), QDBus::Block, answerMs);
            if (answer.type() != QDBusMessage::ReplyMessage)
                outcome = Forwarding::unanswered;
        }
    }
    QDBusConnection::disconnectFromBus(name);
    return outcome;
}

Instance::~Instance()
{
    // At once: whoever starts the application while this one finishes its work is the next one.
    auto bus = QDBusConnection::sessionBus();
    if (hasName)
        bus.interface()->unregisterService(QString::fromLatin1(applicationID));
    bus.unregisterObject(QString::fromLatin1(objectPath));
}

bool Instance::claim()
{
    auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    // The object first: who starts the application by its name sends the request right after.
    bus.registerObject(QString::fromLatin1(objectPath),
                       this,
                       QDBusConnection::ExportScriptableSlots);
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        bus.interface()->registerService(QString::fromLatin1(applicationID),
                                         QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    hasName = reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered;
    // A bus that gives no names at all is as good as none.
    return hasName || !reply.isValid();
}

void Instance::Activate(const QVariantMap& platformData)
{
    takeRights(platformData);
    emit activated();
}

void Instance::Open(const QStringList& uris, const QVariantMap& platformData)
{
    takeRights(platformData);
    emit opened(readFileURLs(uris));
}

void Instance::ActivateAction(const QString& action,
                              const QVariantList& parameter,
                              const QVariantMap& platformData)
{
    takeRights(platformData);
    emit actionCalled(action, urisOf(parameter));
}

} // namespace nullprint::app
