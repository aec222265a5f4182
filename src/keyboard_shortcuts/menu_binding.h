#pragma once

#include "keyboard_shortcuts/name.h"

#include <optional>

class QAction;

namespace KeyboardShortcuts {

// Shows the name's current shortcut beside the action's title ("Grab Text\tSuper+Shift+2"; QMenu draws the text
// after a tab right-aligned) and follows every change of it; a cleared shortcut shows no key equivalent. While
// another program has taken the hot key, the action shows none either, and its tool tip and status tip (which the
// binding owns) tell so; QMenu shows tool tips only when asked to (QMenu::setToolTipsVisible). The action's own
// QAction::shortcut is left alone, so the menu never triggers the action a second time. Binding again replaces the
// earlier binding; no name removes it and the key equivalent. Main thread only.
void bindShortcut(QAction *action, const std::optional<Name> &name);

// The name the action is bound to; empty when it is bound to none.
std::optional<Name> boundName(const QAction &action);

} // namespace KeyboardShortcuts
