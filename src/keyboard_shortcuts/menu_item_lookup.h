#pragma once

#include "keyboard_shortcuts/name.h"
#include "keyboard_shortcuts/shortcut.h"

#include <optional>

class QAction;
class QMenu;

namespace KeyboardShortcuts {

class KeyboardLayout;

// The first item of the menu, or of its submenus, whose key equivalent is the shortcut, depth first: an item comes
// before its submenu, earlier items before later ones. An item's key equivalent is what the menu draws after its
// title ("Super+Q"), else its own QAction::shortcut. Menus draw letters in upper case whatever the Shift key, so
// only a drawn Shift counts. Items bound to `recorded` (bindShortcut) are passed over: what they show is that
// name's own shortcut. Null when no item matches, or the shortcut's key has no text.
QAction *menuItem(Shortcut shortcut, const QMenu &menu, const KeyboardLayout &layout,
                  const std::optional<Name> &recorded = std::nullopt);
// The same on the module's keyboard layout.
QAction *menuItem(Shortcut shortcut, const QMenu &menu, const std::optional<Name> &recorded = std::nullopt);

// The item's title as a person reads it: without its key equivalent and its mnemonic marks.
QString menuItemTitle(const QAction &item);

} // namespace KeyboardShortcuts
