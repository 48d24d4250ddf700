// The icon in the desktop's tray by way of org.kde.StatusNotifierItem, the interface of KDE and
// freedesktop.org. It finds its host whenever that comes, goes or comes back.
#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QIcon>
#include <QObject>
#include <QPoint>

#include <optional>

namespace nullprint::app {

// As the interface has them: ARGB32 in network byte order.
struct NotifierPicture {
    int width = 0;
    int height = 0;
    QByteArray pixels;
};
using NotifierPictures = QList<NotifierPicture>;

struct NotifierToolTip {
    QString iconName;
    NotifierPictures pictures;
    QString title;
    QString text;
};

QDBusArgument& operator<<(QDBusArgument& argument, const NotifierPicture& picture);
const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierPicture& picture);
QDBusArgument& operator<<(QDBusArgument& argument, const NotifierToolTip& tip);
const QDBusArgument& operator>>(const QDBusArgument& argument, NotifierToolTip& tip);

class NotifierItem : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(nullprint::app::NotifierPictures IconPixmap READ iconPixmap)
    Q_PROPERTY(nullprint::app::NotifierToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menu)

public:
    explicit NotifierItem(QDBusConnection bus = QDBusConnection::sessionBus());
    ~NotifierItem() override;

    // `name` is that of an icon theme, empty when no theme has it; hosts that lack it take `icon`.
    void setIcon(const QString& name, const QIcon& icon);
    void setToolTip(const QString& text);
    // From now on any host may show it.
    void start();
    // Hosts let go of an item when its program is gone; until then it is as good as not there.
    void stop();
    bool hasBus() const { return bus.isConnected(); }
    bool hasHost() const { return host.value_or(false); }

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString id() const;
    QString title() const { return QStringLiteral("Nullprint"); }
    QString status() const { return state; }
    int windowId() const { return 0; }
    QString iconName() const { return name; }
    NotifierPictures iconPixmap() const { return pictures; }
    NotifierToolTip toolTip() const { return {{}, {}, tip, {}}; }
    bool itemIsMenu() const { return false; }
    QDBusObjectPath menu() const { return QDBusObjectPath(QStringLiteral("/NO_DBUSMENU")); }

signals:
    // `place` is where on the screen the click was, as the host tells it.
    void activated(const QPoint& place);
    // Also when it becomes known for the first time that there is none.
    void hostChanged(bool isThere);

    // NOLINTBEGIN(readability-identifier-naming): the interface's names.
    Q_SCRIPTABLE void NewIcon();
    Q_SCRIPTABLE void NewToolTip();
    Q_SCRIPTABLE void NewStatus(const QString& status);

public slots:
    // Whatever button was used, there is one panel.
    Q_SCRIPTABLE void Activate(int x, int y);
    Q_SCRIPTABLE void SecondaryActivate(int x, int y);
    Q_SCRIPTABLE void ContextMenu(int x, int y);
    Q_SCRIPTABLE void Scroll(int delta, const QString& orientation);
    // A right to come to the front, lent before Activate.
    Q_SCRIPTABLE void ProvideXdgActivationToken(const QString& token);
    // NOLINTEND(readability-identifier-naming)

private slots:
    void askForHost();

private:
    void watcherChanged(const QString& owner);
    void setHost(bool isThere);

    QDBusConnection bus;
    QString name;
    NotifierPictures pictures;
    QString tip;
    QString state = QStringLiteral("Active");
    std::optional<bool> host; // Nothing before anybody has answered.
};

} // namespace nullprint::app

Q_DECLARE_METATYPE(nullprint::app::NotifierPicture)
Q_DECLARE_METATYPE(nullprint::app::NotifierToolTip)
