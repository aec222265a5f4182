#pragma once

#include "keyboard_shortcuts/shortcut.h"

#include <QHashFunctions>
#include <QMetaType>
#include <QString>

#include <optional>

namespace KeyboardShortcuts {

// A named shortcut slot, such as the application's "toggleUnicornMode". Names are the same slot when their raw
// values are equal, whatever their defaults.
struct Name {
    QString rawValue;
    std::optional<Shortcut> defaultShortcut;

    Name() = default;
    explicit Name(QString value, std::optional<Shortcut> initialShortcut = std::nullopt)
        : rawValue(std::move(value)), defaultShortcut(initialShortcut)
    {}

    // Where the standard user defaults keep the slot's shortcut: "KeyboardShortcuts_" + rawValue.
    QString defaultsKey() const { return QStringLiteral("KeyboardShortcuts_") + rawValue; }

    friend bool operator==(const Name &first, const Name &second) { return first.rawValue == second.rawValue; }
};

inline size_t qHash(const Name &name, size_t seed = 0) noexcept
{
    return ::qHash(name.rawValue, seed);
}

// The two kinds of key event a slot reports.
enum class EventType { keyDown, keyUp };

} // namespace KeyboardShortcuts

Q_DECLARE_METATYPE(KeyboardShortcuts::Name)
