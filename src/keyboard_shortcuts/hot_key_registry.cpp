#include "keyboard_shortcuts/hot_key_registry.h"

#include <QKeyEvent>

namespace KeyboardShortcuts {

HotKeyRegistry::HotKeyRegistry(HotKeyService &service) : m_service(service) {}

HotKeyRegistry::~HotKeyRegistry() = default;

std::unique_ptr<HotKeyGrab> HotKeyRegistry::grab(HotKeyId id, Shortcut shortcut)
{
    return m_service.grab(shortcut, {[this, id] { press(id); }, [this, id] { release(id); }});
}

std::optional<HotKeyRegistry::HotKeyId> HotKeyRegistry::addHotKey(Shortcut shortcut, Callback onKeyDown,
                                                                  Callback onKeyUp)
{
    const HotKeyId id = ++m_lastId;
    std::unique_ptr<HotKeyGrab> grabbed = grab(id, shortcut);
    if (!grabbed)
        return std::nullopt;
    // Grabbing first tells a refused combination from a free one even while grabs are suspended.
    if (m_routing != Routing::normal)
        grabbed.reset();
    m_hotKeys.emplace(id, HotKey{shortcut, std::move(onKeyDown), std::move(onKeyUp), std::move(grabbed)});
    return id;
}

void HotKeyRegistry::removeHotKeys(Shortcut shortcut)
{
    std::erase_if(m_hotKeys, [shortcut](const auto &entry) { return entry.second.shortcut == shortcut; });
}

std::vector<HotKeyRegistry::HotKeyId> HotKeyRegistry::hotKeyIds(Shortcut shortcut) const
{
    std::vector<HotKeyId> ids;
    for (const auto &[id, hotKey] : m_hotKeys) {
        if (hotKey.shortcut == shortcut)
            ids.push_back(id);
    }
    return ids;
}

void HotKeyRegistry::setRouting(Routing routing)
{
    m_routing = routing;
    switch (routing) {
    case Routing::normal:
        m_menuKeyMonitor.reset();
        m_heldInMenu.clear();
        resumeAll();
        break;
    case Routing::menuOpen:
        suspendAll();
        if (!m_menuKeyMonitor) {
            m_menuKeyMonitor = std::make_unique<LocalEventMonitor>(
                QList{QEvent::KeyPress, QEvent::KeyRelease},
                [this](QObject *, QEvent *event) { return routeMenuKeyEvent(static_cast<const QKeyEvent &>(*event)); });
        }
        break;
    case Routing::disabled:
        suspendAll();
        m_menuKeyMonitor.reset();
        m_heldInMenu.clear();
        break;
    }
}

void HotKeyRegistry::suspendAll()
{
    for (auto &[id, hotKey] : m_hotKeys)
        hotKey.grab.reset();
}

void HotKeyRegistry::resumeAll()
{
    for (auto it = m_hotKeys.begin(); it != m_hotKeys.end();) {
        HotKey &hotKey = it->second;
        if (!hotKey.grab)
            hotKey.grab = grab(it->first, hotKey.shortcut);
        // A combination another client took meanwhile is dropped; it comes back only when added again.
        it = hotKey.grab ? std::next(it) : m_hotKeys.erase(it);
    }
}

void HotKeyRegistry::press(HotKeyId id)
{
    const auto found = m_hotKeys.find(id);
    if (found == m_hotKeys.end())
        return;
    // Copies: the callback may remove this very hot key.
    const Shortcut shortcut = found->second.shortcut;
    const Callback onKeyDown = found->second.onKeyDown;
    onKeyDown(shortcut);
}

void HotKeyRegistry::release(HotKeyId id)
{
    const auto found = m_hotKeys.find(id);
    if (found == m_hotKeys.end())
        return;
    const Shortcut shortcut = found->second.shortcut;
    const Callback onKeyUp = found->second.onKeyUp;
    onKeyUp(shortcut);
}

bool HotKeyRegistry::routeMenuKeyEvent(const QKeyEvent &event)
{
    const quint32 scanCode = event.nativeScanCode();
    if (event.type() == QEvent::KeyRelease) {
        // The release is matched by key alone: the modifiers may have been let go first.
        const auto held = m_heldInMenu.find(scanCode);
        if (held == m_heldInMenu.end())
            return false;
        const HotKeyId id = held.value();
        m_heldInMenu.erase(held);
        release(id);
        return true;
    }
    // With detectable auto-repeat a held key sends presses only; they are repeats of the first.
    if (m_heldInMenu.contains(scanCode))
        return true;
    const std::optional<Shortcut> shortcut = Shortcut::fromKeyEvent(event);
    if (!shortcut)
        return false;
    const auto match =
        std::ranges::find_if(m_hotKeys, [&](const auto &entry) { return entry.second.shortcut == *shortcut; });
    if (match == m_hotKeys.end())
        return false;
    m_heldInMenu.insert(scanCode, match->first);
    press(match->first);
    return true;
}

} // namespace KeyboardShortcuts
