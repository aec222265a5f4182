#pragma once

#include "keyboard_shortcuts/key.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHashFunctions>
#include <QString>
#include <Qt>

#include <cstdint>
#include <functional>
#include <optional>

class QKeyEvent;

namespace KeyboardShortcuts {

// Carbon modifier bits, the form in which a shortcut holds its modifiers. On Linux Command is the Super key
// (Qt::MetaModifier) and Option is Alt.
namespace CarbonModifier {
inline constexpr std::int64_t command = 0x100;
inline constexpr std::int64_t shift = 0x200;
inline constexpr std::int64_t option = 0x800;
inline constexpr std::int64_t control = 0x1000;
inline constexpr std::int64_t all = command | shift | option | control;
} // namespace CarbonModifier

// Carbon bits of Qt modifiers; Keypad and GroupSwitch have no counterpart and are dropped.
constexpr std::int64_t carbonValue(Qt::KeyboardModifiers modifiers)
{
    std::int64_t value = 0;
    if (modifiers & Qt::ControlModifier)
        value |= CarbonModifier::control;
    if (modifiers & Qt::AltModifier)
        value |= CarbonModifier::option;
    if (modifiers & Qt::ShiftModifier)
        value |= CarbonModifier::shift;
    if (modifiers & Qt::MetaModifier)
        value |= CarbonModifier::command;
    return value;
}

// Qt modifiers of Carbon bits; other bits are ignored.
constexpr Qt::KeyboardModifiers modifierFlags(std::int64_t carbonValue)
{
    Qt::KeyboardModifiers flags;
    if (carbonValue & CarbonModifier::control)
        flags |= Qt::ControlModifier;
    if (carbonValue & CarbonModifier::option)
        flags |= Qt::AltModifier;
    if (carbonValue & CarbonModifier::shift)
        flags |= Qt::ShiftModifier;
    if (carbonValue & CarbonModifier::command)
        flags |= Qt::MetaModifier;
    return flags;
}

// The members of the stored form, in the order in which they are written.
enum class CodingKey { carbonKeyCode, carbonModifiers };
QString stringValue(CodingKey key);
// Empty for any string that is not exactly one of the member names.
std::optional<CodingKey> codingKey(QStringView stringValue);

// A key with a set of modifiers, held as a virtual key code and Carbon modifier bits.
struct Shortcut {
    std::int64_t carbonKeyCode = 0;
    std::int64_t carbonModifiers = 0;

    // Drops non-modifier bits, so that stray bits from the platform never make equal combinations unequal.
    // Aggregate initialisation and decoding take the values as they are.
    static constexpr Shortcut normalized(std::int64_t keyCode, std::int64_t modifiers)
    {
        return {keyCode, modifiers & CarbonModifier::all};
    }
    static constexpr Shortcut fromKey(Key key, Qt::KeyboardModifiers modifiers)
    {
        return {key.rawValue, carbonValue(modifiers)};
    }
    // Present for key presses and releases of keys with a known scan code (scan_codes.h).
    static std::optional<Shortcut> fromKeyEvent(const QKeyEvent &event);

    constexpr Key key() const { return Key{carbonKeyCode}; }
    constexpr Qt::KeyboardModifiers modifiers() const { return modifierFlags(carbonModifiers); }

    // The stored form: {"carbonKeyCode":19,"carbonModifiers":768}.
    QByteArray toJson() const;
    // Both members are required and must be integers; their order and any other members do not matter.
    static std::optional<Shortcut> fromJson(QByteArrayView json);

    friend constexpr bool operator==(const Shortcut &, const Shortcut &) = default;
};

inline size_t qHash(const Shortcut &shortcut, size_t seed = 0) noexcept
{
    return qHashMulti(seed, shortcut.carbonKeyCode, shortcut.carbonModifiers);
}

// So that a failing QCOMPARE prints both values.
char *toString(const Shortcut &shortcut);

} // namespace KeyboardShortcuts

template <> struct std::hash<KeyboardShortcuts::Shortcut> {
    size_t operator()(const KeyboardShortcuts::Shortcut &shortcut) const noexcept { return qHash(shortcut); }
};
