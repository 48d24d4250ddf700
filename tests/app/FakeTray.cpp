#include "tests/app/FakeTray.h"

#include "tests/app/Waiting.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QUuid>

namespace nullprint::tests {
namespace {

const auto watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const auto watcherPath = QStringLiteral("/StatusNotifierWatcher");
const auto itemName = QStringLiteral("org.kde.StatusNotifierItem");
const auto itemPath = QStringLiteral("/StatusNotifierItem");

} // namespace

FakeTray::FakeTray(Host host)
    : busName(QUuid::createUuid().toString())
    , bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, busName))
    , host(host == Host::present)
{
    bus.registerObject(watcherPath,
                       this,
                       QDBusConnection::ExportScriptableContents |
                           QDBusConnection::ExportAllProperties);
    bus.registerService(watcherName);
}

FakeTray::~FakeTray()
{
    QDBusConnection::disconnectFromBus(busName);
}

void FakeTray::setHost(bool isThere)
{
    host = isThere;
    if (isThere)
        emit StatusNotifierHostRegistered();
    else
        emit StatusNotifierHostUnregistered();
}

void FakeTray::RegisterStatusNotifierItem(const QString& item)
{
    registered << item;
    bus.connect(item, itemPath, itemName, QStringLiteral("NewIcon"), this, SLOT(countNewIcon()));
    bus.connect(item,
                itemPath,
                itemName,
                QStringLiteral("NewToolTip"),
                this,
                SLOT(countNewToolTip()));
    bus.connect(item,
                itemPath,
                itemName,
                QStringLiteral("NewStatus"),
                this,
                SLOT(countNewStatus()));
}

QVariant FakeTray::property(const char* name) const
{
    auto call = QDBusMessage::createMethodCall(registered.value(0),
                                               itemPath,
                                               QStringLiteral("org.freedesktop.DBus.Properties"),
                                               QStringLiteral("Get"));
    const QDBusPendingReply<QDBusVariant> reply =
        bus.asyncCall(call << itemName << QString::fromLatin1(name));
    if (!comesTrue([&] { return reply.isFinished(); }) || reply.isError())
        return {};
    return reply.value().variant();
}

QString FakeTray::toolTip() const
{
    return qdbus_cast<app::NotifierToolTip>(property("ToolTip").value<QDBusArgument>()).title;
}

app::NotifierPictures FakeTray::pictures() const
{
    return qdbus_cast<app::NotifierPictures>(property("IconPixmap").value<QDBusArgument>());
}

void FakeTray::click(const char* method, QPoint place) const
{
    auto call = QDBusMessage::createMethodCall(registered.value(0),
                                               itemPath,
                                               itemName,
                                               QString::fromLatin1(method));
    bus.asyncCall(call << place.x() << place.y());
}

} // namespace nullprint::tests
