#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QUrl>

#include <optional>

// What a later process sends the running instance: its URL requests, one encoded URL per line.

// A request is a few URLs; a message larger than this is not one of ours.
constexpr qsizetype maximumInstanceMessageSize = 1024 * 1024;

[[nodiscard]] QByteArray encodeInstanceMessage(const QList<QUrl> &urls);
// Empty when the message is too large; lines that are not URLs are left out. Each URL comes back in the form
// encodeInstanceMessage() sends it in, so that decoding what it sends gives the same list.
[[nodiscard]] std::optional<QList<QUrl>> decodeInstanceMessage(QByteArrayView message);
