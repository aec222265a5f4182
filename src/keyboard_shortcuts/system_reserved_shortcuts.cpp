#include "keyboard_shortcuts/system_reserved_shortcuts.h"

#include "keyboard_shortcuts/keyboard_shortcuts.h"

#include <algorithm>

namespace KeyboardShortcuts {

std::vector<Shortcut> systemReservedShortcuts()
{
    const PlatformServices &services = platformServices();
    return services.desktopKeyBindings->enabledBindings(KeyNames(*services.keyboardLayout));
}

bool isReservedBySystem(Shortcut shortcut)
{
    // F12 alone stays free to record whatever the desktop does with it.
    if (shortcut == Shortcut{Key::f12.rawValue, 0})
        return false;
    const std::vector<Shortcut> reserved = systemReservedShortcuts();
    if (std::ranges::find(reserved, shortcut) != reserved.end())
        return true;
    return platformServices().hotKeys->isHeldByAnotherClient(shortcut);
}

} // namespace KeyboardShortcuts
