#pragma once

#include "keyboard_shortcuts/key.h"

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
};

// For systems whose layout cannot be read: knows no key.
std::unique_ptr<KeyboardLayout> makeNullKeyboardLayout();

} // namespace KeyboardShortcuts
