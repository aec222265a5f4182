#pragma once

#include "keyboard_shortcuts/key.h"

#include <cstdint>
#include <optional>
#include <span>

namespace KeyboardShortcuts {

// One key's place on a PC keyboard: its XKB keycode, the Linux evdev code plus 8. X11 and Wayland both report
// that number as a key event's native scan code, whatever the keyboard layout.
struct KeyScanCode {
    Key key;
    std::uint32_t scanCode = 0;
};

// Every named key and the ISO key beside left Shift, sorted by virtual key code.
std::span<const KeyScanCode> scanCodeTable();

// Empty for a key that is not in the table.
std::optional<std::uint32_t> scanCode(Key key);
std::optional<Key> keyForScanCode(std::uint32_t scanCode);

} // namespace KeyboardShortcuts
