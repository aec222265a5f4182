#include "keyboard_shortcuts/x11/x11_hot_key_service.h"

#include "keyboard_shortcuts/scan_codes.h"

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QTimer>

#include <xcb/xcb.h>
// xcb/xkb.h names a struct member "explicit".
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <optional>
#include <vector>

Q_LOGGING_CATEGORY(lcX11HotKeys, "scrivlet.keyboardshortcuts.x11")

namespace KeyboardShortcuts {
namespace {

struct FreeDeleter {
    void operator()(void *pointer) const noexcept { std::free(pointer); }
};
template <typename T> using XcbReply = std::unique_ptr<T, FreeDeleter>;

constexpr xcb_keysym_t numLockKeysym = 0xff7f;
constexpr xcb_keysym_t scrollLockKeysym = 0xff14;
constexpr std::uint16_t keyboardModifierBits = 0xff; // Shift, Lock, Control, Mod1 … Mod5; not the buttons
constexpr std::uint8_t badAccess = 10;
constexpr std::chrono::milliseconds releaseGrace{30};

// A key and the modifiers that must be down with it, lock modifiers left out.
struct Combo {
    xcb_keycode_t keycode = 0;
    std::uint16_t modifiers = 0;
    friend auto operator<=>(const Combo &, const Combo &) = default;
};

std::optional<Combo> comboFor(Shortcut shortcut)
{
    // Unknown modifier bits (only decoding lets them in) match no key combination.
    if (shortcut.carbonModifiers & ~CarbonModifier::all)
        return std::nullopt;
    const std::optional<std::uint32_t> keycode = scanCode(shortcut.key());
    if (!keycode || *keycode < 8 || *keycode > 255)
        return std::nullopt;
    std::uint16_t modifiers = 0;
    if (shortcut.carbonModifiers & CarbonModifier::command)
        modifiers |= XCB_MOD_MASK_4;
    if (shortcut.carbonModifiers & CarbonModifier::option)
        modifiers |= XCB_MOD_MASK_1;
    if (shortcut.carbonModifiers & CarbonModifier::control)
        modifiers |= XCB_MOD_MASK_CONTROL;
    if (shortcut.carbonModifiers & CarbonModifier::shift)
        modifiers |= XCB_MOD_MASK_SHIFT;
    return Combo{static_cast<xcb_keycode_t>(*keycode), modifiers};
}

// The state of one X11 connection's hot keys. Grab handles hold it weakly, so that a handle outliving the
// service does nothing.
class X11HotKeys final : public QAbstractNativeEventFilter, public std::enable_shared_from_this<X11HotKeys> {
public:
    X11HotKeys(xcb_connection_t *connection, xcb_window_t root) : m_connection(connection), m_root(root)
    {
        if (const xcb_query_extension_reply_t *xkb = xcb_get_extension_data(connection, &xcb_xkb_id);
            xkb && xkb->present)
            m_xkbFirstEvent = xkb->first_event;
        m_hasDetectableAutoRepeat = enableDetectableAutoRepeat();
        m_lockMasks = readLockMasks();
        QCoreApplication::instance()->installNativeEventFilter(this);
    }

    ~X11HotKeys() override
    {
        if (QCoreApplication::instance())
            QCoreApplication::instance()->removeNativeEventFilter(this);
        for (const auto &[combo, grabbed] : m_combos)
            ungrab(combo, grabbed.variants);
        xcb_flush(m_connection);
    }

    std::optional<std::uint64_t> add(Shortcut shortcut, HotKeyHandlers handlers)
    {
        const std::optional<Combo> combo = comboFor(shortcut);
        if (!combo)
            return std::nullopt;
        GrabbedCombo *grabbed = nullptr;
        if (const auto found = m_combos.find(*combo); found != m_combos.end()) {
            grabbed = &found->second; // ours already: a second grab would change nothing
        } else {
            const std::optional<std::vector<std::uint16_t>> variants = grab(*combo);
            if (!variants)
                return std::nullopt;
            grabbed = &m_combos.emplace(*combo, GrabbedCombo{*variants}).first->second;
        }
        ++grabbed->users;
        const std::uint64_t id = ++m_lastId;
        m_entries.emplace(id, Entry{*combo, std::move(handlers)});
        return id;
    }

