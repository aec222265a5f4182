#include "keyboard_shortcuts/keyboard_shortcuts.h"

#include "keyboard_shortcuts/platform_detection.h"
#include "keyboard_shortcuts/shortcut_center.h"

#include <QCoreApplication>
#include <QMenu>
#include <QPointer>

namespace KeyboardShortcuts {
namespace {

struct Module {
    explicit Module(PlatformServices platform)
        : services(std::move(platform)), center(*services.hotKeys, UserDefaults::standard())
    {}
    PlatformServices services;
    ShortcutCenter center;
    QPointer<QMenu> mainMenu;
};

std::unique_ptr<Module> &moduleSlot()
{
    static std::unique_ptr<Module> module;
    return module;
}

Module &module()
{
    if (!moduleSlot())
        install();
    return *moduleSlot();
}

} // namespace

void install()
{
    if (!moduleSlot())
        install(detectPlatformServices());
}

void install(PlatformServices services)
{
    if (moduleSlot())
        return;
    if (!services.hotKeys)
        services.hotKeys = makeNullHotKeyService();
    if (!services.keyboardLayout)
        services.keyboardLayout = makeUsKeyboardLayout();
    if (!services.desktopKeyBindings)
        services.desktopKeyBindings = makeNullDesktopKeyBindings();
    moduleSlot() = std::make_unique<Module>(std::move(services));
    // Torn down by the application's destructor, while Qt's X11 connection, which the grabs are released on,
    // still exists; a static destructor would run after it is gone.
    qAddPostRoutine([] { moduleSlot().reset(); });
}

ShortcutCenter &center()
{
    return module().center;
}

const KeyboardLayout &keyboardLayout()
{
    return *module().services.keyboardLayout;
}

const PlatformServices &platformServices()
{
    return module().services;
}

std::optional<Shortcut> storedShortcut(const Name &name)
{
    return center().storedShortcut(name);
}

void storeShortcut(std::optional<Shortcut> shortcut, const Name &name)
{
    center().storeShortcut(shortcut, name);
}

void resetToDefaults(const QList<Name> &names)
{
    center().resetToDefaults(names);
}

void enableShortcuts(const QList<Name> &names)
{
    center().enableShortcuts(names);
}

void disableShortcuts(const QList<Name> &names)
{
    center().disableShortcuts(names);
}

void addKeyDownAction(const Name &name, std::function<void()> action)
{
    center().addKeyDownAction(name, std::move(action));
}

void addKeyUpAction(const Name &name, std::function<void()> action)
{
    center().addKeyUpAction(name, std::move(action));
}

void removeAllActions()
{
    center().removeAllActions();
}

KeyEventStream keyEvents(const Name &name, std::function<void(EventType)> onEvent)
{
    return center().keyEvents(name, std::move(onEvent));
}

KeyEventStream keySignals(EventType type, const Name &name, std::function<void()> onSignal)
{
    return center().keySignals(type, name, std::move(onSignal));
}

void setDesktopCommand(const Name &name, std::optional<DesktopCommand> command)
{
    center().setDesktopCommand(name, std::move(command));
}

std::optional<DesktopCommand> desktopCommand(const Name &name)
{
    return center().desktopCommand(name);
}

bool shortcutsEnabled()
{
    return center().shortcutsEnabled();
}

void setShortcutsEnabled(bool enabled)
{
    center().setShortcutsEnabled(enabled);
}

bool isPaused()
{
    return center().isPaused();
}

void setPaused(bool paused)
{
    center().setPaused(paused);
}

bool isHotKeyRegistered(const Name &name)
{
    return center().isHotKeyRegistered(name);
}

void setMainMenu(QMenu *menu)
{
    module().mainMenu = menu;
}

QMenu *mainMenu()
{
    return module().mainMenu;
}

const ShortcutNotifications &notifications()
{
    return center().notifications();
}

} // namespace KeyboardShortcuts
