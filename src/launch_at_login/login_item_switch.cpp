#include "launch_at_login/login_item_switch.h"

#include "launch_at_login/logging.h"

namespace LaunchAtLogin {
namespace {

const QString hasMigratedKey = QStringLiteral("LaunchAtLogin__hasMigrated");

} // namespace

void switchLoginItem(LoginItem &item, bool enabled)
{
    std::optional<LoginItemError> error;
    if (enabled) {
        if (item.isEnabled())
            (void)item.unregisterItem();
        error = item.registerItem();
    } else {
        error = item.unregisterItem();
    }
    if (error)
        qCCritical(lcLaunchAtLogin, "Failed to %s launch at login: %s", enabled ? "enable" : "disable",
                   qUtf8Printable(error->reason));
}

void migrateLegacyHelper(LoginItem &item, const LegacyHelper &helper, UserDefaults defaults)
{
    if (defaults.boolean(hasMigratedKey))
        return;
    defaults.setBoolean(hasMigratedKey, true);
    if (helper.isEnabled())
        switchLoginItem(item, true);
    helper.remove();
}

} // namespace LaunchAtLogin
