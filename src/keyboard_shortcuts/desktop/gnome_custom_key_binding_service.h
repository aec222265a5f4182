#pragma once

#include "keyboard_shortcuts/hot_key_service.h"
#include "keyboard_shortcuts/key_names.h"

#include <memory>

namespace KeyboardShortcuts {

// Hot keys as GNOME custom shortcuts, for GNOME on Wayland without the GlobalShortcuts portal, where no program may
// grab keys: each grab writes an entry of the relocatable schema
// org.gnome.settings-daemon.plugins.media-keys.custom-keybinding (name: the command's title, command: its command
// line, binding: the accelerator) at the program's own path for the shortcut's name (ownCustomKeyBindingPath) and
// lists that path in media-keys' custom-keybindings, after the user's entries; the settings daemon then runs the
// command when the combination is pressed. The handlers are never called. Dropping the grab resets the entry and
// takes it off the list; the user's entries stay as they are. Entries of the program left over from a run that
// did not end cleanly are removed when the service is made. Grabs are refused without a name and a command, for a
// key that has no keysym name, for a second grab of one name, and where the settings cannot be written.
//
// Null when GNOME's settings daemon schemas are not installed. Main thread only.
std::unique_ptr<HotKeyService> makeGnomeCustomKeyBindingService(KeyNames keyNames);

} // namespace KeyboardShortcuts
