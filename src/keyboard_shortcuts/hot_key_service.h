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
};

// For systems without global hot keys: refuses every grab.
std::unique_ptr<HotKeyService> makeNullHotKeyService();

} // namespace KeyboardShortcuts
