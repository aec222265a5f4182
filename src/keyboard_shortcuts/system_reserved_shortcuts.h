#pragma once

#include "keyboard_shortcuts/shortcut.h"

#include <vector>

namespace KeyboardShortcuts {

// The combinations the desktop keeps for itself, in its own order; the same combination may appear twice.
// Read afresh at every call.
std::vector<Shortcut> systemReservedShortcuts();

// Whether the desktop, or on X11 any other program, holds the combination. F12 alone is never reserved.
bool isReservedBySystem(Shortcut shortcut);

} // namespace KeyboardShortcuts
