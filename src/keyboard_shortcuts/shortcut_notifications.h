#pragma once

#include "keyboard_shortcuts/name.h"

#include <QLatin1StringView>
#include <QObject>

namespace KeyboardShortcuts {

inline constexpr QLatin1StringView shortcutByNameDidChangeNotification("KeyboardShortcuts_shortcutByNameDidChange");

// Posts "KeyboardShortcuts_shortcutByNameDidChange" (the object's name) as a signal, synchronously, after the
// defaults of a name were written; and hotKeyRegistrationDidChange after another program took the hot key of a
// name's shortcut, or gave it back to us.
class ShortcutNotifications final : public QObject {
    Q_OBJECT

public:
    explicit ShortcutNotifications(QObject *parent = nullptr);

signals:
    void shortcutByNameDidChange(const KeyboardShortcuts::Name &name);
    void hotKeyRegistrationDidChange(const KeyboardShortcuts::Name &name);
};

} // namespace KeyboardShortcuts
