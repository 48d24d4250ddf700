// What the user reads when the service “Scrub Metadata” has done its work.
#pragma once

#include "app/FileWork.h"

#include <QString>

namespace nullprint::app {

struct ServiceNotice {
    QString message;
    QString information;
};

ServiceNotice serviceNotice(const CleanResult& result);

} // namespace nullprint::app
