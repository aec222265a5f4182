// A request as the recognition helper reads it from its standard input: any bytes. What is malformed must be refused
// whole; what is well formed must say the same when encoded again, and small captures are served with a reply that
// Scrivlet accepts for that job.
#include "platform/recognizer_protocol.h"
#include "recognizer/recognizer_service.h"

#include <QByteArray>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

namespace {

// The engines take milliseconds on a capture this small, and seconds on a screenful.
constexpr qsizetype maxServedPixels = 64 * 64;

[[noreturn]] void fail(const char *what)
{
    std::fprintf(stderr, "%s\n", what);
    std::abort();
}

// Scrivlet must accept the helper's reply, and it must answer the job asked.
const char *replyProblem(Platform::RecognizerJob job, const QByteArray &answer)
{
    const std::optional<Platform::RecognizerReply> reply = Platform::decodeReply(answer);
    if (!reply)
        return "Scrivlet refuses the reply";
    if ((job == Platform::RecognizerJob::text) != std::holds_alternative<std::vector<QString>>(*reply))
        return "the reply answers another job";
    return nullptr;
}

// ZXing 1.4 as Debian builds it keeps assertions that some images trip (regressions/ has one); Scrivlet runs the
// engines in a helper process so that such an abort ends only that job. Barcode jobs run in a child here for the
// same reason: its SIGABRT is the library's and is accepted, while a sanitizer report or a refused reply, which end
// it with a status, fail the fuzzer.
void answerInChild(Platform::RecognizerRequest request, Recognizer::Engines &engines)
{
    const Platform::RecognizerJob job = request.job;
    const pid_t child = fork();
    if (child < 0)
        fail("fork failed");
    if (child == 0) {
        // libFuzzer's own handler would report the abort as a crash and exit with a status.
        std::signal(SIGABRT, SIG_DFL);
        const char *problem = replyProblem(job, Recognizer::answer(std::move(request), engines));
        if (problem)
            std::fprintf(stderr, "%s\n", problem);
        _exit(problem ? 2 : 0);
    }
    int status = 0;
    pid_t waited = 0;
    do // libFuzzer's timer signal may interrupt the wait
        waited = waitpid(child, &status, 0);
    while (waited < 0 && errno == EINTR);
    if (waited != child)
        fail("waitpid failed");
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT)
        return;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        fail("the barcode job failed in the child");
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

    if (request->job == Platform::RecognizerJob::barcodes) {
        answerInChild(std::move(*request), engines);
        return 0;
    }
    const Platform::RecognizerJob job = request->job;
    if (const char *problem = replyProblem(job, Recognizer::answer(std::move(*request), engines)))
        fail(problem);
    return 0;
}
