#include "keyboard_shortcuts/scan_codes.h"

#include <algorithm>
#include <array>

namespace KeyboardShortcuts {
namespace {

// Apple's Help key sits where PC keyboards have Insert, and Clear where they have Num Lock; Fn has an evdev code
// (KEY_FN) but no X11 keycode, as X11 keycodes end at 255. Key{10} is the ISO section key, "<>" on German
// keyboards.
constexpr std::array table = std::to_array<KeyScanCode>({
    {Key::a, 38},
    {Key::s, 39},
    {Key::d, 40},
    {Key::f, 41},
    {Key::h, 43},
    {Key::g, 42},
    {Key::z, 52},
    {Key::x, 53},
    {Key::c, 54},
    {Key::v, 55},
    {Key{10}, 94},
    {Key::b, 56},
    {Key::q, 24},
    {Key::w, 25},
    {Key::e, 26},
    {Key::r, 27},
    {Key::y, 29},
    {Key::t, 28},
    {Key::one, 10},
    {Key::two, 11},
    {Key::three, 12},
    {Key::four, 13},
    {Key::six, 15},
    {Key::five, 14},
    {Key::equal, 21},
    {Key::nine, 18},
    {Key::seven, 16},
    {Key::minus, 20},
    {Key::eight, 17},
    {Key::zero, 19},
    {Key::rightBracket, 35},
    {Key::o, 32},
    {Key::u, 30},
    {Key::leftBracket, 34},
    {Key::i, 31},
    {Key::p, 33},
    {Key::returnKey, 36},
    {Key::l, 46},
    {Key::j, 44},
    {Key::quote, 48},
    {Key::k, 45},
    {Key::semicolon, 47},
    {Key::backslash, 51},
    {Key::comma, 59},
    {Key::slash, 61},
    {Key::n, 57},
    {Key::m, 58},
    {Key::period, 60},
    {Key::tab, 23},
    {Key::space, 65},
    {Key::backtick, 49},
    {Key::deleteKey, 22},
    {Key::escape, 9},
    {Key::rightCommand, 134},
    {Key::command, 133},
    {Key::shift, 50},
    {Key::capsLock, 66},
    {Key::option, 64},
    {Key::control, 37},
    {Key::rightShift, 62},
    {Key::rightOption, 108},
    {Key::rightControl, 105},
    {Key::function, 472},
    {Key::f17, 195},
    {Key::keypadDecimal, 91},
    {Key::keypadMultiply, 63},
    {Key::keypadPlus, 86},
    {Key::keypadClear, 77},
    {Key::volumeUp, 123},
    {Key::volumeDown, 122},
    {Key::mute, 121},
    {Key::keypadDivide, 106},
    {Key::keypadEnter, 104},
    {Key::keypadMinus, 82},
    {Key::f18, 196},
    {Key::f19, 197},
    {Key::keypadEquals, 125},
    {Key::keypad0, 90},
    {Key::keypad1, 87},
    {Key::keypad2, 88},
    {Key::keypad3, 89},
    {Key::keypad4, 83},
    {Key::keypad5, 84},
    {Key::keypad6, 85},
    {Key::keypad7, 79},
    {Key::f20, 198},
    {Key::keypad8, 80},
    {Key::keypad9, 81},
    {Key::f5, 71},
    {Key::f6, 72},
    {Key::f7, 73},
    {Key::f3, 69},
    {Key::f8, 74},
    {Key::f9, 75},
    {Key::f11, 95},
    {Key::f13, 191},
    {Key::f16, 194},
    {Key::f14, 192},
    {Key::f10, 76},
    {Key::f12, 96},
    {Key::f15, 193},
    {Key::help, 118},
    {Key::home, 110},
    {Key::pageUp, 112},
    {Key::deleteForward, 119},
    {Key::f4, 70},
    {Key::end, 115},
    {Key::f2, 68},
    {Key::pageDown, 117},
    {Key::f1, 67},
    {Key::leftArrow, 113},
    {Key::rightArrow, 114},
    {Key::downArrow, 116},
    {Key::upArrow, 111},
});

static_assert(std::ranges::is_sorted(table, {}, [](const KeyScanCode &entry) { return entry.key.rawValue; }));

} // namespace

std::span<const KeyScanCode> scanCodeTable()
{
    return table;
}

std::optional<std::uint32_t> scanCode(Key key)
{
    const auto found =
        std::ranges::lower_bound(table, key.rawValue, {}, [](const KeyScanCode &entry) { return entry.key.rawValue; });
    if (found == table.end() || found->key != key)
        return std::nullopt;
    return found->scanCode;
}

std::optional<Key> keyForScanCode(std::uint32_t scanCode)
{
    const auto found = std::ranges::find(table, scanCode, &KeyScanCode::scanCode);
    if (found == table.end())
        return std::nullopt;
    return found->key;
}

} // namespace KeyboardShortcuts
