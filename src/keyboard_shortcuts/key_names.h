#pragma once

#include "keyboard_shortcuts/key.h"
#include "keyboard_shortcuts/shortcut.h"

#include <QHash>
#include <QKeyCombination>
#include <QString>
#include <QStringView>

#include <optional>

namespace KeyboardShortcuts {

class KeyboardLayout;

// Reads the text forms in which desktops keep key combinations: GTK accelerators ("<Super><Shift>s") and Qt key
// combinations. Keys that type nothing come from a fixed table; a printable character is the key that types it,
// unshifted, on the user's layout, else on the US layout. A value holding one reading of the layout.
class KeyNames {
public:
    explicit KeyNames(const KeyboardLayout &layout);

    // An X keysym name such as "s", "S", "2", "minus", "udiaeresis", "U00FC", "F1", "Page_Up" or "KP_1". Empty for
    // names that are not keysyms and for keys that have no Key, such as "Print".
    std::optional<Key> keyForKeysym(QStringView name) const;

    // Modifiers in angle brackets, in any case and order, then one keysym name: <Shift>, <Control> = <Ctrl> =
    // <Primary>, <Alt> = <Mod1> = <Meta> (XKB puts Meta on Alt's modifier), <Super> = <Mod4>. Any other modifier,
    // no key, or trailing text gives none. An upper-case letter is its key without Shift, as GTK reads it.
    std::optional<Shortcut> fromAccelerator(QStringView accelerator) const;

    // Meta is Command, Alt Option; the keypad modifier only selects keypad keys, other modifiers are dropped.
    std::optional<Shortcut> fromQtKey(QKeyCombination combination) const;

    // The keysym name of what the key types without modifiers, as desktops bind it: "a" (letters in lower case),
    // "2", "minus", "udiaeresis", "F5", "Page_Up", "KP_1"; a character without a name as its code point, "U20AC".
    // Empty for a key that types nothing on the layout or on the US layout.
    std::optional<QString> keysymName(Key key) const;

    // The inverse of fromAccelerator: "<Super><Control><Alt><Shift>" as far as present, then keysymName().
    std::optional<QString> toAccelerator(Shortcut shortcut) const;

private:
    std::optional<Key> keyTyping(const QString &text) const;

    QHash<QString, Key> m_keysByText;
    QHash<std::int64_t, QString> m_textsByKey; // the layout's text of a key first, else the US layout's
};

} // namespace KeyboardShortcuts
