#include "keyboard_shortcuts/shortcut_center.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/shortcut_text.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLoggingCategory>

#include <algorithm>

Q_DECLARE_LOGGING_CATEGORY(lcKeyboardShortcuts)

namespace KeyboardShortcuts {
namespace {

constexpr qsizetype longestReportedValue = 80;

// A string as a JSON file writes it, quotes and escapes included.
QString jsonString(const QString &text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.sliced(1, array.size() - 2));
}

// Log lines name keys as on the US layout, the one key codes are named after, whatever the user's layout.
QString logText(Shortcut shortcut)
{
    return displayText(shortcut, *makeUsKeyboardLayout());
}

template <typename Value> Value *find(std::vector<std::pair<Name, Value>> &table, const Name &name)
{
    const auto found = std::ranges::find(table, name, &std::pair<Name, Value>::first);
    return found == table.end() ? nullptr : &found->second;
}

template <typename Value> Value &findOrAdd(std::vector<std::pair<Name, Value>> &table, const Name &name)
{
    if (Value *value = find(table, name))
        return *value;
    return table.emplace_back(name, Value{}).second;
}

} // namespace

ShortcutCenter::ShortcutCenter(HotKeyService &hotKeyService, UserDefaults defaults)
    : m_defaults(std::move(defaults)),
      m_hotKeys(hotKeyService, [this](Shortcut shortcut) { hotKeyLossChanged(shortcut); }),
      m_self(std::make_shared<ShortcutCenter *>(this))
{}

ShortcutCenter::~ShortcutCenter() = default;

void ShortcutCenter::meet(const Name &name)
{
    if (m_metNames.contains(name.rawValue))
        return;
    m_metNames.insert(name.rawValue);
    if (!m_menuTracker)
        m_menuTracker = std::make_unique<MenuTracker>([this](bool tracking) { setMenuTracking(tracking); });
    if (!m_storageWatcher)
        watchStorage();
    if (name.defaultShortcut && !m_defaults.contains(name.defaultsKey()))
        save(*name.defaultShortcut, name);
    m_lastSeen.insert(name.rawValue, readShortcut(name));
}

void ShortcutCenter::watchStorage()
{
    // Writers replace the file by renaming a new one over it, so the folder is what changes.
    const QString folder = QFileInfo(m_defaults.filePath()).absolutePath();
    QDir().mkpath(folder);
    m_storageWatcher = std::make_unique<QFileSystemWatcher>(QStringList{folder});
    m_syncDelay = std::make_unique<QTimer>();
    m_syncDelay->setSingleShot(true);
    m_syncDelay->setInterval(50); // one sync for the lock file, the temporary file and the rename of one write
    QObject::connect(m_syncDelay.get(), &QTimer::timeout, m_syncDelay.get(), [this] { syncWithStorage(); });
    QObject::connect(m_storageWatcher.get(), &QFileSystemWatcher::directoryChanged, m_syncDelay.get(),
                     qOverload<>(&QTimer::start));
}

void ShortcutCenter::syncWithStorage()
{
    std::vector<Name> changed;
    const auto collect = [&](const auto &table) {
        for (const auto &[name, value] : table) {
            const std::optional<Shortcut> stored = readShortcut(name);
            const std::optional<Shortcut> previous = m_lastSeen.value(name.rawValue);
            if (previous == stored)
                continue;
            m_lastSeen.insert(name.rawValue, stored);
            if (previous)
                deactivate(*previous);
            if (stored)
                activate(*stored, name);
            changed.push_back(name);
        }
    };
    collect(m_keyDownActions);
    collect(m_keyUpActions);
    collect(m_keyDownStreams);
    collect(m_keyUpStreams);
    for (const Name &name : changed)
        emit m_notifications.shortcutByNameDidChange(name);
}

std::optional<Shortcut> ShortcutCenter::readShortcut(const Name &name) const
{
    const QString key = name.defaultsKey();
    const std::optional<QString> stored = m_defaults.string(key);
    const std::optional<Shortcut> shortcut = stored ? Shortcut::fromJson(stored->toUtf8()) : std::nullopt;
    // False, which reads as "0", is how a cleared shortcut is kept.
    if (shortcut || (stored && *stored == u"0") || (!stored && !m_defaults.contains(key)))
        m_reportedUnreadable.remove(key);
    else
        reportUnreadable(name, stored);
    return shortcut;
}

