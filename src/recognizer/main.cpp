// scrivlet-recognizer: Scrivlet's text recognition and barcode detection in a process of their own, so that a crash
// inside an engine ends only this helper. Scrivlet starts it (platform/recognizer_process.h) and sends it one
// request at a time on standard input (platform/recognizer_protocol.h); the helper ends when that input does.
#include "recognizer/confinement.h"
#include "recognizer/recognizer_service.h"

#include "platform/openmp_thread_limit.h"

#include <QLoggingCategory>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

Q_LOGGING_CATEGORY(lcRecognizer, "scrivlet.recognizer")

// A capture of a few megabytes then crosses in a few wake-ups rather than one per 64 KiB.
constexpr int pipeBytes = 1 << 20;

std::optional<pid_t> pidOf(const char *text)
{
    pid_t pid = 0;
    const char *end = text + std::strlen(text);
    const auto [at, error] = std::from_chars(text, end, pid);
    if (error != std::errc() || at != end || pid <= 0)
        return std::nullopt;
    return pid;
}

} // namespace

int main(int argc, char **argv)
{
    Platform::restartWithSingleThreadedOpenMP(argv);
    std::optional<pid_t> parent;
    QString languages = QStringLiteral("eng");
    bool usage = false;
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 < argc && std::strcmp(argv[i], "--parent") == 0 && (parent = pidOf(argv[i + 1])))
            continue;
        if (i + 1 < argc && std::strcmp(argv[i], "--languages") == 0 && argv[i + 1][0] != '\0') {
            languages = QString::fromLocal8Bit(argv[i + 1]);
            continue;
        }
        usage = true;
    }
    if (usage) {
        std::fprintf(stderr, "usage: scrivlet-recognizer [--parent PID] [--languages LANG[+LANG...]]\n");
        return 2;
    }
    if (!Recognizer::endWithParent(parent))
        return 0;
    Recognizer::dropRights();
    const Recognizer::NetworkIsolation network = Recognizer::isolateNetwork();
    qCDebug(lcRecognizer) << Recognizer::describe(network);
    // Best effort: a pipe keeps its size when the user's pipe quota is spent.
    ::fcntl(STDIN_FILENO, F_SETPIPE_SZ, pipeBytes);
    ::fcntl(STDOUT_FILENO, F_SETPIPE_SZ, pipeBytes);

    Recognizer::Engines engines = Recognizer::Engines::load(languages);
    return Recognizer::serveRequests(STDIN_FILENO, STDOUT_FILENO, engines);
}
