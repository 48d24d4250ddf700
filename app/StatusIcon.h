// The eye in the tray.
#pragma once

#include <QIcon>

namespace nullprint::app {

// Its name in icon themes, empty where no theme has it: then the picture has to do.
QString statusIconName();
QIcon statusIcon();
// The same with a dot, while files are worked on.
QIcon busyStatusIcon();

} // namespace nullprint::app