// Written by hand, a shortcut is easily stored as a JSON object rather than a string, or with a typo; without a
// word it would be a hot key that silently does nothing.
void ShortcutCenter::reportUnreadable(const Name &name, const std::optional<QString> &stored) const
{
    const QString key = name.defaultsKey();
    if (const auto reported = m_reportedUnreadable.constFind(key);
        reported != m_reportedUnreadable.cend() && *reported == stored)
        return;
    m_reportedUnreadable.insert(key, stored);
    const Shortcut example =
        name.defaultShortcut.value_or(Shortcut::fromKey(Key::two, Qt::MetaModifier | Qt::ShiftModifier));
    QString readAs; // a number or a boolean reads as its text too
    if (stored) {
        const QString shown =
            stored->size() > longestReportedValue ? stored->first(longestReportedValue) + QChar(0x2026) : *stored;
        readAs = u" (the value reads as "_qs + jsonString(shown) + u')';
    }
    qCWarning(lcKeyboardShortcuts).noquote().nospace()
        << '"' << key << "\" must be a string holding {\"carbonKeyCode\":\u2026,\"carbonModifiers\":\u2026}, e.g. "
        << jsonString(QString::fromUtf8(example.toJson())) << readAs << "; the hot key is off";
}

std::optional<Shortcut> ShortcutCenter::storedShortcut(const Name &name)
{
    meet(name);
    return readShortcut(name);
}

void ShortcutCenter::storeShortcut(std::optional<Shortcut> shortcut, const Name &name)
{
    meet(name);
    if (shortcut)
        save(*shortcut, name);
    else
        clear(name);
}

void ShortcutCenter::save(Shortcut shortcut, const Name &name)
{
    if (const std::optional<Shortcut> previous = readShortcut(name))
        deactivate(*previous);
    activate(shortcut, name);
    m_defaults.setString(name.defaultsKey(), QString::fromUtf8(shortcut.toJson()));
    m_lastSeen.insert(name.rawValue, shortcut);
    emit m_notifications.shortcutByNameDidChange(name);
}

void ShortcutCenter::clear(const Name &name)
{
    const std::optional<Shortcut> previous = readShortcut(name);
    if (!previous)
        return;
    // False keeps the default from being written again at the next start.
    if (name.defaultShortcut)
        m_defaults.setBoolean(name.defaultsKey(), false);
    else
        m_defaults.remove(name.defaultsKey());
    deactivate(*previous);
    m_lastSeen.insert(name.rawValue, std::nullopt);
    emit m_notifications.shortcutByNameDidChange(name);
}

void ShortcutCenter::resetToDefaults(const QList<Name> &names)
{
    for (const Name &name : names)
        storeShortcut(name.defaultShortcut, name);
}

void ShortcutCenter::enableShortcuts(const QList<Name> &names)
{
    for (const Name &name : names) {
        if (const std::optional<Shortcut> shortcut = storedShortcut(name))
            activate(*shortcut, name);
    }
}

void ShortcutCenter::disableShortcuts(const QList<Name> &names)
{
    for (const Name &name : names) {
        if (const std::optional<Shortcut> shortcut = storedShortcut(name))
            deactivate(*shortcut);
    }
}

bool ShortcutCenter::isHotKeyRegistered(const Name &name)
{
    const std::optional<Shortcut> shortcut = storedShortcut(name);
    return shortcut && !m_hotKeys.hotKeyIds(*shortcut).empty() && !m_hotKeys.isLost(*shortcut);
}

bool ShortcutCenter::isHotKeyTaken(const Name &name)
{
    const std::optional<Shortcut> shortcut = storedShortcut(name);
    return shortcut && m_hotKeys.isLost(*shortcut);
}

std::vector<Name> ShortcutCenter::namesInUse(Shortcut shortcut) const
{
    std::vector<Name> names;
    const auto collect = [&](const auto &table) {
        for (const auto &[name, value] : table) {
            if (std::ranges::find(names, name) == names.end() && readShortcut(name) == shortcut)
                names.push_back(name);
        }
    };
    collect(m_keyDownActions);
    collect(m_keyUpActions);
    collect(m_keyDownStreams);
    collect(m_keyUpStreams);
    return names;
}

