#pragma once

#include "keyboard_shortcuts/hot_key_service.h"
#include "keyboard_shortcuts/keyboard_layout.h"

#include <memory>

namespace KeyboardShortcuts {

// The module's ties to the windowing system, chosen once.
struct PlatformServices {
    std::unique_ptr<HotKeyService> hotKeys;
    std::unique_ptr<KeyboardLayout> keyboardLayout;
};

// The X11 services on an X11 display (QGuiApplication::platformName() "xcb"); elsewhere, or when the display
// refuses us, null services that refuse every hot key and know no layout.
PlatformServices detectPlatformServices();
PlatformServices makeNullPlatformServices();

} // namespace KeyboardShortcuts
