#include "keyboard_shortcuts/platform_services.h"

#include "keyboard_shortcuts/x11/x11_platform_services.h"

#include <QGuiApplication>
#include <QLoggingCategory>

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

} // namespace

std::unique_ptr<HotKeyService> makeNullHotKeyService()
{
    return std::make_unique<NullHotKeyService>();
}

std::unique_ptr<KeyboardLayout> makeNullKeyboardLayout()
{
    return std::make_unique<NullKeyboardLayout>();
}

PlatformServices makeNullPlatformServices()
{
    return {makeNullHotKeyService(), makeNullKeyboardLayout()};
}

PlatformServices detectPlatformServices()
{
    if (QGuiApplication::platformName() == u"xcb") {
        if (std::optional<PlatformServices> x11 = makeX11PlatformServices())
            return std::move(*x11);
    }
    qCWarning(lcKeyboardShortcuts) << "no X11 display; global shortcuts are off";
    return makeNullPlatformServices();
}

} // namespace KeyboardShortcuts
