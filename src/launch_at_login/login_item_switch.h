#pragma once

#include "launch_at_login/legacy_helper.h"
#include "launch_at_login/login_item.h"
#include "user_defaults/user_defaults.h"

namespace LaunchAtLogin {

// Turns the login item on or off. Turning on an item that is already on unregisters it first, ignoring any error,
// so that the registration is made afresh. A failure is logged once, "Failed to enable launch at login: <reason>"
// (or "disable"), and not reported: the state stays what the system says.
void switchLoginItem(LoginItem &item, bool enabled);

// The one-time move from the legacy helper, at most once per user: the flag "LaunchAtLogin__hasMigrated" is set
// first, so that a failing migration is not tried again; an enabled helper is carried over to the login item
// (failures logged as by switchLoginItem); then the helper is removed in every case.
void migrateLegacyHelper(LoginItem &item, const LegacyHelper &helper, UserDefaults defaults);

} // namespace LaunchAtLogin
