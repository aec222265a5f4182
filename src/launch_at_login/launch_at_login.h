#pragma once

#include "launch_at_login/kvo.h"
#include "launch_at_login/observable.h"
#include "launch_at_login/publisher.h"

// Whether the program starts when the user logs in. Outside a sandbox the module keeps the program's entry
// <id>.desktop in the XDG autostart folders, where <id> is QGuiApplication::desktopFileName() or else the
// application name; in the Flatpak sandbox it asks the desktop portal. The choice is made once, when the module is
// first used, which must be after the application object exists. Main thread only.
namespace LaunchAtLogin {

// Asks the system afresh every time.
bool isEnabled();

// Turns launching at login on or off, announcing in this order: observable()'s isEnabledWillChange, kvo()'s
// isEnabledWillChange, the change itself, kvo()'s and then observable()'s isEnabledChanged with the state as then
// read, and last the written value to the publisher's subscribers. A failure is logged at critical level in the
// category "app.scrivlet.LaunchAtLogin.main", "Failed to enable launch at login: <reason>", never reported
// otherwise: readers see what the system says.
void setEnabled(bool enabled);

// Carries an enabled helper entry of earlier versions (<id>-LaunchAtLoginHelper.desktop) over to the current
// mechanism and removes the helper, once per user ("LaunchAtLogin__hasMigrated" in the standard defaults).
// Makes no announcements. Meant for the program's start.
void migrateIfNeeded();

KVO &kvo();
Observable &observable();
Publisher &publisher();

} // namespace LaunchAtLogin
