// Feeds any bytes to the running instance's reading of a message from a later process (any process of the user may
// connect to its socket). What it takes must be valid URLs that a later process would send exactly so.
#include "app/instance_message.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QUrl>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

[[noreturn]] void fail(const char *what, const QByteArray &message)
{
    std::fprintf(stderr, "%s:\n%s\n", what, message.toPercentEncoding(" \n").constData());
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray message(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const std::optional<QList<QUrl>> urls = decodeInstanceMessage(message);
    if (!urls) {
        if (message.size() <= maximumInstanceMessageSize)
            fail("a message within the size limit was refused", message);
        return 0;
    }
    for (const QUrl &url : *urls) {
        if (!url.isValid() || url.isEmpty())
            fail("a line was taken for a URL that is none", message);
    }

    // A later process encodes what it forwards the same way: the instance must read back the same requests.
    const QByteArray forwarded = encodeInstanceMessage(*urls);
    if (forwarded.size() > maximumInstanceMessageSize)
        return 0; // longer once escaped; a later process does not send it
    if (decodeInstanceMessage(forwarded) != urls)
        fail("the URLs read from this message read back otherwise once encoded again", message);
    return 0;
}
