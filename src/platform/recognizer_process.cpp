#include "platform/recognizer_process.h"

#include "platform/recognizer_protocol.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QPromise>
#include <QTimer>
#include <QVariant>

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <new>
#include <utility>

using namespace std::chrono_literals;

namespace Platform {
namespace {

Q_LOGGING_CATEGORY(lcRecognition, "scrivlet.recognition")

// A helper that dies before it is ready most likely cannot run at all: it is started again after a pause that
// doubles each time, so that a broken installation does not spin.
constexpr std::chrono::milliseconds firstPause = 500ms;
constexpr std::chrono::milliseconds longestPause = 60s;

// A QProcess is never deleted inside one of its own signals.
struct DeleteLater {
    void operator()(QObject *object) const { object->deleteLater(); }
};

struct Job {
    RecognizerJob kind = RecognizerJob::text;
    EncodedRequest request;
    std::function<void(std::optional<RecognizerReply>)> settle; // empty: the helper failed, nothing found
    QString languages; // of a text job; empty for the others, which any helper serves
};

// The job for an image and the future it resolves; no job when the image cannot be read, and the future is then
// already resolved with nothing.
template <typename Result>
std::pair<QFuture<Result>, std::optional<Job>> makeJob(RecognizerJob kind, const QImage &image)
{
    auto promise = std::make_shared<QPromise<Result>>();
    promise->start();
    QFuture<Result> future = promise->future();
    std::optional<EncodedRequest> request;
    try {
        request = encodeRequest(kind, image);
    } catch (const std::bad_alloc &) {
        // A conversion of an absurdly large capture; the caller sees "nothing found".
    }
    if (!request) {
        promise->addResult(Result{});
        promise->finish();
        return {future, std::nullopt};
    }
    Job job{kind,
            std::move(*request),
            [promise](std::optional<RecognizerReply> reply) {
                Result result{};
                if (reply)
                    if (Result *found = std::get_if<Result>(&*reply))
                        result = std::move(*found);
                promise->addResult(std::move(result));
                promise->finish();
            },
            {}};
    return {future, std::move(job)};
}

constexpr auto pixelsProperty = "scrivletPixels";

QString inSeconds(std::chrono::milliseconds duration)
{
    return QString::number(double(duration.count()) / 1000.0) + QStringLiteral(" s");
}

} // namespace

// The helper and the jobs for it; everything here runs on the client's thread but post() and processId().
class RecognizerProcess::Session final : public QObject {
public:
    Session(RecognizerProcess &owner, const QString &program, std::chrono::milliseconds timeLimit)
        : m_owner(owner), m_program(program), m_timeLimit(timeLimit), m_jobTimer(this), m_restartTimer(this)
    {
        m_jobTimer.setSingleShot(true);
        m_jobTimer.setTimerType(Qt::PreciseTimer); // a coarse timer may fire 5 % early
        m_restartTimer.setSingleShot(true);
        connect(&m_jobTimer, &QTimer::timeout, this, [this] {
            if (m_ready) {
                fail(QStringLiteral("the recognition helper timed out after %1").arg(inSeconds(m_timeLimit)));
                replaceHelper();
                return;
            }
            fail(QStringLiteral("the recognition helper was not ready after %1").arg(inSeconds(m_timeLimit)));
            dropHelper();
            launchAfterPause();
            sendNext();
        });
        connect(&m_restartTimer, &QTimer::timeout, this, &Session::launch);
    }

    void post(Job job)
    {
        QMetaObject::invokeMethod(
            this,
            [this, job = std::move(job)]() mutable {
                if (m_stopped)
                    return;
                m_queue.push_back(std::move(job));
                sendNext();
            },
            Qt::QueuedConnection);
    }

    [[nodiscard]] std::optional<qint64> processId() const
    {
        const qint64 pid = m_pid;
        return pid ? std::optional(pid) : std::nullopt;
    }

    // Starts a helper; when that fails, says so and tries again later.
    void launch()
    {
        if (startHelper())
            return;
        qCWarning(lcRecognition).noquote() << "cannot start the recognition helper:" << m_startError;
        launchAfterPause();
    }

