// What widgets that paint themselves are to assistive technology.
#pragma once

#include <QAccessible>

namespace nullprint::app {

// Qt takes a plain widget for mere space between others. For before it is shown.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

} // namespace nullprint::app
