#include "keyboard_shortcuts/x11/x11_platform_services.h"

#include "keyboard_shortcuts/x11/x11_hot_key_service.h"
#include "keyboard_shortcuts/x11/x11_keyboard_layout.h"

namespace KeyboardShortcuts {

std::optional<PlatformServices> makeX11PlatformServices()
{
    PlatformServices services{makeX11HotKeyService(), makeX11KeyboardLayout(), makeNullDesktopKeyBindings()};
    if (!services.hotKeys)
        return std::nullopt;
    if (!services.keyboardLayout)
        services.keyboardLayout = makeNullKeyboardLayout();
    return services;
}

} // namespace KeyboardShortcuts