    void remove(std::uint64_t id)
    {
        const auto entry = m_entries.find(id);
        if (entry == m_entries.end())
            return;
        const Combo combo = entry->second.combo;
        m_entries.erase(entry);
        const auto grabbed = m_combos.find(combo);
        if (grabbed == m_combos.end() || --grabbed->second.users > 0)
            return;
        ungrab(combo, grabbed->second.variants);
        xcb_flush(m_connection);
        if (m_pendingRelease && m_pendingRelease->combo == combo)
            m_pendingRelease.reset();
        m_combos.erase(grabbed);
    }

    std::uint64_t addKeyboardWatch(std::function<void()> onChange)
    {
        const std::uint64_t id = ++m_lastId;
        m_keyboardWatches.emplace(id, std::move(onChange));
        return id;
    }

    void removeKeyboardWatch(std::uint64_t id) { m_keyboardWatches.erase(id); }

    // A probe grab of every lock variant, released at once: the server refuses it with BadAccess when another
    // client holds one of them.
    bool isHeldElsewhere(Shortcut shortcut)
    {
        const std::optional<Combo> combo = comboFor(shortcut);
        if (!combo)
            return false;
        // Ours already: the server would grant the probe again, and its ungrab would release our own grab.
        if (m_combos.contains(*combo))
            return false;
        const std::vector<std::uint16_t> variants = lockVariants();
        const GrabResult result = requestGrabs(*combo, variants);
        ungrab(*combo, variants);
        xcb_flush(m_connection);
        return result == GrabResult::heldElsewhere;
    }

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *) override
    {
        if (eventType != "xcb_generic_event_t")
            return false;
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        const std::uint8_t type = event->response_type & 0x7f;
        // Our passive grabs report to the root window. A combination reported to one of our own windows came
        // through an active keyboard grab, a shortcut recorder's, and belongs to that window.
        if (type == XCB_KEY_PRESS || type == XCB_KEY_RELEASE) {
            const auto &key = *reinterpret_cast<const xcb_key_press_event_t *>(event);
            if (key.event != m_root)
                return false;
            return type == XCB_KEY_PRESS ? keyPressed(key) : keyReleased(key);
        }
        // Byte 1 of every XKB event is its XKB type.
        if (m_xkbFirstEvent && type == *m_xkbFirstEvent && event->pad0 == XCB_XKB_NEW_KEYBOARD_NOTIFY)
            scheduleRegrab();
        return false;
    }

private:
    struct GrabbedCombo {
        std::vector<std::uint16_t> variants; // the lock modifiers each grab was made with
        int users = 0;
        bool isHeld = false;
    };
    struct Entry {
        Combo combo;
        HotKeyHandlers handlers;
    };
    struct PendingRelease {
        Combo combo;
        xcb_timestamp_t time;
        std::uint64_t serial;
    };

    bool enableDetectableAutoRepeat()
    {
        // Without it a held key repeats as release+press pairs; with it, as presses only.
        XcbReply<xcb_xkb_use_extension_reply_t> use(
            xcb_xkb_use_extension_reply(m_connection, xcb_xkb_use_extension(m_connection, 1, 0), nullptr));
        if (!use || !use->supported)
            return false;
        const std::uint32_t flag = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
        XcbReply<xcb_xkb_per_client_flags_reply_t> reply(xcb_xkb_per_client_flags_reply(
            m_connection, xcb_xkb_per_client_flags(m_connection, XCB_XKB_ID_USE_CORE_KBD, flag, flag, 0, 0, 0),
            nullptr));
        if (reply && (reply->value & flag))
            return true;
        qCInfo(lcX11HotKeys) << "no detectable auto-repeat; repeats are told apart by their timestamps";
        return false;
    }

