// Opening at login by the desktop's autostart folder (XDG Desktop Application Autostart).
#pragma once

#include "app/LoginItem.h"

namespace nullprint::app {

class AutostartFile : public LoginItem {
public:
    // `program` is what is to be started, an absolute path.
    AutostartFile(QString file, QString program);
    // In the autostart folder of the user.
    static QString usualFile();

    bool isEnabled() const override;
    std::optional<QString> enlist() override;
    std::optional<QString> delist() override;

private:
    QString file;
    QString program;
};

} // namespace nullprint::app
