// The two services that file managers offer in their context menus.
#pragma once

#include "app/DefaultsStore.h"
#include "cli/AppLog.h"

#include <array>

namespace nullprint::app {

struct FinderService {
    const char* title;
    const char* message;
};

inline constexpr std::array finderServices{
    FinderService{"Show Hidden Metadata (Nullprint)", "showMetadata"},
    FinderService{"Scrub Metadata (Nullprint)", "scrubMetadata"},
};

// Where "pbs" holds the dictionary of all services, and a service's key in it.
inline constexpr char servicesStatusKey[] = "NSServicesStatus";
QString statusKey(const FinderService& service);

// Once in a user's life: switches both services on, says so in the log, and has the list rebuilt.
void enableFinderServicesOnce(DefaultsStore& standard,
                              DefaultsStore& services,
                              AppLog& log,
                              const std::function<void()>& rebuildServicesList);

} // namespace nullprint::app
