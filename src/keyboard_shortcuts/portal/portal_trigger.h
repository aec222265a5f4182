#pragma once

#include "keyboard_shortcuts/key_names.h"
#include "keyboard_shortcuts/shortcut.h"

#include <QString>
#include <QStringView>

#include <optional>

namespace KeyboardShortcuts {

// A combination in the form the GlobalShortcuts portal takes as a shortcut's preferred trigger (the freedesktop
// shortcuts format): the modifiers LOGO (Super), CTRL, ALT and SHIFT, in that order, then the key's XKB keysym
// name, joined by '+': "LOGO+SHIFT+2", "CTRL+ALT+F5", "ALT+bracketleft". Keypad keys are their own keysyms
// ("KP_1"); NUM, which means Num Lock on, is never added. Empty for a key without a keysym name.
std::optional<QString> portalTrigger(Shortcut shortcut, const KeyNames &keyNames);

// A portal token (the last element of a request or session object path) made from a shortcut's name: letters,
// digits and '_' kept, anything else as '_'; "shortcut" for an empty name. The same name always gives the same
// token, so that a desktop that files a session's shortcuts under its token finds them again at the next start.
QString portalToken(QStringView name);

} // namespace KeyboardShortcuts
