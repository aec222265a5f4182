#include "keyboard_shortcuts/desktop/gnome_custom_key_binding_service.h"

#include "keyboard_shortcuts/desktop/gsettings_support.h"

#include <QLoggingCategory>
#include <QSet>

#include <algorithm>
#include <vector>

Q_DECLARE_LOGGING_CATEGORY(lcKeyboardShortcuts)

namespace KeyboardShortcuts {
namespace {

using namespace GSettingsSupport;

class GnomeCustomKeyBindingService;

// Holds the entry at its path until dropped.
class CustomKeyBinding final : public HotKeyGrab {
public:
    CustomKeyBinding(GnomeCustomKeyBindingService &service, QByteArray path)
        : m_service(service), m_path(std::move(path))
    {}
    ~CustomKeyBinding() override;
    CustomKeyBinding(const CustomKeyBinding &) = delete;
    CustomKeyBinding &operator=(const CustomKeyBinding &) = delete;

private:
    GnomeCustomKeyBindingService &m_service;
    QByteArray m_path;
};

class GnomeCustomKeyBindingService final : public HotKeyService {
public:
    GnomeCustomKeyBindingService(Schema entrySchema, Settings mediaKeys, KeyNames keyNames)
        : m_entrySchema(std::move(entrySchema)), m_mediaKeys(std::move(mediaKeys)), m_keyNames(std::move(keyNames))
    {
        keepRunningWhenTheBusCloses();
        QSet<QByteArray> removed; // remove() takes every copy of a path off the list at once
        for (const QByteArray &path : listedPaths()) {
            if (!removed.contains(path) && isOwnCustomKeyBinding(QString::fromUtf8(path))) {
                removed.insert(path);
                qCInfo(lcKeyboardShortcuts) << "removing the custom shortcut left over at" << path;
                remove(path);
            }
        }
    }

    // Writes still under way when the program ends would be lost: dropped grabs must reach the settings.
    ~GnomeCustomKeyBindingService() override { g_settings_sync(); }

    std::unique_ptr<HotKeyGrab> grab(Shortcut shortcut, HotKeyHandlers handlers) override
    {
        if (handlers.name.isEmpty() || !handlers.command || handlers.command->arguments.isEmpty()) {
            qCWarning(lcKeyboardShortcuts).noquote()
                << "GNOME binds shortcuts to commands only, and the shortcut" << handlers.name
                << "has none (KeyboardShortcuts::setDesktopCommand); it is off";
            return nullptr;
        }
        const std::optional<QString> accelerator = m_keyNames.toAccelerator(shortcut);
        if (!accelerator) {
            qCWarning(lcKeyboardShortcuts).noquote()
                << "GNOME cannot bind key code" << shortcut.carbonKeyCode << "(it has no keysym name); the shortcut"
                << handlers.name << "is off";
            return nullptr;
        }
        const QByteArray path = ownCustomKeyBindingPath(handlers.name).toUtf8();
        if (m_bound.contains(path) || !isValidPath(path.constData()))
            return nullptr;
        if (!write(path, *handlers.command, *accelerator)) {
            qCWarning(lcKeyboardShortcuts).noquote()
                << "GNOME's custom shortcuts cannot be written; the shortcut" << handlers.name << "is off";
            remove(path);
            return nullptr;
        }
        m_bound.insert(path);
        return std::make_unique<CustomKeyBinding>(*this, path);
    }

    void release(const QByteArray &path)
    {
        m_bound.remove(path);
        remove(path);
    }

private:
    std::vector<QByteArray> listedPaths() const
    {
        std::vector<QByteArray> paths;
        const Strv listed(g_settings_get_strv(m_mediaKeys.get(), customKeyBindingsKey));
        for (gchar **path = listed.get(); *path; ++path)
            paths.emplace_back(*path);
        return paths;
    }

    void setListedPaths(const std::vector<QByteArray> &paths)
    {
        std::vector<const char *> strings;
        for (const QByteArray &path : paths)
            strings.push_back(path.constData());
        strings.push_back(nullptr);
        g_settings_set_strv(m_mediaKeys.get(), customKeyBindingsKey, strings.data());
    }

    // The entry first, then the list: the settings daemon reads an entry when its path appears.
    bool write(const QByteArray &path, const DesktopCommand &command, const QString &accelerator)
    {
        if (!g_settings_is_writable(m_mediaKeys.get(), customKeyBindingsKey))
            return false;
        const Settings entry(g_settings_new_full(m_entrySchema.get(), nullptr, path.constData()));
        const std::pair<const char *, QString> values[] = {
            {"name", command.title},
            {"command", command.commandLine()},
            {"binding", accelerator},
        };
        for (const auto &[key, value] : values) {
            if (!g_settings_set_string(entry.get(), key, value.toUtf8().constData()))
                return false;
        }
        std::vector<QByteArray> paths = listedPaths();
        if (std::ranges::find(paths, path) != paths.end())
            return true;
        paths.push_back(path);
        setListedPaths(paths);
        return true;
    }

    // Off the list first, then the entry, so that the daemon never runs a half-removed one; every copy of the
    // path goes.
    void remove(const QByteArray &path)
    {
        std::vector<QByteArray> paths = listedPaths();
        if (std::erase(paths, path) > 0)
            setListedPaths(paths);
        const Settings entry(g_settings_new_full(m_entrySchema.get(), nullptr, path.constData()));
        const Strv keys(g_settings_schema_list_keys(m_entrySchema.get()));
        for (gchar **key = keys.get(); *key; ++key)
            g_settings_reset(entry.get(), *key);
    }

    Schema m_entrySchema;
    Settings m_mediaKeys;
    KeyNames m_keyNames;
    QSet<QByteArray> m_bound;
};

CustomKeyBinding::~CustomKeyBinding()
{
    m_service.release(m_path);
}

} // namespace

std::unique_ptr<HotKeyService> makeGnomeCustomKeyBindingService(KeyNames keyNames)
{
    Schema mediaKeys = lookUp(mediaKeysSchema);
    Schema entry = lookUp(customKeyBindingSchema);
    if (!mediaKeys || !entry || !g_settings_schema_get_path(mediaKeys.get()) ||
        !hasKeyOfType(mediaKeys.get(), customKeyBindingsKey, G_VARIANT_TYPE_STRING_ARRAY))
        return nullptr;
    for (const char *key : {"name", "command", "binding"}) {
        if (!hasKeyOfType(entry.get(), key, G_VARIANT_TYPE_STRING))
            return nullptr;
    }
    Settings settings(g_settings_new_full(mediaKeys.get(), nullptr, nullptr));
    return std::make_unique<GnomeCustomKeyBindingService>(std::move(entry), std::move(settings), std::move(keyNames));
}

} // namespace KeyboardShortcuts