    void stop()
    {
        m_stopped = true;
        m_jobTimer.stop();
        m_restartTimer.stop();
        dropHelper();
        m_current.reset();
        m_queue.clear(); // their promises go unfinished, which cancels the futures
    }

private:
    bool startHelper()
    {
        m_restartTimer.stop();
        m_process.reset(new QProcess);
        m_process->setProgram(m_program);
        m_process->setArguments({QStringLiteral("--parent"), QString::number(QCoreApplication::applicationPid()),
                                 QStringLiteral("--languages"), m_languages});
        // libgomp reads the limit when it loads, before the helper's main() could set it.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("OMP_THREAD_LIMIT"), QStringLiteral("1"));
        m_process->setProcessEnvironment(environment);
        // The helper's diagnostics, and an engine's last words before an abort, belong in our log.
        m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        connect(m_process.get(), &QProcess::readyReadStandardOutput, this, &Session::readReply);
        connect(m_process.get(), &QProcess::finished, this, &Session::helperEnded);
        m_process->start();
        if (!m_process->waitForStarted()) {
            m_startError = m_process->errorString();
            dropHelper();
            return false;
        }
        m_pid = m_process->processId();
        m_ready = false;
        // Loading the engines has the same time limit as a job.
        m_jobTimer.start(m_timeLimit);
        return true;
    }

    // After a helper that never got ready.
    void launchAfterPause()
    {
        const int doublings = std::min(m_quickDeaths++, 16);
        m_restartTimer.start(std::min(firstPause * (1 << doublings), longestPause));
    }

    // Kills the helper, if one runs, and waits for the kernel to take it back.
    void dropHelper()
    {
        m_pid = 0;
        m_reply.clear();
        if (!m_process)
            return;
        m_process->disconnect(this);
        if (m_process->state() != QProcess::NotRunning) {
            m_process->kill();
            m_process->waitForFinished();
        }
        m_process.reset();
    }

    // After a failed job: the next one must not wait for, or be read by, a helper in an unknown state.
    void replaceHelper()
    {
        dropHelper();
        launch();
        sendNext();
    }

    void sendNext()
    {
        if (m_current || m_queue.empty())
            return;
        const QString &languages = m_queue.front().languages;
        if (!languages.isEmpty() && languages != m_languages) {
            // Models are loaded once, when the helper starts: other languages take another helper.
            dropHelper();
            m_languages = languages;
        }
        if (!m_process && !startHelper()) {
            // Nothing can be read: every job waiting finds nothing, each with its own line.
            while (!m_queue.empty()) {
                m_current = std::move(m_queue.front());
                m_queue.pop_front();
                fail(QStringLiteral("cannot start the recognition helper: %1").arg(m_startError));
            }
            launchAfterPause();
            return;
        }
        m_current = std::move(m_queue.front());
        m_queue.pop_front();
        m_reply.clear();
        const EncodedRequest &request = m_current->request;
        m_process->write(request.header);
        if (!request.pixels.isNull()) {
            // Written from the image's own memory, which the process object keeps until it is gone: it may hold
            // a reference to those bytes until then.
            m_process->setProperty(pixelsProperty, QVariant::fromValue(request.pixels));
            const QByteArrayView pixels = request.pixelBytes();
            m_process->write(QByteArray::fromRawData(pixels.data(), pixels.size()));
        }
        // A helper still loading its engines counts the time from when it is ready.
        if (m_ready)
            m_jobTimer.start(m_timeLimit);
    }

    void readReply()
    {
        m_reply += m_process->readAllStandardOutput();
        while (m_reply.size() >= RecognizerReplyHeader::size) {
            const auto header = decodeReplyHeader(QByteArrayView(m_reply).first(RecognizerReplyHeader::size));
            if (!header)
                return protocolError(QStringLiteral("malformed reply"));
            if (!header->job) {
                if (m_ready)
                    return protocolError(QStringLiteral("ready twice"));
                m_ready = true;
                m_quickDeaths = 0;
                m_reply.remove(0, RecognizerReplyHeader::size);
                if (m_current)
                    m_jobTimer.start(m_timeLimit);
                else
                    m_jobTimer.stop();
                continue;
            }
            if (!m_ready || !m_current || *header->job != m_current->kind)
                return protocolError(QStringLiteral("a reply to no job it was given"));
            const qsizetype size = RecognizerReplyHeader::size + header->payloadBytes;
            if (m_reply.size() < size)
                return;
            std::optional<RecognizerReply> reply = m_reply.size() == size ? decodeReply(m_reply) : std::nullopt;
            if (!reply)
                return protocolError(QStringLiteral("malformed reply"));
            m_jobTimer.stop();
            m_reply.clear();
            // The helper read the whole request before it answered, so QProcess no longer refers to the pixels.
            m_process->setProperty(pixelsProperty, QVariant());
            Job job = std::move(*m_current);
            m_current.reset();
            job.settle(std::move(reply));
            sendNext();
            return;
        }
    }

