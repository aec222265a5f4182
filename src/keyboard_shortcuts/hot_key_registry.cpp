#include "keyboard_shortcuts/hot_key_registry.h"

#include <QKeyEvent>
#include <QSet>

#include <algorithm>

namespace KeyboardShortcuts {

HotKeyRegistry::HotKeyRegistry(HotKeyService &service, std::function<void(Shortcut)> onLossChange)
    : m_service(service), m_onLossChange(std::move(onLossChange))
{
    m_retryTimer.setSingleShot(true);
    QObject::connect(&m_retryTimer, &QTimer::timeout, &m_retryTimer, [this] { retry(); });
    m_keyboardWatch = m_service.watchKeyboardChanges([this] {
        if (m_routing == Routing::normal)
            resumeAll();
    });
}

HotKeyRegistry::~HotKeyRegistry() = default;

std::unique_ptr<HotKeyGrab> HotKeyRegistry::grab(HotKeyId id, const HotKey &hotKey)
{
    return m_service.grab(hotKey.shortcut,
                          {[this, id] { call(id, &HotKey::onKeyDown); }, [this, id] { call(id, &HotKey::onKeyUp); },
                           [this, id] { lose(id); }, hotKey.name, hotKey.command});
}

std::optional<HotKeyRegistry::HotKeyId> HotKeyRegistry::addHotKey(Shortcut shortcut, Callback onKeyDown,
                                                                  Callback onKeyUp, QString name,
                                                                  std::optional<DesktopCommand> command)
{
    const HotKeyId id = ++m_lastId;
    HotKey hotKey{shortcut, std::move(onKeyDown), std::move(onKeyUp), std::move(name), std::move(command), nullptr};
    hotKey.grab = grab(id, hotKey);
    if (!hotKey.grab)
        return std::nullopt;
    // Grabbing first tells a refused combination from a free one even while grabs are suspended.
    if (m_routing != Routing::normal)
        hotKey.grab.reset();
    m_hotKeys.emplace(id, std::move(hotKey));
    return id;
}

void HotKeyRegistry::removeHotKeys(Shortcut shortcut)
{
    const bool wasLost = isLost(shortcut);
    std::erase_if(m_hotKeys, [shortcut](const auto &entry) { return entry.second.shortcut == shortcut; });
    if (!wasLost)
        return;
    updateRetryTimer();
    reportLossChanges({shortcut});
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

bool HotKeyRegistry::isLost(Shortcut shortcut) const
{
    return std::ranges::any_of(
        m_hotKeys, [shortcut](const auto &entry) { return entry.second.shortcut == shortcut && entry.second.isLost; });
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
    updateRetryTimer();
}

// Grabs every hot key that is not grabbed: all of them after a suspension, the lost ones otherwise.
void HotKeyRegistry::resumeAll()
{
    std::vector<Shortcut> changed;
    for (auto &[id, hotKey] : m_hotKeys) {
        if (hotKey.grab)
            continue;
        hotKey.grab = grab(id, hotKey);
        if (bool(hotKey.grab) == hotKey.isLost) {
            hotKey.isLost = !hotKey.isLost;
            changed.push_back(hotKey.shortcut);
        }
    }
    updateRetryTimer();
    reportLossChanges(changed);
}

void HotKeyRegistry::lose(HotKeyId id)
{
    const auto found = m_hotKeys.find(id);
    if (found == m_hotKeys.end() || found->second.isLost)
        return;
    found->second.grab.reset(); // it holds nothing any more
    found->second.isLost = true;
    updateRetryTimer();
    reportLossChanges({found->second.shortcut});
}

void HotKeyRegistry::retry()
{
    // Raised first: a retry that fails starts the timer again with the longer delay.
    m_retryDelay = std::min(m_retryDelay * 2, longestRetryDelay);
    resumeAll();
}

void HotKeyRegistry::updateRetryTimer()
{
    if (std::ranges::none_of(m_hotKeys, [](const auto &entry) { return entry.second.isLost; })) {
        m_retryTimer.stop();
        m_retryDelay = firstRetryDelay;
    } else if (m_routing != Routing::normal) {
        m_retryTimer.stop(); // nothing is grabbed now; going back to normal tries at once
    } else if (!m_retryTimer.isActive()) {
        m_retryTimer.start(m_retryDelay);
    }
}

void HotKeyRegistry::reportLossChanges(const std::vector<Shortcut> &shortcuts)
{
    if (!m_onLossChange)
        return;
    QSet<Shortcut> reported;
    for (const Shortcut shortcut : shortcuts) {
        if (!reported.contains(shortcut)) {
            reported.insert(shortcut);
            m_onLossChange(shortcut);
        }
    }
}

void HotKeyRegistry::call(HotKeyId id, Callback HotKey::*callback)
{
    const auto found = m_hotKeys.find(id);
    if (found == m_hotKeys.end())
        return;
    // Copies: the callback may remove this very hot key.
    const Shortcut shortcut = found->second.shortcut;
    const Callback call = found->second.*callback;
    call(shortcut);
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
        call(id, &HotKey::onKeyUp);
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
    call(match->first, &HotKey::onKeyDown);
    return true;
}

} // namespace KeyboardShortcuts
