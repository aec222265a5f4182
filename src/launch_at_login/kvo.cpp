#include "launch_at_login/kvo.h"

#include "launch_at_login/launch_at_login.h"

namespace LaunchAtLogin {

bool KVO::isEnabled() const
{
    return LaunchAtLogin::isEnabled();
}

void KVO::setIsEnabled(bool enabled)
{
    setEnabled(enabled);
}

} // namespace LaunchAtLogin
