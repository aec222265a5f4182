#include "launch_at_login/observable.h"

#include "launch_at_login/launch_at_login.h"

namespace LaunchAtLogin {

bool Observable::isEnabled() const
{
    return LaunchAtLogin::isEnabled();
}

void Observable::setIsEnabled(bool enabled)
{
    setEnabled(enabled);
}

} // namespace LaunchAtLogin
