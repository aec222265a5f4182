#include "keyboard_shortcuts/system_reserved_shortcuts.h"

namespace KeyboardShortcuts {

std::vector<Shortcut> systemReservedShortcuts()
{
    return {};
}

bool isReservedBySystem(Shortcut)
{
    return false;
}

} // namespace KeyboardShortcuts
