#include "keyboard_shortcuts/desktop/gsettings_key_bindings.h"

#include <QStringList>

// GLib names struct members "signals", which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

#include <array>
#include <cstring>

namespace KeyboardShortcuts {
namespace {

struct ObjectUnref {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
struct SchemaUnref {
    void operator()(GSettingsSchema *schema) const noexcept { g_settings_schema_unref(schema); }
};
struct SchemaKeyUnref {
    void operator()(GSettingsSchemaKey *key) const noexcept { g_settings_schema_key_unref(key); }
};
struct VariantUnref {
    void operator()(GVariant *variant) const noexcept { g_variant_unref(variant); }
};
struct StrvFree {
    void operator()(gchar **strings) const noexcept { g_strfreev(strings); }
};
using Settings = std::unique_ptr<GSettings, ObjectUnref>;
using Schema = std::unique_ptr<GSettingsSchema, SchemaUnref>;
using SchemaKey = std::unique_ptr<GSettingsSchemaKey, SchemaKeyUnref>;
using Variant = std::unique_ptr<GVariant, VariantUnref>;
using Strv = std::unique_ptr<gchar *, StrvFree>;

constexpr std::array keyBindingSchemas{
    "org.gnome.desktop.wm.keybindings",
    "org.gnome.mutter.keybindings",
    "org.gnome.mutter.wayland.keybindings",
    "org.gnome.shell.keybindings",
    "org.gnome.settings-daemon.plugins.media-keys",
};
constexpr const char *mediaKeysSchema = "org.gnome.settings-daemon.plugins.media-keys";
constexpr const char *customKeyBindingsKey = "custom-keybindings";
constexpr const char *customKeyBindingSchema = "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";

// g_settings_new() aborts the process for a schema that is not installed; a lookup answers null instead.
Schema lookUp(const char *schemaId)
{
    GSettingsSchemaSource *source = g_settings_schema_source_get_default(); // not ours; null without schemas
    return Schema(source ? g_settings_schema_source_lookup(source, schemaId, TRUE) : nullptr);
}

// GSettings aborts for a relocatable schema at a path that is not "/" … "/" without empty elements.
bool isValidPath(const char *path)
{
    const std::size_t length = std::strlen(path);
    return length >= 2 && path[0] == '/' && path[length - 1] == '/' && !std::strstr(path, "//");
}

bool hasKeyOfType(GSettingsSchema *schema, const char *name, const GVariantType *type)
{
    if (!g_settings_schema_has_key(schema, name))
        return false;
    const SchemaKey key(g_settings_schema_get_key(schema, name));
    return g_variant_type_equal(g_settings_schema_key_get_value_type(key.get()), type);
}

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

// The user's own commands: media-keys lists the paths at which the relocatable schema holds each one.
QStringList customAccelerators(GSettings *mediaKeys)
{
    QStringList texts;
    const Schema schema = lookUp(customKeyBindingSchema);
    if (!schema)
        return texts;
    const Strv paths(g_settings_get_strv(mediaKeys, customKeyBindingsKey));
    for (gchar **path = paths.get(); *path; ++path) {
        if (!isValidPath(*path))
            continue;
        const Settings settings(g_settings_new_full(schema.get(), nullptr, *path));
        texts += accelerators(settings.get(), schema.get());
    }
    return texts;
}

// dconf watches the settings it reads through GLib's shared session bus connection, which by default ends the
// process with SIGTERM when the bus goes away. A Qt program decides itself when it ends.
void keepRunningWhenTheBusCloses()
{
    if (GDBusConnection *bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
        g_dbus_connection_set_exit_on_close(bus, FALSE);
        g_object_unref(bus);
    }
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
