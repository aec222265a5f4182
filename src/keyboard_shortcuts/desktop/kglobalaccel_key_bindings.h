#pragma once

#include "keyboard_shortcuts/desktop_key_bindings.h"

#include <memory>

namespace KeyboardShortcuts {

// KDE's global shortcuts, asked of the kglobalaccel service on the session bus; none when it is not running.
std::unique_ptr<DesktopKeyBindings> makeKGlobalAccelKeyBindings();

} // namespace KeyboardShortcuts
