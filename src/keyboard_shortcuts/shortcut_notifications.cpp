#include "keyboard_shortcuts/shortcut_notifications.h"

namespace KeyboardShortcuts {

ShortcutNotifications::ShortcutNotifications(QObject *parent) : QObject(parent)
{
    setObjectName(shortcutByNameDidChangeNotification);
}

} // namespace KeyboardShortcuts