void ShortcutCenter::hotKeyLossChanged(Shortcut shortcut)
{
    const std::vector<Name> names = namesInUse(shortcut);
    QStringList rawValues;
    for (const Name &name : names)
        rawValues.append(name.rawValue);
    QString what = u"hot key "_qs + logText(shortcut);
    if (!rawValues.isEmpty())
        what += u" ("_qs + rawValues.join(u", "_qs) + u')';
    // Removed while lost, the hot key is neither lost nor back: only its state is announced.
    if (m_hotKeys.isLost(shortcut))
        qCWarning(lcKeyboardShortcuts).noquote()
            << what << "was taken by another program; tried again until it is free";
    else if (!m_hotKeys.hotKeyIds(shortcut).empty())
        qCInfo(lcKeyboardShortcuts).noquote() << what << "works again";
    for (const Name &name : names)
        emit m_notifications.hotKeyRegistrationDidChange(name);
}

void ShortcutCenter::activate(Shortcut shortcut, const Name &name)
{
    if (m_activeShortcuts.contains(shortcut))
        return;
    // Counted as active even when refused, so that a refused combination is not retried at every event.
    m_hotKeys.addHotKey(
        shortcut, [this](Shortcut pressed) { dispatch(pressed, EventType::keyDown); },
        [this](Shortcut released) { dispatch(released, EventType::keyUp); }, name.rawValue, desktopCommand(name));
    m_activeShortcuts.insert(shortcut);
}

void ShortcutCenter::setDesktopCommand(const Name &name, std::optional<DesktopCommand> command)
{
    if (desktopCommand(name) == command)
        return;
    std::erase_if(m_desktopCommands, [&](const auto &entry) { return entry.first == name; });
    if (command)
        m_desktopCommands.emplace_back(name, std::move(*command));
    if (const std::optional<Shortcut> shortcut = readShortcut(name); shortcut && isActive(*shortcut)) {
        deactivate(*shortcut);
        activate(*shortcut, name);
        emit m_notifications.hotKeyRegistrationDidChange(name);
    }
}

std::optional<DesktopCommand> ShortcutCenter::desktopCommand(const Name &name) const
{
    const auto found = std::ranges::find(m_desktopCommands, name, &std::pair<Name, DesktopCommand>::first);
    return found == m_desktopCommands.end() ? std::nullopt : std::optional(found->second);
}

void ShortcutCenter::deactivate(Shortcut shortcut)
{
    m_hotKeys.removeHotKeys(shortcut);
    m_activeShortcuts.remove(shortcut);
}

void ShortcutCenter::addAction(NameTable<std::vector<Action>> &table, const Name &name, Action action)
{
    meet(name);
    findOrAdd(table, name).push_back(std::move(action));
    if (const std::optional<Shortcut> shortcut = readShortcut(name))
        activate(*shortcut, name);
}

void ShortcutCenter::addKeyDownAction(const Name &name, Action action)
{
    addAction(m_keyDownActions, name, std::move(action));
}

void ShortcutCenter::addKeyUpAction(const Name &name, Action action)
{
    addAction(m_keyUpActions, name, std::move(action));
}

QSet<Shortcut> ShortcutCenter::shortcutsInUse() const
{
    QSet<Shortcut> inUse;
    const auto collect = [&](const auto &table) {
        for (const auto &[name, value] : table) {
            if (const std::optional<Shortcut> shortcut = readShortcut(name))
                inUse.insert(*shortcut);
        }
    };
    collect(m_keyDownActions);
    collect(m_keyUpActions);
    collect(m_keyDownStreams);
    collect(m_keyUpStreams);
    return inUse;
}

void ShortcutCenter::removeAllActions()
{
    for (const Shortcut &shortcut : shortcutsInUse())
        deactivate(shortcut);
    m_keyDownActions.clear();
    m_keyUpActions.clear();
}

KeyEventStream ShortcutCenter::addStream(const Name &name, std::function<void()> onKeyDown,
                                         std::function<void()> onKeyUp)
{
    meet(name);
    const std::uint64_t id = ++m_lastStreamId;
    if (onKeyDown)
        findOrAdd(m_keyDownStreams, name).emplace(id, std::move(onKeyDown));
    if (onKeyUp)
        findOrAdd(m_keyUpStreams, name).emplace(id, std::move(onKeyUp));
    if (const std::optional<Shortcut> shortcut = readShortcut(name))
        activate(*shortcut, name);
    return KeyEventStream(m_self, id);
}

