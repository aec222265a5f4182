#pragma once

#include "keyboard_shortcuts/desktop_command.h"
#include "keyboard_shortcuts/key_event_stream.h"
#include "keyboard_shortcuts/name.h"
#include "keyboard_shortcuts/platform_services.h"
#include "keyboard_shortcuts/shortcut.h"
#include "keyboard_shortcuts/shortcut_notifications.h"

#include <QList>

#include <functional>
#include <optional>

class QMenu;

// The module's entry points: one shared ShortcutCenter on the standard user defaults and the platform's services.
// They are made on first use, after the QApplication, and live until the process ends. Main thread only.
namespace KeyboardShortcuts {

class KeyboardLayout;
class ShortcutCenter;

// Sets the module up at once with the platform's services (X11 on an X11 display, otherwise ones that refuse
// every hot key), instead of at first use. Calling it again does nothing.
void install();
// The same with given services, e.g. from a test; ignored once the module is set up.
void install(PlatformServices services);

ShortcutCenter &center();
const KeyboardLayout &keyboardLayout();
// The services the module was set up with, for its own checks.
const PlatformServices &platformServices();

std::optional<Shortcut> storedShortcut(const Name &name);
void storeShortcut(std::optional<Shortcut> shortcut, const Name &name);
void resetToDefaults(const QList<Name> &names);
void enableShortcuts(const QList<Name> &names);
void disableShortcuts(const QList<Name> &names);
void addKeyDownAction(const Name &name, std::function<void()> action);
void addKeyUpAction(const Name &name, std::function<void()> action);
void removeAllActions();
[[nodiscard]] KeyEventStream keyEvents(const Name &name, std::function<void(EventType)> onEvent);
[[nodiscard]] KeyEventStream keySignals(EventType type, const Name &name, std::function<void()> onSignal);

// What the desktop runs for the name's shortcut where it can bind combinations to command lines only (GNOME without
// the GlobalShortcuts portal): the program's way of being reached from outside, e.g. its own path and a URL it
// answers. Set it before adding the name's actions; without one, such a desktop gets no hot key for the name.
void setDesktopCommand(const Name &name, std::optional<DesktopCommand> command);
std::optional<DesktopCommand> desktopCommand(const Name &name);

bool shortcutsEnabled();
void setShortcutsEnabled(bool enabled);
bool isPaused();
void setPaused(bool paused);

// Whether the name's stored shortcut is held as a global hot key now: false when another program holds it, the
// system has no global hot keys, or no action or stream listens to the name. A hot key another program took from
// us is tried again until it is ours (notifications() tells when it is lost and when it is back).
bool isHotKeyRegistered(const Name &name);

// The application's main menu (for a tray program, its tray menu): recorders refuse a shortcut that one of its
// items, or of its submenus, shows as key equivalent. None at first; the module does not own it.
void setMainMenu(QMenu *menu);
QMenu *mainMenu();

// The object that posts "KeyboardShortcuts_shortcutByNameDidChange" and hotKeyRegistrationDidChange.
const ShortcutNotifications &notifications();

} // namespace KeyboardShortcuts
