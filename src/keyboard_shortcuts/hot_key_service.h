#pragma once

#include "keyboard_shortcuts/shortcut.h"

#include <functional>
#include <memory>

namespace KeyboardShortcuts {

// What a hot key calls. A held key calls onPress once and onRelease once, however long it repeats.
struct HotKeyHandlers {
    std::function<void()> onPress;
    std::function<void()> onRelease;
};

// A system-wide hot key; the grab lasts as long as this object.
class HotKeyGrab {
public:
    virtual ~HotKeyGrab() = default;
};

// Grabs a combination system-wide, whatever window has the focus. Handlers run on the main thread. The service
// outlives every grab it hands out.
class HotKeyService {
public:
    virtual ~HotKeyService() = default;
    // Null when another client holds the combination, no key on this keyboard makes it, or the system has no
    // global hot keys.
    [[nodiscard]] virtual std::unique_ptr<HotKeyGrab> grab(Shortcut shortcut, HotKeyHandlers handlers) = 0;
    // Whether another program holds the combination now, so that a grab of it would be refused. The service's own
    // grabs never count, and asking leaves them as they are. False where the system cannot tell.
    [[nodiscard]] virtual bool isHeldByAnotherClient(Shortcut) const { return false; }
};

// For systems without global hot keys: refuses every grab.
std::unique_ptr<HotKeyService> makeNullHotKeyService();

} // namespace KeyboardShortcuts
