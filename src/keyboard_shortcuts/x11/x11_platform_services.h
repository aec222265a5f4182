#pragma once

#include "keyboard_shortcuts/platform_services.h"

#include <optional>

namespace KeyboardShortcuts {

// Hot keys and layout of the X server that Qt is connected to, and no desktop key bindings (they do not depend
// on the display); empty when Qt has no X11 connection.
std::optional<PlatformServices> makeX11PlatformServices();

} // namespace KeyboardShortcuts
