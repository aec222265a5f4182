#include "keyboard_shortcuts/desktop/gsettings_support.h"

#include <QCoreApplication>

#include <cstring>

using namespace Qt::Literals::StringLiterals;

namespace KeyboardShortcuts::GSettingsSupport {
namespace {

constexpr QLatin1StringView customKeyBindingsFolder =
    "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/"_L1;

// A path element of letters, digits, '-' and '_' only: what every dconf and GNOME Settings version accepts.
QString pathElement(QStringView text)
{
    QString element;
    element.reserve(text.size());
    for (const QChar character : text) {
        const bool kept =
            (character.unicode() < 0x80 && character.isLetterOrNumber()) || character == u'-' || character == u'_';
        element.append(kept ? character : u'_');
    }
    return element;
}

QString ownPrefix()
{
    return customKeyBindingsFolder + pathElement(QCoreApplication::applicationName()) + u'-';
}

} // namespace

Schema lookUp(const char *schemaId)
{
    GSettingsSchemaSource *source = g_settings_schema_source_get_default(); // not ours; null without schemas
    return Schema(source ? g_settings_schema_source_lookup(source, schemaId, TRUE) : nullptr);
}

bool hasKeyOfType(GSettingsSchema *schema, const char *name, const GVariantType *type)
{
    if (!g_settings_schema_has_key(schema, name))
        return false;
    const SchemaKey key(g_settings_schema_get_key(schema, name));
    return g_variant_type_equal(g_settings_schema_key_get_value_type(key.get()), type);
}

bool isValidPath(const char *path)
{
    const std::size_t length = std::strlen(path);
    return length >= 2 && path[0] == '/' && path[length - 1] == '/' && !std::strstr(path, "//");
}

void keepRunningWhenTheBusCloses()
{
    if (GDBusConnection *bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
        g_dbus_connection_set_exit_on_close(bus, FALSE);
        g_object_unref(bus);
    }
}

QString ownCustomKeyBindingPath(QStringView shortcutName)
{
    return ownPrefix() + pathElement(shortcutName) + u'/';
}

bool isOwnCustomKeyBinding(QStringView path)
{
    const QString prefix = ownPrefix();
    return path.size() > prefix.size() + 1 && path.startsWith(prefix) && path.endsWith(u'/') &&
           !path.sliced(prefix.size()).chopped(1).contains(u'/');
}

} // namespace KeyboardShortcuts::GSettingsSupport
