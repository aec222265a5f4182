#include "platform/desktop_url_opener.h"

#include <QDesktopServices>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcDesktop, "scrivlet.desktop")

namespace Platform {

void DesktopUrlOpener::open(const QUrl &url)
{
    if (!QDesktopServices::openUrl(url))
        qCWarning(lcDesktop) << "no handler for" << url.toDisplayString();
}

} // namespace Platform
