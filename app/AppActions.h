// What the panel can ask for.
#pragma once

#include <functional>

namespace nullprint::app {

struct AppActions {
    std::function<void()> checkFiles;
    std::function<void()> openDropWindow;
    std::function<void()> quit;
    std::function<void(bool on)> setLogin;
};

} // namespace nullprint::app
