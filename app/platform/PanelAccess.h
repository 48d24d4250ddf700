// What assistive technology is told of the panel.
#pragma once

namespace nullprint::app {

// Qt keeps popups from assistive technology: they are taken for menus of other windows. From here
// on a `Popover` that is shown is a window of the application like any other, and says when it
// opens. To be called before there is an application; calling it again changes nothing.
void showPopoversToAssistiveTechnology();

} // namespace nullprint::app