    // Caps Lock is always Lock; Num Lock and Scroll Lock are whichever modifiers their keys are mapped to.
    std::vector<std::uint16_t> readLockMasks() const
    {
        std::vector<std::uint16_t> masks{XCB_MOD_MASK_LOCK};
        const xcb_setup_t *setup = xcb_get_setup(m_connection);
        const std::uint8_t count = setup->max_keycode - setup->min_keycode + 1;
        XcbReply<xcb_get_modifier_mapping_reply_t> modifiers(
            xcb_get_modifier_mapping_reply(m_connection, xcb_get_modifier_mapping(m_connection), nullptr));
        XcbReply<xcb_get_keyboard_mapping_reply_t> keyboard(xcb_get_keyboard_mapping_reply(
            m_connection, xcb_get_keyboard_mapping(m_connection, setup->min_keycode, count), nullptr));
        if (!modifiers || !keyboard || keyboard->keysyms_per_keycode == 0)
            return masks;
        const xcb_keycode_t *modifierKeys = xcb_get_modifier_mapping_keycodes(modifiers.get());
        const int modifierKeyCount = xcb_get_modifier_mapping_keycodes_length(modifiers.get());
        const xcb_keysym_t *keysyms = xcb_get_keyboard_mapping_keysyms(keyboard.get());
        const int keysymCount = xcb_get_keyboard_mapping_keysyms_length(keyboard.get());
        const int perKey = keyboard->keysyms_per_keycode;
        const auto makes = [&](xcb_keycode_t keycode, xcb_keysym_t wanted) {
            const int first = (keycode - setup->min_keycode) * perKey;
            for (int i = first; i >= 0 && i < first + perKey && i < keysymCount; ++i) {
                if (keysyms[i] == wanted)
                    return true;
            }
            return false;
        };
        for (int index = 0; index < modifierKeyCount; ++index) {
            const xcb_keycode_t keycode = modifierKeys[index];
            const auto mask = static_cast<std::uint16_t>(1u << (index / modifiers->keycodes_per_modifier));
            if (keycode == 0 || std::ranges::find(masks, mask) != masks.end())
                continue;
            // Never treat a modifier of our own combinations (Super, Alt …) as a lock.
            if (mask & (XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4))
                continue;
            if (makes(keycode, numLockKeysym) || makes(keycode, scrollLockKeysym))
                masks.push_back(mask);
        }
        return masks;
    }

    // Every combination of the lock modifiers, none included.
    std::vector<std::uint16_t> lockVariants() const
    {
        std::vector<std::uint16_t> variants{0};
        for (const std::uint16_t mask : m_lockMasks) {
            const std::size_t size = variants.size();
            for (std::size_t i = 0; i < size; ++i)
                variants.push_back(variants[i] | mask);
        }
        return variants;
    }

    std::uint16_t lockBits() const
    {
        std::uint16_t bits = 0;
        for (const std::uint16_t mask : m_lockMasks)
            bits |= mask;
        return bits;
    }

    enum class GrabResult { granted, heldElsewhere, failed };

