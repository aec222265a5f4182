#pragma once

#include "keyboard_shortcuts/key_names.h"
#include "keyboard_shortcuts/shortcut.h"

#include <QStringView>

#include <memory>
#include <vector>

namespace KeyboardShortcuts {

// The key bindings the running desktop has configured: its window manager's, its settings daemon's and the user's
// own commands.
class DesktopKeyBindings {
public:
    virtual ~DesktopKeyBindings() = default;
    // The bindings switched on now, read afresh at every call, in the desktop's order; empty when they cannot be
    // read. Entries that are switched off, or whose key has no Key, are left out one by one.
    [[nodiscard]] virtual std::vector<Shortcut> enabledBindings(const KeyNames &keyNames) const = 0;
};

// Where a desktop keeps its key bindings.
enum class KeyBindingStore { none, gsettings, kglobalaccel, xfconf };

// From the value of XDG_CURRENT_DESKTOP: names separated by colons, in any case; the first one known decides.
// GNOME and the desktops built on its settings (Unity, Budgie, Pantheon) use GSettings, KDE kglobalaccel, Xfce
// xfconf.
KeyBindingStore keyBindingStore(QStringView currentDesktops);

std::unique_ptr<DesktopKeyBindings> makeDesktopKeyBindings(KeyBindingStore store);

// Knows no binding.
std::unique_ptr<DesktopKeyBindings> makeNullDesktopKeyBindings();

} // namespace KeyboardShortcuts
