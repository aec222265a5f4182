// A request as the recognition helper reads it from its standard input: any bytes. What is malformed must be refused
// whole; what is well formed must say the same when encoded again, and small captures are served with a reply that
// Scrivlet accepts for that job.
#include "platform/recognizer_protocol.h"
#include "recognizer/recognizer_service.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

// The engines take milliseconds on a capture this small, and seconds on a screenful.
constexpr qsizetype maxServedPixels = 64 * 64;

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // Loaded once, as the helper does: the text model takes most of a second.
    static Recognizer::Engines engines = Recognizer::Engines::load();

    const QByteArrayView bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    std::optional<Platform::RecognizerRequest> request = Platform::decodeRequest(bytes);
    if (!request)
        return 0;
    const std::optional<Platform::EncodedRequest> again = Platform::encodeRequest(request->job, request->image);
    if (!again || again->joined() != bytes.toByteArray())
        fail("the request decodes to something else");
    // The abort job ends the helper by design.
    if (request->job == Platform::RecognizerJob::abortForTesting ||
        qsizetype(request->image.width()) * request->image.height() > maxServedPixels)
        return 0;

    const Platform::RecognizerJob job = request->job;
    const std::optional<Platform::RecognizerReply> reply =
        Platform::decodeReply(Recognizer::answer(std::move(*request), engines));
    if (!reply)
        fail("Scrivlet refuses the reply");
    if ((job == Platform::RecognizerJob::text) != std::holds_alternative<std::vector<QString>>(*reply))
        fail("the reply answers another job");
    return 0;
}
