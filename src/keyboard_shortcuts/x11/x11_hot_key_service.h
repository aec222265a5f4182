#pragma once

#include "keyboard_shortcuts/hot_key_service.h"

#include <memory>

namespace KeyboardShortcuts {

// Passive key grabs on the root window of Qt's own X11 connection, one per Caps/Num/Scroll Lock combination so
// that a hot key fires whatever locks are on. Command is Super (Mod4), Option is Alt (Mod1). Empty when Qt has
// no X11 connection.
std::unique_ptr<HotKeyService> makeX11HotKeyService();

} // namespace KeyboardShortcuts
