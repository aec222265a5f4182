#pragma once

#include <QString>

#include <optional>

namespace LaunchAtLogin {

// Why a change of the login item did not take effect, in words for the log.
struct LoginItemError {
    QString reason;
};

// The system's record that the program starts when the user logs in. One implementation is chosen when the module
// is first used; it keeps no state of its own beyond what the system keeps.
class LoginItem {
public:
    virtual ~LoginItem() = default;

    // Asks the system afresh.
    [[nodiscard]] virtual bool isEnabled() = 0;
    // Empty when the program now starts at login.
    [[nodiscard]] virtual std::optional<LoginItemError> registerItem() = 0;
    // Empty when the program no longer starts at login.
    [[nodiscard]] virtual std::optional<LoginItemError> unregisterItem() = 0;
};

} // namespace LaunchAtLogin
