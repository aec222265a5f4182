#include "app/url_request.h"

std::optional<UrlRequest> urlRequest(const QUrl &url)
{
    const QString fullPath = url.path();
    QStringView path = fullPath;
    while (path.startsWith(QLatin1Char('/')))
        path = path.mid(1);
    if (path == u"_Grab_")
        return UrlRequest::grab;
    if (path == u"_ReadQRCode_")
        return UrlRequest::readQRCode;
    if (path == u"_clear-history_")
        return UrlRequest::clearHistory;
    return std::nullopt;
}
