#include "app/AccessibleRole.h"

#include <QAccessibleWidget>
#include <QWidget>

namespace nullprint::app {
namespace {

constexpr char roleProperty[] = "nullprintAccessibleRole";

QAccessibleInterface* accessOf(const QString&, QObject* object)
{
    auto* widget = qobject_cast<QWidget*>(object);
    if (widget == nullptr)
        return nullptr;
    const auto role = widget->property(roleProperty);
    if (!role.isValid())
        return nullptr;
    return new QAccessibleWidget(widget, static_cast<QAccessible::Role>(role.toInt()));
}

} // namespace

void setAccessibleRole(QWidget& widget, QAccessible::Role role)
{
    widget.setProperty(roleProperty, static_cast<int>(role));
    QAccessible::installFactory(accessOf); // Once, however often it is asked for.
}

} // namespace nullprint::app
