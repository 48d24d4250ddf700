#include "app/platform/ColorScheme.h"

#include "app/Palette.h"

#include <QApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

namespace nullprint::app {
namespace {

// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
constexpr char service[] = "org.freedesktop.portal.Desktop";
constexpr char object[] = "/org/freedesktop/portal/desktop";
constexpr char settings[] = "org.freedesktop.portal.Settings";
constexpr char appearance[] = "org.freedesktop.appearance";
constexpr char colorScheme[] = "color-scheme";
constexpr uint prefersDark = 1; // 0 is no preference, 2 prefers light.

QString text(const char* name)
{
    return QString::fromLatin1(name);
}

// Some portals answer with a variant inside the variant.
QVariant unwrapped(QVariant value)
{
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

ColorScheme::ColorScheme(QDBusConnection bus, QObject* parent)
    : QObject(parent)
    , bus(bus)
{
    bus.connect(text(service),
                text(object),
                text(settings),
                QStringLiteral("SettingChanged"),
                this,
                SLOT(settingChanged(QDBusMessage)));
    read();
}

// Nobody waits for the answer: starting the portal may take seconds.
void ColorScheme::read()
{
    auto call = QDBusMessage::createMethodCall(text(service),
                                               text(object),
                                               text(settings),
                                               QStringLiteral("Read"));
    call << text(appearance) << text(colorScheme);
    auto* answer = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        const QDBusPendingReply<QDBusVariant> reply = *answer;
        if (!reply.isError())
            apply(reply.value().variant());
        answer->deleteLater();
    });
}

// The whole message: with this Qt a slot that takes a variant is not always found.
void ColorScheme::settingChanged(const QDBusMessage& signal)
{
    const auto values = signal.arguments();
    if (values.value(0) == text(appearance) && values.value(1) == text(colorScheme))
        apply(values.value(2));
}

// A desktop whose look reaches Qt has darkened the windows already. Only what was changed here is
// taken back.
void ColorScheme::apply(const QVariant& scheme)
{
    const bool wantsDark = unwrapped(scheme).toUInt() == prefersDark;
    if (wantsDark == darkened)
        return;
    if (wantsDark && appearanceOf(QApplication::palette()) == Appearance::dark)
        return;
    darkened = wantsDark;
    QApplication::setPalette(darkened ? darkDesktopPalette() : QPalette());
}

} // namespace nullprint::app
