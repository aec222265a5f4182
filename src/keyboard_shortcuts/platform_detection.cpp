#include "keyboard_shortcuts/platform_detection.h"

#include "keyboard_shortcuts/desktop/gnome_custom_key_binding_service.h"
#include "keyboard_shortcuts/desktop/gsettings_key_bindings.h"
#include "keyboard_shortcuts/desktop/kglobalaccel_key_bindings.h"
#include "keyboard_shortcuts/desktop/xfconf_key_bindings.h"
#include "keyboard_shortcuts/portal/portal_hot_key_service.h"
#include "keyboard_shortcuts/scan_codes.h"
#include "keyboard_shortcuts/x11/x11_platform_services.h"
#include "platform/desktop_session.h"

#include <QGuiApplication>
#include <QHash>
#include <QLoggingCategory>
#include <QStringList>

Q_LOGGING_CATEGORY(lcKeyboardShortcuts, "scrivlet.keyboardshortcuts")

namespace KeyboardShortcuts {
namespace {

class NullHotKeyService final : public HotKeyService {
public:
    std::unique_ptr<HotKeyGrab> grab(Shortcut, HotKeyHandlers) override { return nullptr; }
};

class NullKeyboardLayout final : public KeyboardLayout {
public:
    std::optional<QString> keyText(Key) const override { return std::nullopt; }
};

class NullDesktopKeyBindings final : public DesktopKeyBindings {
public:
    std::vector<Shortcut> enabledBindings(const KeyNames &) const override { return {}; }
};

class UsKeyboardLayout final : public KeyboardLayout {
public:
    std::optional<QString> keyText(Key key) const override
    {
        static const QHash<std::int64_t, QString> texts = [] {
            QHash<std::int64_t, QString> table;
            // clang-format off
            const std::pair<Key, const char *> keys[] = {
                {Key::a, "a"},          {Key::b, "b"},         {Key::c, "c"},           {Key::d, "d"},
                {Key::e, "e"},          {Key::f, "f"},         {Key::g, "g"},           {Key::h, "h"},
                {Key::i, "i"},          {Key::j, "j"},         {Key::k, "k"},           {Key::l, "l"},
                {Key::m, "m"},          {Key::n, "n"},         {Key::o, "o"},           {Key::p, "p"},
                {Key::q, "q"},          {Key::r, "r"},         {Key::s, "s"},           {Key::t, "t"},
                {Key::u, "u"},          {Key::v, "v"},         {Key::w, "w"},           {Key::x, "x"},
                {Key::y, "y"},          {Key::z, "z"},         {Key::zero, "0"},        {Key::one, "1"},
                {Key::two, "2"},        {Key::three, "3"},     {Key::four, "4"},        {Key::five, "5"},
                {Key::six, "6"},        {Key::seven, "7"},     {Key::eight, "8"},       {Key::nine, "9"},
                {Key::backslash, "\\"}, {Key::backtick, "`"},  {Key::comma, ","},       {Key::equal, "="},
                {Key::minus, "-"},      {Key::period, "."},    {Key::quote, "'"},       {Key::semicolon, ";"},
                {Key::slash, "/"},      {Key::leftBracket, "["}, {Key::rightBracket, "]"},
            };
            // clang-format on
            for (const auto &[fixedKey, text] : keys)
                table.insert(fixedKey.rawValue, QString::fromLatin1(text));
            return table;
        }();
        const auto found = texts.constFind(key.rawValue);
        return found == texts.cend() ? std::nullopt : std::optional<QString>(*found);
    }
};

} // namespace

QHash<QString, Key> KeyboardLayout::keysByText() const
{
    QHash<QString, Key> keys;
    for (const KeyScanCode &entry : scanCodeTable()) {
        if (const std::optional<QString> text = keyText(entry.key); text && !keys.contains(*text))
            keys.insert(*text, entry.key);
    }
    return keys;
}

std::unique_ptr<KeyboardLayout> makeUsKeyboardLayout()
{
    return std::make_unique<UsKeyboardLayout>();
}

std::unique_ptr<HotKeyService> makeNullHotKeyService()
{
    return std::make_unique<NullHotKeyService>();
}

std::unique_ptr<KeyboardLayout> makeNullKeyboardLayout()
{
    return std::make_unique<NullKeyboardLayout>();
}

std::unique_ptr<DesktopKeyBindings> makeNullDesktopKeyBindings()
{
    return std::make_unique<NullDesktopKeyBindings>();
}

KeyBindingStore keyBindingStore(QStringView currentDesktops)
{
    static const QStringList gsettingsDesktops{u"GNOME"_qs, u"Unity"_qs, u"Budgie"_qs, u"Pantheon"_qs};
    for (const QStringView desktop : currentDesktops.tokenize(u':')) {
        if (gsettingsDesktops.contains(desktop, Qt::CaseInsensitive))
            return KeyBindingStore::gsettings;
        if (desktop.compare(u"KDE", Qt::CaseInsensitive) == 0)
            return KeyBindingStore::kglobalaccel;
        if (desktop.compare(u"XFCE", Qt::CaseInsensitive) == 0)
            return KeyBindingStore::xfconf;
    }
    return KeyBindingStore::none;
}

std::unique_ptr<DesktopKeyBindings> makeDesktopKeyBindings(KeyBindingStore store)
{
    switch (store) {
    case KeyBindingStore::gsettings:
        return makeGSettingsKeyBindings();
    case KeyBindingStore::kglobalaccel:
        return makeKGlobalAccelKeyBindings();
    case KeyBindingStore::xfconf:
        return makeXfconfKeyBindings();
    case KeyBindingStore::none:
        break;
    }
    return makeNullDesktopKeyBindings();
}

PlatformServices makeNullPlatformServices()
{
    return {makeNullHotKeyService(), makeUsKeyboardLayout(), makeNullDesktopKeyBindings()};
}

namespace {

// A Wayland desktop's own way to bind keys for a program; null where it has none.
std::unique_ptr<HotKeyService> makeWaylandHotKeyService(const Platform::DesktopSession &session,
                                                        const KeyboardLayout &layout)
{
    // The GlobalShortcuts portal, where the desktop offers it (KDE Plasma, GNOME 48+, Hyprland), comes first.
    if (std::unique_ptr<HotKeyService> portal = makePortalHotKeyService(KeyNames(layout)))
        return portal;
    if (session.desktop == Platform::Desktop::gnome)
        return makeGnomeCustomKeyBindingService(KeyNames(layout));
    return nullptr;
}

} // namespace

PlatformServices detectPlatformServices()
{
    const Platform::DesktopSession &session = Platform::currentSession();
    PlatformServices services;
    if (QGuiApplication::platformName() == u"xcb") {
        if (std::optional<PlatformServices> x11 = makeX11PlatformServices())
            services = std::move(*x11);
    }
    const bool hasX11 = bool(services.hotKeys);
    if (!hasX11)
        services = makeNullPlatformServices();
    bool hasWayland = false;
    if (session.displayServer == Platform::DisplayServer::wayland) {
        // Under XWayland, X11 grabs fire only while an X11 window has the focus: the desktop's own way wins.
        if (std::unique_ptr<HotKeyService> wayland = makeWaylandHotKeyService(session, *services.keyboardLayout)) {
            services.hotKeys = std::move(wayland);
            hasWayland = true;
        }
    }
    if (!hasX11 && !hasWayland)
        qCWarning(lcKeyboardShortcuts)
            << "no X11 display and no desktop service for shortcuts; global shortcuts are off";
    services.desktopKeyBindings = makeDesktopKeyBindings(keyBindingStore(session.currentDesktops.join(u':')));
    return services;
}

} // namespace KeyboardShortcuts
