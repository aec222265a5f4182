// A URL request as it reaches Scrivlet: a command-line argument, read as main() reads it, or an encoded URL. Either
// must ask for what its path asks for, and the same once forwarded to the running instance.
#include "app/instance_message.h"
#include "app/url_request.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

// The request worked out again from the path, by other means than urlRequest().
std::optional<UrlRequest> requestOfPath(const QString &path)
{
    const std::u16string text = path.toStdU16String();
    const std::size_t start = text.find_first_not_of(u'/');
    const std::u16string rest = start == std::u16string::npos ? std::u16string() : text.substr(start);
    if (rest == u"_Grab_")
        return UrlRequest::grab;
    if (rest == u"_ReadQRCode_")
        return UrlRequest::readQRCode;
    if (rest == u"_clear-history_")
        return UrlRequest::clearHistory;
    return std::nullopt;
}

[[noreturn]] void fail(const char *what, const QUrl &url)
{
    std::fprintf(stderr, "%s: %s\n", what, url.toEncoded().constData());
    std::abort();
}

void check(const QUrl &url)
{
    const std::optional<UrlRequest> request = urlRequest(url);
    if (request != requestOfPath(url.path()))
        fail("the request is not the one of the path", url);

    // A later process hands its requests to the running instance, which must carry out exactly these.
    const std::optional<QList<QUrl>> forwarded = decodeInstanceMessage(encodeInstanceMessage({url}));
    QList<UrlRequest> received;
    for (const QUrl &forwardedUrl : forwarded.value_or(QList<QUrl>()))
        if (const std::optional<UrlRequest> r = urlRequest(forwardedUrl))
            received.append(*r);
    if (received != (request ? QList<UrlRequest>{*request} : QList<UrlRequest>()))
        fail("the running instance receives another request", url);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));

    // An argument ends at its first NUL, as argv[i] does.
    const QUrl argument(QString::fromLocal8Bit(bytes.constData()), QUrl::StrictMode);
    if (argument.isValid())
        check(argument);

    const QUrl encoded = QUrl::fromEncoded(bytes, QUrl::StrictMode);
    if (encoded.isValid())
        check(encoded);
    return 0;
}
