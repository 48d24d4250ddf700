#include "app/platform/NotifierItem.h"

#include "app/Identity.h"

#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QPixmap>
#include <QtEndian>

namespace nullprint::app {

QDBusArgument& operator<<(QDBusArgument& argument, const NotifierPicture& picture)
{
    argument.beginStructure();
    argument << picture.width << picture.height << picture.pixels;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierPicture& picture)
{
    argument.beginStructure();
    argument >> picture.width >> picture.height >> picture.pixels;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const NotifierToolTip& tip)
{
    argument.beginStructure();
    argument << tip.iconName << tip.pictures << tip.title << tip.text;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierToolTip& tip)
{
    argument.beginStructure();
    argument >> tip.iconName >> tip.pictures >> tip.title >> tip.text;
    argument.endStructure();
    return argument;
}

namespace {

const auto watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const auto watcherPath = QStringLiteral("/StatusNotifierWatcher");
const auto itemPath = QStringLiteral("/StatusNotifierItem");

// The sizes of panels, at one and at two pixels a point.
constexpr std::array pictureSides{16, 22, 24, 32, 48, 64};

NotifierPicture pictureOf(const QIcon& icon, int side)
{
    const auto image =
        icon.pixmap(QSize(side, side), 1.0).toImage().convertToFormat(QImage::Format_ARGB32);
    NotifierPicture picture{image.width(), image.height(), {}};
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const quint32 pixel = qToBigEndian(image.pixel(x, y));
            picture.pixels +=
                QByteArray::fromRawData(static_cast<const char*>(static_cast<const void*>(&pixel)),
                                        sizeof pixel);
        }
    }
    return picture;
}

} // namespace

NotifierItem::NotifierItem(QDBusConnection connection)
    : bus(std::move(connection))
{
    qDBusRegisterMetaType<NotifierPicture>();
    qDBusRegisterMetaType<NotifierPictures>();
    qDBusRegisterMetaType<NotifierToolTip>();
}

NotifierItem::~NotifierItem()
{
    bus.unregisterObject(itemPath);
}

QString NotifierItem::id() const
{
    return QString::fromLatin1(applicationID);
}

void NotifierItem::setIcon(const QString& themeName, const QIcon& icon)
{
    name = themeName;
    pictures.clear();
    for (const int side : pictureSides)
        pictures << pictureOf(icon, side);
    emit NewIcon();
}

void NotifierItem::setToolTip(const QString& text)
{
    tip = text;
    emit NewToolTip();
}

void NotifierItem::start()
{
    if (!bus.isConnected()) {
        setHost(false);
        return;
    }
    bus.registerObject(itemPath,
                       this,
                       QDBusConnection::ExportScriptableContents |
                           QDBusConnection::ExportAllProperties);
    for (const auto* signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"}) {
        bus.connect(watcherName,
                    watcherPath,
                    watcherName,
                    QString::fromLatin1(signal),
                    this,
                    SLOT(askForHost()));
    }
    auto* watch =
        new QDBusServiceWatcher(watcherName, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(
        watch,
        &QDBusServiceWatcher::serviceOwnerChanged,
        this,
        [this](const QString&, const QString&, const QString& owner) { watcherChanged(owner); });
    watcherChanged(watcherName);
}

void NotifierItem::stop()
{
    state = QStringLiteral("Passive");
    emit NewStatus(state);
}

// A watcher that is new knows of no item.
void NotifierItem::watcherChanged(const QString& owner)
{
    if (owner.isEmpty()) {
        setHost(false);
        return;
    }
    auto call = QDBusMessage::createMethodCall(watcherName,
                                               watcherPath,
                                               watcherName,
                                               QStringLiteral("RegisterStatusNotifierItem"));
    call.setAutoStartService(false);
    bus.send(call << bus.baseService());
    askForHost();
}

void NotifierItem::askForHost()
{
    auto call = QDBusMessage::createMethodCall(watcherName,
                                               watcherPath,
                                               QStringLiteral("org.freedesktop.DBus.Properties"),
                                               QStringLiteral("Get"));
    call.setAutoStartService(false);
    call << watcherName << QStringLiteral("IsStatusNotifierHostRegistered");
    auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        setHost(!reply.isError() && reply.value().variant().toBool());
        answer->deleteLater();
    });
}

void NotifierItem::setHost(bool isThere)
{
    if (host == isThere)
        return;
    host = isThere;
    emit hostChanged(isThere);
}

void NotifierItem::Activate(int x, int y)
{
    emit activated({x, y});
}

void NotifierItem::SecondaryActivate(int x, int y)
{
    emit activated({x, y});
}

void NotifierItem::ContextMenu(int x, int y)
{
    emit activated({x, y});
}

void NotifierItem::Scroll(int, const QString&)
{
}

void NotifierItem::ProvideXdgActivationToken(const QString& token)
{
    qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

} // namespace nullprint::app
