#pragma once

#include "keyboard_shortcuts/hot_key_service.h"
#include "keyboard_shortcuts/local_event_monitor.h"
#include "keyboard_shortcuts/shortcut.h"

#include <QHash>
#include <QTimer>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>

class QKeyEvent;

namespace KeyboardShortcuts {

// The hot keys of the program, filed by id, and the two routes by which their key events arrive: the service's
// global grabs normally, and while a menu of the program is open (it grabs the keyboard, so global grabs cannot
// fire) the key events that reach that menu, matched here and kept from it. The registry does not own the service.
//
// A hot key whose combination another client took while it was released (a menu was open) or grabbed again (a
// keyboard change) is lost, not dropped: it stays filed and is grabbed again at the next menu close, the next
// keyboard change and on a timer that backs off from 2 s to 30 s, until that succeeds or the hot key is removed.
class HotKeyRegistry {
public:
    using HotKeyId = std::int64_t;
    using Callback = std::function<void(Shortcut)>;
    enum class Routing { normal, menuOpen, disabled };

    // onLossChange is called with a combination whose hot keys were lost, came back, or were removed while lost.
    explicit HotKeyRegistry(HotKeyService &service, std::function<void(Shortcut)> onLossChange = {});
    HotKeyRegistry(const HotKeyRegistry &) = delete;
    HotKeyRegistry &operator=(const HotKeyRegistry &) = delete;
    ~HotKeyRegistry();

    // Files the combination under a new id, counting up from 1; an id is used up even when the grab is refused,
    // and then nothing is filed and the result is empty. A second call for the same shortcut files a second
    // hot key. The name and command are handed to every grab of it (HotKeyHandlers).
    std::optional<HotKeyId> addHotKey(Shortcut shortcut, Callback onKeyDown, Callback onKeyUp, QString name = {},
                                      std::optional<DesktopCommand> command = std::nullopt);
    // Removes every hot key of the combination; nothing for a combination never added.
    void removeHotKeys(Shortcut shortcut);

    // Normal: every filed hot key is grabbed, or lost. Menu open: no grabs; key events reaching the program are
    // matched instead, those of lost hot keys too. Disabled: no grabs and no matching.
    void setRouting(Routing routing);
    Routing routing() const { return m_routing; }

    // Ids of the filed hot keys of a combination, grabbed, suspended or lost.
    std::vector<HotKeyId> hotKeyIds(Shortcut shortcut) const;
    // Whether a filed hot key of the combination is lost to another client now.
    bool isLost(Shortcut shortcut) const;

private:
    static constexpr std::chrono::milliseconds firstRetryDelay{2000};
    static constexpr std::chrono::milliseconds longestRetryDelay{30000};

    struct HotKey {
        Shortcut shortcut;
        Callback onKeyDown;
        Callback onKeyUp;
        QString name;
        std::optional<DesktopCommand> command;
        std::unique_ptr<HotKeyGrab> grab; // null while suspended or lost
        bool isLost = false;
    };

    std::unique_ptr<HotKeyGrab> grab(HotKeyId id, const HotKey &hotKey);
    // The hot key's onKeyDown or onKeyUp, if it is still there.
    void call(HotKeyId id, Callback HotKey::*callback);
    void lose(HotKeyId id);
    void suspendAll();
    void resumeAll();
    void retry();
    void updateRetryTimer();
    void reportLossChanges(const std::vector<Shortcut> &shortcuts);
    bool routeMenuKeyEvent(const QKeyEvent &event);

    HotKeyService &m_service;
    std::function<void(Shortcut)> m_onLossChange;
    std::map<HotKeyId, HotKey> m_hotKeys; // in id order, which is the order of adding
    HotKeyId m_lastId = 0;
    Routing m_routing = Routing::normal;
    std::unique_ptr<LocalEventMonitor> m_menuKeyMonitor;
    QHash<quint32, HotKeyId> m_heldInMenu; // scan code of a pressed hot key → its id
    QTimer m_retryTimer;
    std::chrono::milliseconds m_retryDelay = firstRetryDelay;
    std::unique_ptr<KeyboardChangeWatch> m_keyboardWatch; // last: it calls into the members above
};

} // namespace KeyboardShortcuts