    void protocolError(const QString &what)
    {
        fail(QStringLiteral("recognition helper protocol error: %1").arg(what));
        replaceHelper();
    }

    void helperEnded(int exitCode, QProcess::ExitStatus status)
    {
        // On a crash, QProcess gives the signal's number as the exit code.
        const QString how = status == QProcess::CrashExit ? QStringLiteral("crashed with signal %1").arg(exitCode)
                                                          : QStringLiteral("exited with code %1").arg(exitCode);
        const bool quickly = !m_ready;
        dropHelper();
        if (m_current) {
            fail(QStringLiteral("the recognition helper %1").arg(how));
            launch();
            sendNext();
            return;
        }
        qCWarning(lcRecognition).noquote() << "the recognition helper" << how << "while idle; starting another";
        if (quickly)
            launchAfterPause();
        else
            launch();
    }

    // Ends the running job with nothing found: one warning, and jobFailed.
    void fail(const QString &reason)
    {
        m_jobTimer.stop();
        qCWarning(lcRecognition).noquote() << reason;
        if (!m_current)
            return;
        Job job = std::move(*m_current);
        m_current.reset();
        // Said before the future resolves, so that whoever waits for it finds the reason already given.
        emit m_owner.jobFailed(reason);
        job.settle(std::nullopt);
    }

    RecognizerProcess &m_owner;
    const QString m_program;
    const std::chrono::milliseconds m_timeLimit;
    QTimer m_jobTimer;
    QTimer m_restartTimer;
    std::unique_ptr<QProcess, DeleteLater> m_process;
    std::atomic<qint64> m_pid = 0;
    bool m_ready = false;  // the running helper has loaded its engines
    int m_quickDeaths = 0; // helpers in a row that were never ready
    QString m_startError;
    QString m_languages = QStringLiteral("eng"); // what the helper loads, or will load when started
    std::deque<Job> m_queue;
    std::optional<Job> m_current; // handed to the helper
    QByteArray m_reply;           // of the current job, as far as it has arrived
    bool m_stopped = false;
};

RecognizerProcess::RecognizerProcess(const QString &helperProgram, std::chrono::milliseconds jobTimeLimit)
    : m_session(std::make_unique<Session>(*this, helperProgram, jobTimeLimit))
{
    m_thread.setObjectName(QStringLiteral("recognizer client"));
    m_session->moveToThread(&m_thread);
    m_thread.start();
    QMetaObject::invokeMethod(m_session.get(), &Session::launch, Qt::QueuedConnection);
}

RecognizerProcess::~RecognizerProcess()
{
    QMetaObject::invokeMethod(m_session.get(), &Session::stop, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QFuture<std::vector<QString>> RecognizerProcess::recognize(QImage image, QString languages)
{
    auto [future, job] = makeJob<std::vector<QString>>(RecognizerJob::text, image);
    if (job) {
        job->languages = languages.isEmpty() ? QStringLiteral("eng") : std::move(languages);
        m_session->post(std::move(*job));
    }
    return future;
}

QFuture<std::vector<BarcodeObservation>> RecognizerProcess::detect(QImage image)
{
    auto [future, job] = makeJob<std::vector<BarcodeObservation>>(RecognizerJob::barcodes, image);
    if (job)
        m_session->post(std::move(*job));
    return future;
}

QFuture<std::vector<QString>> RecognizerProcess::abortHelperForTesting()
{
    auto [future, job] = makeJob<std::vector<QString>>(RecognizerJob::abortForTesting, QImage());
    if (job)
        m_session->post(std::move(*job));
    return future;
}

std::optional<qint64> RecognizerProcess::helperProcessId() const
{
    return m_session->processId();
}

std::optional<QString> findRecognizerHelper()
{
    const QString folder = QCoreApplication::applicationDirPath();
    for (const QString &path : {folder + QStringLiteral("/" SCRIVLET_RECOGNIZER_FOLDER "/scrivlet-recognizer"),
                                folder + QStringLiteral("/scrivlet-recognizer")}) {
        const QFileInfo file(path);
        if (file.isFile() && file.isExecutable())
            return file.canonicalFilePath();
    }
    return std::nullopt;
}

} // namespace Platform
