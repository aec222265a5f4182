#pragma once

#include "keyboard_shortcuts/hot_key_registry.h"
#include "keyboard_shortcuts/key_event_stream.h"
#include "keyboard_shortcuts/menu_tracker.h"
#include "keyboard_shortcuts/name.h"
#include "keyboard_shortcuts/shortcut_notifications.h"
#include "user_defaults/user_defaults.h"

#include <QFileSystemWatcher>
#include <QHash>
#include <QList>
#include <QSet>
#include <QTimer>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace KeyboardShortcuts {

// The named shortcuts of a process: what each name stores in the user defaults, the actions attached to names,
// and which shortcuts are handed to the hot-key service and when. The module's functions (keyboard_shortcuts.h)
// use one shared center; tests make their own. Main thread only. The service must outlive the center.
//
// The first time a center meets a name, it stores the name's default unless the defaults hold anything at all
// under its key, so a shortcut the user cleared stays cleared. A shortcut another process stores in the same
// defaults file is grabbed, and announced, as soon as the file changes.
//
// A stored value that is neither a shortcut nor false (a cleared shortcut) reads as no shortcut, and is reported
// once, with the form expected, until it changes. A hot key another program takes is announced, and logged, when
// it is lost and when it comes back (HotKeyRegistry retries it).
class ShortcutCenter {
public:
    using Action = std::function<void()>;

    ShortcutCenter(HotKeyService &hotKeyService, UserDefaults defaults);
    ShortcutCenter(const ShortcutCenter &) = delete;
    ShortcutCenter &operator=(const ShortcutCenter &) = delete;
    ~ShortcutCenter();

    // Read afresh every time; anything unreadable is no shortcut.
    std::optional<Shortcut> storedShortcut(const Name &name);
    // Saves a shortcut (and grabs it) or clears the name; posts the change notification unless nothing changed.
    void storeShortcut(std::optional<Shortcut> shortcut, const Name &name);
    void resetToDefaults(const QList<Name> &names);
    // Grabs or releases the stored shortcuts of the names; their actions stay.
    void enableShortcuts(const QList<Name> &names);
    void disableShortcuts(const QList<Name> &names);

    // What the desktop runs for the name's shortcut where it binds combinations to command lines only (GNOME
    // without the GlobalShortcuts portal); without one, such a desktop gets no hot key for the name. A shortcut
    // grabbed already is grabbed again with the new command. Where several names share one shortcut, the command
    // of the name that grabbed it first is bound.
    void setDesktopCommand(const Name &name, std::optional<DesktopCommand> command);
    std::optional<DesktopCommand> desktopCommand(const Name &name) const;

    // Actions of a name run in the order they were added, whenever a hot key equal to its stored shortcut fires.
    void addKeyDownAction(const Name &name, Action action);
    void addKeyUpAction(const Name &name, Action action);
    // Drops every action and releases the shortcuts of the names that had actions or streams.
    void removeAllActions();

    // Streams receive what the actions receive, until their handle is dropped.
    [[nodiscard]] KeyEventStream keyEvents(const Name &name, std::function<void(EventType)> onEvent);
    [[nodiscard]] KeyEventStream keyEvents(EventType type, const Name &name, std::function<void(EventType)> onEvent);
    [[nodiscard]] KeyEventStream keySignals(EventType type, const Name &name, std::function<void()> onSignal);

    // Off releases every grab and ignores key events; on grabs again.
    bool shortcutsEnabled() const { return m_shortcutsEnabled; }
    void setShortcutsEnabled(bool enabled);
    // While paused (a recorder records), no action or stream runs.
    bool isPaused() const { return m_isPaused; }
    void setPaused(bool paused) { m_isPaused = paused; }
    // True while a menu of the program is open; then hot keys come through the menu's key events.
    bool menuTracking() const { return m_menuTracking; }

    const ShortcutNotifications &notifications() const { return m_notifications; }
    HotKeyRegistry &hotKeys() { return m_hotKeys; }
    bool isActive(Shortcut shortcut) const { return m_activeShortcuts.contains(shortcut); }
    // Whether the name's stored shortcut is grabbed now, or held back only while a menu is open: not when it was
    // refused or lost to another program.
    bool isHotKeyRegistered(const Name &name);
    // Whether another program took the hot key of the name's stored shortcut; it is grabbed again when free.
    bool isHotKeyTaken(const Name &name);

    // For every name with actions or streams whose stored shortcut changed behind this center's back: releases
    // the old shortcut, grabs the new one and announces the change.
    void syncWithStorage();

private:
    template <typename Value> using NameTable = std::vector<std::pair<Name, Value>>;
    using Feeders = std::map<std::uint64_t, std::function<void()>>;
    friend class KeyEventStream;

    void meet(const Name &name);
    void watchStorage();
    std::optional<Shortcut> readShortcut(const Name &name) const;
    void reportUnreadable(const Name &name, const std::optional<QString> &stored) const;
    std::vector<Name> namesInUse(Shortcut shortcut) const;
    void hotKeyLossChanged(Shortcut shortcut);
    void save(Shortcut shortcut, const Name &name);
    void clear(const Name &name);
    void activate(Shortcut shortcut, const Name &name);
    void deactivate(Shortcut shortcut);
    void addAction(NameTable<std::vector<Action>> &table, const Name &name, Action action);
    KeyEventStream addStream(const Name &name, std::function<void()> onKeyDown, std::function<void()> onKeyUp);
    void endStream(std::uint64_t id);
    QSet<Shortcut> shortcutsInUse() const;
    void dispatch(Shortcut shortcut, EventType type);
    void setMenuTracking(bool tracking);
    void refreshEventRouting();

    UserDefaults m_defaults;
    HotKeyRegistry m_hotKeys;
    ShortcutNotifications m_notifications;
    QSet<QString> m_metNames;
    QHash<QString, std::optional<Shortcut>> m_lastSeen; // by raw value, as this center last read or wrote it
    // Defaults keys whose value was reported unreadable → that value, empty when it was not a string.
    mutable QHash<QString, std::optional<QString>> m_reportedUnreadable;
    QSet<Shortcut> m_activeShortcuts;
    NameTable<std::vector<Action>> m_keyDownActions;
    NameTable<std::vector<Action>> m_keyUpActions;
    NameTable<Feeders> m_keyDownStreams;
    NameTable<Feeders> m_keyUpStreams;
    NameTable<DesktopCommand> m_desktopCommands;
    std::uint64_t m_lastStreamId = 0;
    bool m_shortcutsEnabled = true;
    bool m_isPaused = false;
    bool m_menuTracking = false;
    std::unique_ptr<MenuTracker> m_menuTracker;
    std::unique_ptr<QFileSystemWatcher> m_storageWatcher;
    std::unique_ptr<QTimer> m_syncDelay;
    std::shared_ptr<ShortcutCenter *> m_self; // streams hold it weakly
};

} // namespace KeyboardShortcuts
