#pragma once

#include "keyboard_shortcuts/key.h"

#include <QHash>
#include <QString>

#include <memory>
#include <optional>

namespace KeyboardShortcuts {

// The keyboard layout the user types with now.
class KeyboardLayout {
public:
    virtual ~KeyboardLayout() = default;
    // What the key types without modifiers, e.g. "z" for Key::y on a German layout; empty when it types no
    // printable character or the layout is unknown. A layout change is seen at the next call.
    virtual std::optional<QString> keyText(Key key) const = 0;
    // The keys of the scan code table (scan_codes.h) by what they type without modifiers, from one reading of the
    // layout, for looking up many texts at once. Where several keys type the same text, the first in the table's
    // order wins, so the main keyboard comes before the keypad. By default made from keyText().
    virtual QHash<QString, Key> keysByText() const;
};

// Knows no key.
std::unique_ptr<KeyboardLayout> makeNullKeyboardLayout();

// The US layout that the key codes are named after: the best guess where the user's layout cannot be read
// (Wayland, offscreen).
std::unique_ptr<KeyboardLayout> makeUsKeyboardLayout();

} // namespace KeyboardShortcuts