    // Asks for every variant at once; any refusal fails the whole, BadAccess meaning another client holds it.
    GrabResult requestGrabs(Combo combo, const std::vector<std::uint16_t> &variants)
    {
        // Without owner events the server reports a grabbed key to the root window even while one of our own
        // windows has the focus, so that a key reported elsewhere is never taken for a hot key.
        std::vector<xcb_void_cookie_t> cookies;
        for (const std::uint16_t locks : variants) {
            cookies.push_back(xcb_grab_key_checked(m_connection, 0, m_root, combo.modifiers | locks, combo.keycode,
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
        GrabResult result = GrabResult::granted;
        for (const xcb_void_cookie_t cookie : cookies) {
            if (XcbReply<xcb_generic_error_t> error(xcb_request_check(m_connection, cookie)); error) {
                if (error->error_code == badAccess) {
                    result = GrabResult::heldElsewhere;
                } else {
                    qCWarning(lcX11HotKeys)
                        << "grabbing key" << combo.keycode << "failed with X error" << error->error_code;
                    if (result == GrabResult::granted)
                        result = GrabResult::failed;
                }
            }
        }
        return result;
    }

    // All the variants or none: a variant another client holds (BadAccess) undoes the others.
    std::optional<std::vector<std::uint16_t>> grab(Combo combo)
    {
        const std::vector<std::uint16_t> variants = lockVariants();
        if (requestGrabs(combo, variants) != GrabResult::granted) {
            // Ungrabbing releases only this client's grabs, never the other client's.
            ungrab(combo, variants);
            xcb_flush(m_connection);
            return std::nullopt;
        }
        return variants;
    }

    void ungrab(Combo combo, const std::vector<std::uint16_t> &variants)
    {
        for (const std::uint16_t locks : variants)
            xcb_ungrab_key(m_connection, combo.keycode, m_root, combo.modifiers | locks);
    }

    std::optional<Combo> grabbedCombo(xcb_keycode_t keycode, std::uint16_t state) const
    {
        const Combo combo{keycode, static_cast<std::uint16_t>(state & keyboardModifierBits & ~lockBits())};
        if (!m_combos.contains(combo))
            return std::nullopt;
        return combo;
    }

    bool keyPressed(const xcb_key_press_event_t &event)
    {
        // A release followed by a press of the key at the same time is auto-repeat: neither counts, whatever
        // modifiers were let go meanwhile.
        if (m_pendingRelease && m_pendingRelease->combo.keycode == event.detail &&
            m_pendingRelease->time == event.time) {
            m_pendingRelease.reset();
            return true;
        }
        const std::optional<Combo> combo = grabbedCombo(event.detail, event.state);
        if (!combo)
            return false;
        GrabbedCombo &grabbed = m_combos.at(*combo);
        if (grabbed.isHeld)
            return true; // a repeat under detectable auto-repeat
        grabbed.isHeld = true;
        call(*combo, &HotKeyHandlers::onPress);
        return true;
    }

    bool keyReleased(const xcb_key_release_event_t &event)
    {
        // The modifiers may be let go first (xdotool does), so a release is matched by its key alone.
        const auto held = std::ranges::find_if(
            m_combos, [&](const auto &entry) { return entry.first.keycode == event.detail && entry.second.isHeld; });
        if (held == m_combos.end())
            return false;
        flushPendingRelease();
        m_pendingRelease = PendingRelease{held->first, event.time, ++m_lastReleaseSerial};
        if (m_hasDetectableAutoRepeat) {
            flushPendingRelease();
            return true;
        }
        // Without detectable auto-repeat the press of a repeat pair may come in a later batch of events than its
        // release, so the release waits a moment for it.
        QTimer::singleShot(releaseGrace, QCoreApplication::instance(),
                           [weak = weak_from_this(), serial = m_lastReleaseSerial] {
                               const auto self = weak.lock();
                               if (self && self->m_pendingRelease && self->m_pendingRelease->serial == serial)
                                   self->flushPendingRelease();
                           });
        return true;
    }

    void flushPendingRelease()
    {
        if (!m_pendingRelease)
            return;
        const Combo combo = m_pendingRelease->combo;
        m_pendingRelease.reset();
        if (const auto grabbed = m_combos.find(combo); grabbed != m_combos.end()) {
            grabbed->second.isHeld = false;
            call(combo, &HotKeyHandlers::onRelease);
        }
    }

    // Handlers may drop grabs, including their own: each is looked up again right before its call.
    void call(Combo combo, std::function<void()> HotKeyHandlers::*handler)
    {
        std::vector<std::uint64_t> ids;
        for (const auto &[id, entry] : m_entries) {
            if (entry.combo == combo)
                ids.push_back(id);
        }
        for (const std::uint64_t id : ids) {
            const auto entry = m_entries.find(id);
            if (entry == m_entries.end())
                continue;
            const std::function<void()> function = entry->second.handlers.*handler;
            if (function)
                function();
        }
    }

    // setxkbmap sends several notifications at once; one grab afterwards is enough.
    void scheduleRegrab()
    {
        if (m_regrabScheduled)
            return;
        m_regrabScheduled = true;
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [weak = weak_from_this()] {
                if (const auto self = weak.lock())
                    self->regrab();
            },
            Qt::QueuedConnection);
    }

    // A new keyboard may put Num Lock or Scroll Lock on other modifiers, so every grab is made again.
    void regrab()
    {
        m_regrabScheduled = false;
        m_lockMasks = readLockMasks();
        std::vector<std::function<void()>> lost;
        for (auto grabbed = m_combos.begin(); grabbed != m_combos.end();) {
            const Combo combo = grabbed->first;
            ungrab(combo, grabbed->second.variants);
            if (std::optional<std::vector<std::uint16_t>> variants = grab(combo)) {
                grabbed->second.variants = std::move(*variants);
                ++grabbed;
                continue;
            }
            // Forgotten here, so that a later grab of the combination asks the server again.
            for (auto entry = m_entries.begin(); entry != m_entries.end();) {
                if (entry->second.combo != combo) {
                    ++entry;
                    continue;
                }
                lost.push_back(std::move(entry->second.handlers.onLost));
                entry = m_entries.erase(entry);
            }
            if (m_pendingRelease && m_pendingRelease->combo == combo)
                m_pendingRelease.reset();
            grabbed = m_combos.erase(grabbed);
        }
        xcb_flush(m_connection);
        // Called last: they may grab and drop, and end watches.
        for (const std::function<void()> &onLost : lost) {
            if (onLost)
                onLost();
        }
        std::vector<std::uint64_t> watches;
        for (const auto &[id, watch] : m_keyboardWatches)
            watches.push_back(id);
        for (const std::uint64_t id : watches) {
            if (const auto watch = m_keyboardWatches.find(id); watch != m_keyboardWatches.end()) {
                const std::function<void()> onChange = watch->second;
                onChange();
            }
        }
    }

    xcb_connection_t *m_connection;
    xcb_window_t m_root;
    std::optional<std::uint8_t> m_xkbFirstEvent;
    std::vector<std::uint16_t> m_lockMasks;
    std::map<Combo, GrabbedCombo> m_combos;
    std::map<std::uint64_t, Entry> m_entries;
    std::map<std::uint64_t, std::function<void()>> m_keyboardWatches;
    std::uint64_t m_lastId = 0; // of entries and watches alike
    bool m_hasDetectableAutoRepeat = false;
    std::optional<PendingRelease> m_pendingRelease;
    std::uint64_t m_lastReleaseSerial = 0;
    bool m_regrabScheduled = false;
};

class X11HotKeyGrab final : public HotKeyGrab {
public:
    X11HotKeyGrab(std::weak_ptr<X11HotKeys> hotKeys, std::uint64_t id) : m_hotKeys(std::move(hotKeys)), m_id(id) {}
    ~X11HotKeyGrab() override
    {
        if (const auto hotKeys = m_hotKeys.lock())
            hotKeys->remove(m_id);
    }
    X11HotKeyGrab(const X11HotKeyGrab &) = delete;
    X11HotKeyGrab &operator=(const X11HotKeyGrab &) = delete;

private:
    std::weak_ptr<X11HotKeys> m_hotKeys;
    std::uint64_t m_id;
};

class X11KeyboardChangeWatch final : public KeyboardChangeWatch {
public:
    X11KeyboardChangeWatch(std::weak_ptr<X11HotKeys> hotKeys, std::uint64_t id)
        : m_hotKeys(std::move(hotKeys)), m_id(id)
    {}
    ~X11KeyboardChangeWatch() override
    {
        if (const auto hotKeys = m_hotKeys.lock())
            hotKeys->removeKeyboardWatch(m_id);
    }
    X11KeyboardChangeWatch(const X11KeyboardChangeWatch &) = delete;
    X11KeyboardChangeWatch &operator=(const X11KeyboardChangeWatch &) = delete;

private:
    std::weak_ptr<X11HotKeys> m_hotKeys;
    std::uint64_t m_id;
};

class X11HotKeyService final : public HotKeyService {
public:
    explicit X11HotKeyService(std::shared_ptr<X11HotKeys> hotKeys) : m_hotKeys(std::move(hotKeys)) {}

    std::unique_ptr<HotKeyGrab> grab(Shortcut shortcut, HotKeyHandlers handlers) override
    {
        const std::optional<std::uint64_t> id = m_hotKeys->add(shortcut, std::move(handlers));
        if (!id)
            return nullptr;
        return std::make_unique<X11HotKeyGrab>(m_hotKeys, *id);
    }

    bool isHeldByAnotherClient(Shortcut shortcut) const override { return m_hotKeys->isHeldElsewhere(shortcut); }

    std::unique_ptr<KeyboardChangeWatch> watchKeyboardChanges(std::function<void()> onChange) override
    {
        return std::make_unique<X11KeyboardChangeWatch>(m_hotKeys, m_hotKeys->addKeyboardWatch(std::move(onChange)));
    }

private:
    std::shared_ptr<X11HotKeys> m_hotKeys;
};

} // namespace

std::unique_ptr<HotKeyService> makeX11HotKeyService()
{
    const auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection() || xcb_connection_has_error(x11->connection()))
        return nullptr;
    xcb_connection_t *connection = x11->connection();
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    if (!screen)
        return nullptr;
    return std::make_unique<X11HotKeyService>(std::make_shared<X11HotKeys>(connection, screen->root));
}

} // namespace KeyboardShortcuts
