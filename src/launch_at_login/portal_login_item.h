#pragma once

#include "launch_at_login/login_item.h"
#include "user_defaults/user_defaults.h"

#include <QDBusConnection>
#include <QString>
#include <QStringList>

#include <chrono>

namespace LaunchAtLogin {

// Inside the Flatpak sandbox: the desktop portal's Background interface (org.freedesktop.portal.Background)
// writes the host's autostart entry for us, after asking the user if the desktop wants to.
//
// The sandbox cannot see the host's autostart folder and the portal has no way to ask for the state, so the item
// answers with the last autostart state the portal granted, kept under "LaunchAtLogin__autostartGranted" in the
// given defaults (off until the portal first answers). A cancelled or refused request, or a portal that does not
// answer, changes nothing. An entry the user removes outside the program is not noticed until the next change.
class PortalLoginItem final : public LoginItem {
public:
    static constexpr auto grantedKey = "LaunchAtLogin__autostartGranted";
    // How long a request waits for the user to answer the portal's question.
    static constexpr std::chrono::milliseconds defaultTimeLimit = std::chrono::minutes(5);

    // commandLine is what the portal writes into the entry; reason is shown to the user if the desktop asks.
    PortalLoginItem(QDBusConnection bus, UserDefaults defaults, QStringList commandLine, QString reason,
                    std::chrono::milliseconds timeLimit = defaultTimeLimit);

    bool isEnabled() override;
    std::optional<LoginItemError> registerItem() override;
    std::optional<LoginItemError> unregisterItem() override;

private:
    std::optional<LoginItemError> request(bool autostart);

    QDBusConnection m_bus;
    UserDefaults m_defaults;
    QStringList m_commandLine;
    QString m_reason;
    std::chrono::milliseconds m_timeLimit;
};

} // namespace LaunchAtLogin
