#pragma once

#include "keyboard_shortcuts/desktop_command.h"
#include "keyboard_shortcuts/shortcut.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace KeyboardShortcuts {

// What a hot key calls. A held key calls onPress once and onRelease once, however long it repeats. onLost is called
// at most once, when the service could not grab the combination again (after a keyboard change) because another
// client took it, or, where the system answers later (the desktop portal), when it refused the grab or ended it:
// from then on the grab holds nothing, and only a new grab can get the combination back.
struct HotKeyHandlers {
    std::function<void()> onPress;
    std::function<void()> onRelease;
    std::function<void()> onLost;
    // The name of the shortcut the hot key stands for; empty when it has none. (The braces let a list of the
    // three functions alone initialise the struct without a warning.)
    QString name{};
    // Where the system binds a combination to a command line only (GNOME's custom shortcuts), what it runs instead
    // of calling onPress (there is no release); such a system refuses a grab without a name and a command.
    std::optional<DesktopCommand> command{};
};

// A system-wide hot key; the grab lasts as long as this object.
class HotKeyGrab {
public:
    virtual ~HotKeyGrab() = default;
};

// Reports keyboard changes as long as this object lives.
class KeyboardChangeWatch {
public:
    virtual ~KeyboardChangeWatch() = default;
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
    // Calls the function after every change of keyboard (a new layout or device), once the service's own grabs
    // were made again and any lost ones reported: a combination refused before may be free now. Null where the
    // system reports no such changes.
    [[nodiscard]] virtual std::unique_ptr<KeyboardChangeWatch> watchKeyboardChanges(std::function<void()>)
    {
        return nullptr;
    }
};

// For systems without global hot keys: refuses every grab.
std::unique_ptr<HotKeyService> makeNullHotKeyService();

} // namespace KeyboardShortcuts
