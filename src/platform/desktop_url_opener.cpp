#include "platform/desktop_url_opener.h"

#include <QDesktopServices>
#include <QLoggingCategory>

// GLib names struct members "signals", which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

Q_LOGGING_CATEGORY(lcDesktop, "scrivlet.desktop")

namespace Platform {

void DesktopUrlOpener::open(const QUrl &url)
{
    if (!QDesktopServices::openUrl(url))
        qCWarning(lcDesktop) << "no handler for" << url.toDisplayString();
}

bool DesktopUrlOpener::canOpen(const QUrl &url) const
{
    // Web pages always have a handler somewhere; other schemes (software centres) often do not.
    if (url.scheme() == u"http" || url.scheme() == u"https")
        return true;
    GAppInfo *handler = g_app_info_get_default_for_uri_scheme(url.scheme().toUtf8().constData());
    if (!handler)
        return false;
    g_object_unref(handler);
    return true;
}

} // namespace Platform
