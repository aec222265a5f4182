#pragma once

#include "keyboard_shortcuts/desktop_key_bindings.h"

#include <memory>

namespace KeyboardShortcuts {

// GNOME's key bindings, read through GSettings from the window manager's, the shell's and the settings daemon's schemas
// and the user's custom commands; schemas that are not installed are skipped.
std::unique_ptr<DesktopKeyBindings> makeGSettingsKeyBindings();

} // namespace KeyboardShortcuts
