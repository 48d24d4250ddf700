// Whether the application opens when its user logs in.
#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace nullprint::app {

class LoginItem {
public:
    LoginItem() = default;
    LoginItem(const LoginItem&) = delete;
    LoginItem& operator=(const LoginItem&) = delete;
    virtual ~LoginItem() = default;

    virtual bool isEnabled() const = 0;
    // Each yields the description of an error, or nothing. To delist what is not listed is one.
    virtual std::optional<QString> enlist() = 0;
    virtual std::optional<QString> delist() = 0;
};

// The system's log, where the user's own programs report.
void writeToSystemLog(const QString& line);

// What is on already stays. A failure goes to `systemLog` and nowhere else; ask the item whether it
// is on now.
void setLoginItem(LoginItem& item,
                  bool on,
                  const std::function<void(const QString&)>& systemLog = writeToSystemLog);

} // namespace nullprint::app
