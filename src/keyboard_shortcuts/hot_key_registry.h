#pragma once

#include "keyboard_shortcuts/hot_key_service.h"
#include "keyboard_shortcuts/local_event_monitor.h"
#include "keyboard_shortcuts/shortcut.h"

#include <QHash>

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
class HotKeyRegistry {
public:
    using HotKeyId = std::int64_t;
    using Callback = std::function<void(Shortcut)>;
    enum class Routing { normal, menuOpen, disabled };

    explicit HotKeyRegistry(HotKeyService &service);
    HotKeyRegistry(const HotKeyRegistry &) = delete;
    HotKeyRegistry &operator=(const HotKeyRegistry &) = delete;
    ~HotKeyRegistry();

    // Files the combination under a new id, counting up from 1; an id is used up even when the grab is refused,
    // and then nothing is filed and the result is empty. A second call for the same shortcut files a second
    // hot key.
    std::optional<HotKeyId> addHotKey(Shortcut shortcut, Callback onKeyDown, Callback onKeyUp);
    // Removes every hot key of the combination; nothing for a combination never added.
    void removeHotKeys(Shortcut shortcut);

    // Normal: every filed hot key is grabbed (those that cannot be grabbed again are dropped). Menu open: no
    // grabs; key events reaching the program are matched instead. Disabled: no grabs and no matching.
    void setRouting(Routing routing);
    Routing routing() const { return m_routing; }

    // Ids of the filed hot keys of a combination, grabbed or not.
    std::vector<HotKeyId> hotKeyIds(Shortcut shortcut) const;

private:
    struct HotKey {
        Shortcut shortcut;
        Callback onKeyDown;
        Callback onKeyUp;
        std::unique_ptr<HotKeyGrab> grab; // null while suspended
    };

    std::unique_ptr<HotKeyGrab> grab(HotKeyId id, Shortcut shortcut);
    void press(HotKeyId id);
    void release(HotKeyId id);
    void suspendAll();
    void resumeAll();
    bool routeMenuKeyEvent(const QKeyEvent &event);

    HotKeyService &m_service;
    std::map<HotKeyId, HotKey> m_hotKeys; // in id order, which is the order of adding
    HotKeyId m_lastId = 0;
    Routing m_routing = Routing::normal;
    std::unique_ptr<LocalEventMonitor> m_menuKeyMonitor;
    QHash<quint32, HotKeyId> m_heldInMenu; // scan code of a pressed hot key → its id
};

} // namespace KeyboardShortcuts
