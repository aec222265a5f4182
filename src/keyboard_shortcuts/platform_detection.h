#pragma once

#include "keyboard_shortcuts/platform_services.h"

namespace KeyboardShortcuts {

// The X11 services on an X11 display (QGuiApplication::platformName() "xcb"); elsewhere, or when the display
// refuses us, null services that refuse every hot key and know no layout. In a Wayland session, the desktop's own
// way to bind keys replaces X11 hot keys, which XWayland delivers only while an X11 window has the focus: the desktop
// portal's GlobalShortcuts where it offers them (KDE Plasma, GNOME 48+, Hyprland), else on GNOME its custom
// shortcuts, which run a command (setDesktopCommand). The desktop's key bindings are read from the store
// XDG_CURRENT_DESKTOP names, on any display.
PlatformServices detectPlatformServices();
PlatformServices makeNullPlatformServices();

} // namespace KeyboardShortcuts
