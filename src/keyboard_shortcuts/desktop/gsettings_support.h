#pragma once

// GLib names struct members "signals", which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

#include <QString>
#include <QStringView>

#include <memory>

// What the GSettings readers and writers of the desktop folder share: owners of GLib objects, the media-keys
// schema's names, and the paths of the program's own custom keybindings.
namespace KeyboardShortcuts::GSettingsSupport {

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

inline constexpr const char *mediaKeysSchema = "org.gnome.settings-daemon.plugins.media-keys";
inline constexpr const char *customKeyBindingsKey = "custom-keybindings";
inline constexpr const char *customKeyBindingSchema = "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";

// Null for a schema that is not installed, where g_settings_new() would abort the process.
Schema lookUp(const char *schemaId);

bool hasKeyOfType(GSettingsSchema *schema, const char *name, const GVariantType *type);

// GSettings aborts for a relocatable schema at a path that is not "/" … "/" without empty elements.
bool isValidPath(const char *path);

// dconf watches the settings it reads through GLib's shared session bus connection, which by default ends the
// process with SIGTERM when the bus goes away. A Qt program decides itself when it ends.
void keepRunningWhenTheBusCloses();

// Where the program files the custom keybinding of a shortcut name: under media-keys' custom-keybindings, named
// after QCoreApplication::applicationName() and the name, e.g. ".../custom-keybindings/scrivlet-toggleUnicornMode/".
QString ownCustomKeyBindingPath(QStringView shortcutName);
// Whether a path is one that ownCustomKeyBindingPath() gives, for any name: the program's own binding is no
// conflict with itself.
bool isOwnCustomKeyBinding(QStringView path);

} // namespace KeyboardShortcuts::GSettingsSupport
