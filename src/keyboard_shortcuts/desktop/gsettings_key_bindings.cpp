#include "keyboard_shortcuts/desktop/gsettings_key_bindings.h"

#include "keyboard_shortcuts/desktop/gsettings_support.h"

#include <QStringList>

#include <array>
#include <cstring>

namespace KeyboardShortcuts {
namespace {

using namespace GSettingsSupport;

constexpr std::array keyBindingSchemas{
    "org.gnome.desktop.wm.keybindings",
    "org.gnome.mutter.keybindings",
    "org.gnome.mutter.wayland.keybindings",
    "org.gnome.shell.keybindings",
    "org.gnome.settings-daemon.plugins.media-keys",
};

// The text of every key of type "as" or "s"; keys of other types are not bindings.
QStringList accelerators(GSettings *settings, GSettingsSchema *schema)
{
    QStringList texts;
    const Strv keys(g_settings_schema_list_keys(schema));
    for (gchar **name = keys.get(); *name; ++name) {
        if (std::strcmp(*name, customKeyBindingsKey) == 0)
            continue; // paths, not bindings
        const bool isList = hasKeyOfType(schema, *name, G_VARIANT_TYPE_STRING_ARRAY);
        if (!isList && !hasKeyOfType(schema, *name, G_VARIANT_TYPE_STRING))
            continue;
        const Variant value(g_settings_get_value(settings, *name));
        if (!isList) {
            texts.append(QString::fromUtf8(g_variant_get_string(value.get(), nullptr)));
            continue;
        }
        for (gsize index = 0, count = g_variant_n_children(value.get()); index < count; ++index) {
            const Variant item(g_variant_get_child_value(value.get(), index));
            texts.append(QString::fromUtf8(g_variant_get_string(item.get(), nullptr)));
        }
    }
    return texts;
}

// The user's own commands: media-keys lists the paths at which the relocatable schema holds each one. The
// program's own entries (GnomeCustomKeyBindingService) are its hot keys, not the desktop's.
QStringList customAccelerators(GSettings *mediaKeys)
{
    QStringList texts;
    const Schema schema = lookUp(customKeyBindingSchema);
    if (!schema)
        return texts;
    const Strv paths(g_settings_get_strv(mediaKeys, customKeyBindingsKey));
    for (gchar **path = paths.get(); *path; ++path) {
        if (!isValidPath(*path) || isOwnCustomKeyBinding(QString::fromUtf8(*path)))
            continue;
        const Settings settings(g_settings_new_full(schema.get(), nullptr, *path));
        texts += accelerators(settings.get(), schema.get());
    }
    return texts;
}

class GSettingsKeyBindings final : public DesktopKeyBindings {
public:
    std::vector<Shortcut> enabledBindings(const KeyNames &keyNames) const override
    {
        keepRunningWhenTheBusCloses();
        QStringList texts;
        for (const char *schemaId : keyBindingSchemas) {
            const Schema schema = lookUp(schemaId);
            if (!schema || !g_settings_schema_get_path(schema.get()))
                continue; // not installed, or relocatable: GSettings would abort
            // A new object reads the values as they are now; GSettings fills in the defaults.
            const Settings settings(g_settings_new_full(schema.get(), nullptr, nullptr));
            texts += accelerators(settings.get(), schema.get());
            if (std::strcmp(schemaId, mediaKeysSchema) == 0 &&
                hasKeyOfType(schema.get(), customKeyBindingsKey, G_VARIANT_TYPE_STRING_ARRAY))
                texts += customAccelerators(settings.get());
        }
        // "disabled" and "" switch a binding off; like any text that is not an accelerator, they give none.
        std::vector<Shortcut> bindings;
        for (const QString &text : std::as_const(texts)) {
            if (const std::optional<Shortcut> shortcut = keyNames.fromAccelerator(text))
                bindings.push_back(*shortcut);
        }
        return bindings;
    }
};

} // namespace

std::unique_ptr<DesktopKeyBindings> makeGSettingsKeyBindings()
{
    return std::make_unique<GSettingsKeyBindings>();
}

} // namespace KeyboardShortcuts
