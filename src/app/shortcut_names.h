#pragma once

#include "keyboard_shortcuts/key.h"
#include "keyboard_shortcuts/name.h"

// The global shortcut that starts a text capture; Super+Shift+2 until the user records another.
inline const KeyboardShortcuts::Name &toggleUnicornMode()
{
    static const KeyboardShortcuts::Name name(
        QStringLiteral("toggleUnicornMode"),
        KeyboardShortcuts::Shortcut::fromKey(KeyboardShortcuts::Key::two, Qt::ShiftModifier | Qt::MetaModifier));
    return name;
}
