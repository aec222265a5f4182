#pragma once

#include "keyboard_shortcuts/desktop_key_bindings.h"

#include <memory>

namespace KeyboardShortcuts {

// Xfce's keyboard shortcuts, the custom commands and window manager actions of xfconf's xfce4-keyboard-shortcuts
// channel on the session bus.
std::unique_ptr<DesktopKeyBindings> makeXfconfKeyBindings();

} // namespace KeyboardShortcuts