KeyEventStream ShortcutCenter::keyEvents(const Name &name, std::function<void(EventType)> onEvent)
{
    return addStream(
        name, [onEvent] { onEvent(EventType::keyDown); }, [onEvent] { onEvent(EventType::keyUp); });
}

KeyEventStream ShortcutCenter::keyEvents(EventType type, const Name &name, std::function<void(EventType)> onEvent)
{
    return keyEvents(name, [type, onEvent](EventType event) {
        if (event == type)
            onEvent(event);
    });
}

KeyEventStream ShortcutCenter::keySignals(EventType type, const Name &name, std::function<void()> onSignal)
{
    if (type == EventType::keyDown)
        return addStream(name, std::move(onSignal), nullptr);
    return addStream(name, nullptr, std::move(onSignal));
}

void ShortcutCenter::endStream(std::uint64_t id)
{
    std::optional<Name> owner;
    for (NameTable<Feeders> *table : {&m_keyDownStreams, &m_keyUpStreams}) {
        for (auto &[name, feeders] : *table) {
            if (feeders.erase(id))
                owner = name;
        }
        std::erase_if(*table, [](const auto &entry) { return entry.second.empty(); });
    }
    if (!owner)
        return;
    if (const std::optional<Shortcut> shortcut = readShortcut(*owner);
        shortcut && !shortcutsInUse().contains(*shortcut))
        deactivate(*shortcut);
}

void ShortcutCenter::dispatch(Shortcut shortcut, EventType type)
{
    if (m_isPaused)
        return;
    // A snapshot: actions may add actions. Stream feeders are looked up again before each call, since one may
    // end another stream.
    const auto actions = type == EventType::keyDown ? m_keyDownActions : m_keyUpActions;
    for (const auto &[name, list] : actions) {
        if (readShortcut(name) != shortcut)
            continue;
        for (const Action &action : list)
            action();
    }
    NameTable<Feeders> &streams = type == EventType::keyDown ? m_keyDownStreams : m_keyUpStreams;
    std::vector<std::pair<Name, std::uint64_t>> feederIds;
    for (const auto &[name, feeders] : streams) {
        if (readShortcut(name) != shortcut)
            continue;
        for (const auto &entry : feeders)
            feederIds.emplace_back(name, entry.first);
    }
    for (const auto &[name, id] : feederIds) {
        Feeders *feeders = find(streams, name);
        if (!feeders || !feeders->contains(id))
            continue;
        const std::function<void()> feeder = feeders->at(id);
        feeder();
    }
}

void ShortcutCenter::setShortcutsEnabled(bool enabled)
{
    if (enabled == m_shortcutsEnabled)
        return;
    m_shortcutsEnabled = enabled;
    refreshEventRouting();
}

void ShortcutCenter::setMenuTracking(bool tracking)
{
    if (tracking == m_menuTracking)
        return;
    m_menuTracking = tracking;
    refreshEventRouting();
}

void ShortcutCenter::refreshEventRouting()
{
    using Routing = HotKeyRegistry::Routing;
    if (!m_shortcutsEnabled)
        m_hotKeys.setRouting(Routing::disabled);
    else
        m_hotKeys.setRouting(m_menuTracking ? Routing::menuOpen : Routing::normal);
}

KeyEventStream::KeyEventStream(KeyEventStream &&other) noexcept
    : m_center(std::exchange(other.m_center, {})), m_id(other.m_id)
{}

KeyEventStream &KeyEventStream::operator=(KeyEventStream &&other) noexcept
{
    if (this != &other) {
        end();
        m_center = std::exchange(other.m_center, {});
        m_id = other.m_id;
    }
    return *this;
}

KeyEventStream::~KeyEventStream()
{
    end();
}

void KeyEventStream::end()
{
    if (const std::shared_ptr<ShortcutCenter *> center = std::exchange(m_center, {}).lock())
        (*center)->endStream(m_id);
}

} // namespace KeyboardShortcuts
