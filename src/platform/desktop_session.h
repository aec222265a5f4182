#pragma once

#include <QProcessEnvironment>
#include <QStringList>

namespace Platform {

enum class DisplayServer { x11, wayland };

// Whose desktop this is, as far as the services we choose differ between them.
enum class Desktop {
    other,
    gnome,   // GNOME Shell: its own key bindings in GSettings, portals, no tray host of its own
    kde,     // KDE Plasma: kglobalaccel, portals with GlobalShortcuts from 5.27
    xfce,    // Xfce: xfconf
    wlroots, // sway, Hyprland, river, Wayfire: grim and slurp, data-control clipboard
};

// What kind of session the program runs in, decided once at start; every service is chosen from this one answer.
struct DesktopSession {
    DisplayServer displayServer = DisplayServer::x11;
    bool xwayland = false; // on Wayland: X11 clients get a display too
    Desktop desktop = Desktop::other;
    QStringList currentDesktops; // XDG_CURRENT_DESKTOP, in the session's own words and order

    friend bool operator==(const DesktopSession &, const DesktopSession &) = default;
};

// Wayland when the session announces a Wayland display (WAYLAND_DISPLAY, or XDG_SESSION_TYPE=wayland), X11
// otherwise; the desktop from XDG_CURRENT_DESKTOP, falling back to the compositor's own variables.
[[nodiscard]] DesktopSession describeSession(const QProcessEnvironment &environment);

// describeSession of this process's environment at the first call; the same answer for the whole run.
[[nodiscard]] const DesktopSession &currentSession();

} // namespace Platform
