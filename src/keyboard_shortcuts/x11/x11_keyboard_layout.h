#pragma once

#include "keyboard_shortcuts/keyboard_layout.h"

#include <memory>

namespace KeyboardShortcuts {

// The X server's current keyboard layout, read through xkbcommon at every call. Empty when Qt has no X11
// connection or the server has no XKB.
std::unique_ptr<KeyboardLayout> makeX11KeyboardLayout();

} // namespace KeyboardShortcuts
