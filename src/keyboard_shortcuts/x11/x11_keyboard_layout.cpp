#include "keyboard_shortcuts/x11/x11_keyboard_layout.h"

#include "keyboard_shortcuts/scan_codes.h"

#include <QGuiApplication>

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

namespace KeyboardShortcuts {
namespace {

struct ContextUnref {
    void operator()(xkb_context *context) const noexcept { xkb_context_unref(context); }
};
struct KeymapUnref {
    void operator()(xkb_keymap *keymap) const noexcept { xkb_keymap_unref(keymap); }
};
struct StateUnref {
    void operator()(xkb_state *state) const noexcept { xkb_state_unref(state); }
};
using XkbContext = std::unique_ptr<xkb_context, ContextUnref>;
using XkbKeymap = std::unique_ptr<xkb_keymap, KeymapUnref>;
using XkbState = std::unique_ptr<xkb_state, StateUnref>;

// A snapshot of the server's keymap and the group the user types in.
struct Keymap {
    XkbKeymap keymap;
    XkbState state;
};

// Level 0 is the key without Shift, so letters come out in lower case.
std::optional<QString> typedText(const Keymap &keymap, std::uint32_t keycode)
{
    if (keycode > 255)
        return std::nullopt;
    xkb_layout_index_t layout = keymap.state ? xkb_state_key_get_layout(keymap.state.get(), keycode) : 0;
    if (layout == XKB_LAYOUT_INVALID)
        layout = 0;
    const xkb_keysym_t *keysyms = nullptr;
    if (xkb_keymap_key_get_syms_by_level(keymap.keymap.get(), keycode, layout, 0, &keysyms) < 1)
        return std::nullopt;
    const char32_t character = xkb_keysym_to_utf32(keysyms[0]);
    if (character < 0x20 || character == 0x7f) // nothing printable, or a control character
        return std::nullopt;
    return QString::fromUcs4(&character, 1);
}

class X11KeyboardLayout final : public KeyboardLayout {
public:
    X11KeyboardLayout(xcb_connection_t *connection, XkbContext context)
        : m_connection(connection), m_context(std::move(context))
    {}

    std::optional<QString> keyText(Key key) const override
    {
        const std::optional<std::uint32_t> keycode = scanCode(key);
        if (!keycode)
            return std::nullopt;
        const std::optional<Keymap> keymap = readKeymap();
        return keymap ? typedText(*keymap, *keycode) : std::nullopt;
    }

    QHash<QString, Key> keysByText() const override
    {
        QHash<QString, Key> keys;
        const std::optional<Keymap> keymap = readKeymap();
        if (!keymap)
            return keys;
        for (const KeyScanCode &entry : scanCodeTable()) {
            if (const std::optional<QString> text = typedText(*keymap, entry.scanCode); text && !keys.contains(*text))
                keys.insert(*text, entry.key);
        }
        return keys;
    }

private:
    // Fetched at every call: the server's layout may have changed since the last one.
    std::optional<Keymap> readKeymap() const
    {
        const std::int32_t device = xkb_x11_get_core_keyboard_device_id(m_connection);
        if (device < 0)
            return std::nullopt;
        XkbKeymap keymap(
            xkb_x11_keymap_new_from_device(m_context.get(), m_connection, device, XKB_KEYMAP_COMPILE_NO_FLAGS));
        if (!keymap)
            return std::nullopt;
        XkbState state(xkb_x11_state_new_from_device(keymap.get(), m_connection, device));
        return Keymap{std::move(keymap), std::move(state)};
    }

    xcb_connection_t *m_connection;
    XkbContext m_context;
};

} // namespace

std::unique_ptr<KeyboardLayout> makeX11KeyboardLayout()
{
    const auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return nullptr;
    if (!xkb_x11_setup_xkb_extension(x11->connection(), XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr))
        return nullptr;
    XkbContext context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return nullptr;
    return std::make_unique<X11KeyboardLayout>(x11->connection(), std::move(context));
}

} // namespace KeyboardShortcuts
