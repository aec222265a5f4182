#include "keyboard_shortcuts/x11/x11_platform_services.h"

namespace KeyboardShortcuts {

std::optional<PlatformServices> makeX11PlatformServices()
{
    return std::nullopt;
}

} // namespace KeyboardShortcuts
