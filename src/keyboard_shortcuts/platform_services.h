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

// The X11 services on an X11 display (QGuiApplication::platformName() "xcb"); elsewhere, or when the display
// refuses us, null services that refuse every hot key and know no layout. In a Wayland session, the desktop's own
// way to bind keys replaces X11 hot keys, which XWayland delivers only while an X11 window has the focus: the desktop
// portal's GlobalShortcuts where it offers them (KDE Plasma, GNOME 48+, Hyprland), else on GNOME its custom
// shortcuts, which run a command (setDesktopCommand). The desktop's key bindings are read from the store
// XDG_CURRENT_DESKTOP names, on any display.
PlatformServices detectPlatformServices();
PlatformServices makeNullPlatformServices();

} // namespace KeyboardShortcuts
