#pragma once

#include "keyboard_shortcuts/hot_key_service.h"
#include "keyboard_shortcuts/key_names.h"

#include <chrono>
#include <memory>

namespace KeyboardShortcuts {

// How long a press waits for the desktop to report the key's release before the release is reported anyway.
inline constexpr std::chrono::milliseconds portalReleaseDelay{1000};

// Hot keys through the desktop portal's GlobalShortcuts interface (org.freedesktop.portal.GlobalShortcuts), on the
// session bus: KDE Plasma, GNOME 48 and later, Hyprland. Each grab is a portal session of its own holding one
// shortcut, whose id is the hot key's name (HotKeyHandlers::name), whose description is the command's title where
// one is given (HotKeyHandlers::command) and the name otherwise, and whose preferred trigger is the combination
// (portalTrigger). The session's token is the application's name and the hot key's name (portalToken), the same at
// every start. The desktop decides the key in the end: its keyboard settings list the shortcut and may bind it
// to another one, and a press of that key is what reaches the handlers.
//
// The portal answers later, so a grab is a request: it is handed out at once and holds nothing until the desktop
// has bound the shortcut. A desktop that refuses (the user declined, or it bound nothing) or that ends the session
// (it closed it, or the portal went away) calls onLost once. A combination the desktop refused for a name is
// refused at once for the rest of the service's life, so that retries never ask the user again. Grabs are refused
// at once without a name, for a key that has no keysym name, and for a second grab of a name whose first grab
// lives. Dropping the grab closes its session.
//
// Activated calls onPress and Deactivated onRelease; a repeated Activated while held is a repeat. Where no
// Deactivated comes within portalReleaseDelay of the last Activated (a shortcut invoked from the desktop's settings
// or a script, back ends that report activations only), the release is reported then.
//
// Null when the session bus has no portal offering GlobalShortcuts version 1 or later. Main thread only.
std::unique_ptr<HotKeyService> makePortalHotKeyService(KeyNames keyNames);

} // namespace KeyboardShortcuts
