#include "app/platform/PanelAccess.h"

#include "app/platform/Popover.h"

#include <QAccessibleObject>
#include <QAccessibleWidget>
#include <QApplication>

namespace nullprint::app {
namespace {

QList<QWidget*> shownPopups()
{
    QList<QWidget*> popups;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (qobject_cast<Popover*>(widget) != nullptr && widget->isVisible() &&
            widget->windowType() == Qt::Popup)
            popups.append(widget);
    }
    return popups;
}

// The windows that Qt tells of, and after them the panel.
class ApplicationAccess : public QAccessibleApplication {
public:
    int childCount() const override
    {
        return QAccessibleApplication::childCount() + static_cast<int>(shownPopups().size());
    }

    QAccessibleInterface* child(int index) const override
    {
        const int own = QAccessibleApplication::childCount();
        if (index < own)
            return QAccessibleApplication::child(index);
        QWidget* popup = shownPopups().value(index - own);
        return popup == nullptr ? nullptr : QAccessible::queryAccessibleInterface(popup);
    }

    int indexOfChild(const QAccessibleInterface* child) const override
    {
        if (const int index = QAccessibleApplication::indexOfChild(child); index >= 0)
            return index;
        const auto place = shownPopups().indexOf(qobject_cast<QWidget*>(child->object()));
        return place < 0 ? -1 : QAccessibleApplication::childCount() + static_cast<int>(place);
    }
};

QAccessibleInterface* accessOf(const QString& className, QObject* object)
{
    if (object == nullptr)
        return nullptr;
    if (object == qApp && className == QStringLiteral("QApplication"))
        return new ApplicationAccess;
    // As a window it may also say that it is the one in use.
    if (auto* popover = qobject_cast<Popover*>(object))
        return new QAccessibleWidget(popover, QAccessible::Window);
    return nullptr;
}

} // namespace

void showPopoversToAssistiveTechnology()
{
    QAccessible::installFactory(accessOf);
}

} // namespace nullprint::app
