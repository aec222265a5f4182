#pragma once

#include "keyboard_shortcuts/desktop_key_bindings.h"
#include "keyboard_shortcuts/hot_key_service.h"
#include "keyboard_shortcuts/keyboard_layout.h"

#include <memory>

namespace KeyboardShortcuts {

// The module's ties to the windowing system and the desktop, chosen once.
struct PlatformServices {
    std::unique_ptr<HotKeyService> hotKeys;
    std::unique_ptr<KeyboardLayout> keyboardLayout;
    std::unique_ptr<DesktopKeyBindings> desktopKeyBindings;
};

} // namespace KeyboardShortcuts
