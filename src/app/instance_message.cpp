#include "app/instance_message.h"

QByteArray encodeInstanceMessage(const QList<QUrl> &urls)
{
    QByteArray data;
    for (const QUrl &url : urls)
        data += url.toEncoded() + '\n';
    return data;
}

std::optional<QList<QUrl>> decodeInstanceMessage(QByteArrayView message)
{
    if (message.size() > maximumInstanceMessageSize)
        return std::nullopt;
    QList<QUrl> urls;
    while (!message.isEmpty()) {
        const qsizetype end = message.indexOf('\n');
        const QByteArrayView line = end < 0 ? message : message.first(end);
        message = end < 0 ? QByteArrayView() : message.sliced(end + 1);
        if (line.isEmpty())
            continue;
        const QUrl url = QUrl::fromEncoded(line.toByteArray(), QUrl::StrictMode);
        if (!url.isValid())
            continue;
        // Taken in the form it is sent in: QUrl keeps some characters as written (a second '#' in the fragment),
        // which would make a request unequal to itself once forwarded.
        urls.append(QUrl::fromEncoded(url.toEncoded(), QUrl::StrictMode));
    }
    return urls;
}
