// The eye in the tray.
#pragma once

#include <QIcon>

namespace nullprint::app {

// Its name in icon themes, which colour it as the tray needs it; empty where no theme has it: then
// the picture has to do.
QString statusIconName();
// Drawn to be seen on any ground, and rather for one of the desktop's present appearance.
QIcon statusIcon();
// The same with a dot, while files are worked on.
QIcon busyStatusIcon();

} // namespace nullprint::app
