#pragma once

namespace Platform {

enum class DisplayServer { x11, wayland };

// Wayland when the session announces a Wayland display, X11 otherwise.
DisplayServer currentDisplayServer();

} // namespace Platform
