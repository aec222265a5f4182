#pragma once

#include "keyboard_shortcuts/shortcut.h"

#include <QString>
#include <Qt>

#include <cstdint>
#include <optional>

namespace KeyboardShortcuts {

class KeyboardLayout;

// The fixed text of a special key: "↩" for Return, "F5", "0⃣" for keypad 0 …; empty for other keys.
std::optional<QString> fixedKeyText(std::int64_t keyCode);

// The text of one key without modifiers: the fixed text first, then what the key types on the layout ("z" for
// Key::y on a German layout); empty when neither has one. The one-argument form asks the module's layout.
std::optional<QString> keyText(std::int64_t keyCode, const KeyboardLayout &layout);
std::optional<QString> keyText(std::int64_t keyCode);

// "⌃⌥⇧⌘", in that order, for the modifiers present.
QString modifierSymbols(Qt::KeyboardModifiers modifiers);
// "Super+Ctrl+Alt+Shift+", in that order, for the modifiers present.
QString modifierWords(Qt::KeyboardModifiers modifiers);
// The modifier a word of such a text names, in any case; Qt's own "Meta" and "Control" too.
std::optional<Qt::KeyboardModifier> modifierForWord(QStringView word);

// How menus and people see a shortcut on Linux: "Super+Shift+2", the key text in upper case, "�" for a key
// without text.
QString displayText(Shortcut shortcut, const KeyboardLayout &layout);
QString displayText(Shortcut shortcut);
// The same with symbols: "⇧⌘2".
QString symbolText(Shortcut shortcut, const KeyboardLayout &layout);

} // namespace KeyboardShortcuts
