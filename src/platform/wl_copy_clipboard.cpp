#include "platform/wl_copy_clipboard.h"

#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>

#include <utility>

Q_LOGGING_CATEGORY(lcClipboard, "scrivlet.clipboard")

namespace Platform {

WlCopyClipboard::WlCopyClipboard(std::unique_ptr<Clipboard> fallback, QString program,
                                 std::chrono::milliseconds timeLimit)
    : m_fallback(std::move(fallback)), m_program(std::move(program)), m_timeLimit(timeLimit)
{}

WlCopyClipboard::~WlCopyClipboard()
{
    while (m_running) {
        if (!m_running->waitForFinished(int(m_timeLimit.count()))) {
            m_running->kill();
            m_running->waitForFinished(1000);
        }
        finish(m_running.get());
    }
}

void WlCopyClipboard::setText(const QString &text)
{
    // Two wl-copy processes started together race for the selection: one at a time keeps the last text last.
    if (m_running) {
        m_next = text;
        return;
    }
    start(text);
}

void WlCopyClipboard::start(const QString &text)
{
    const QString path = QStandardPaths::findExecutable(m_program);
    if (path.isEmpty()) {
        if (!std::exchange(m_saidMissing, true))
            qCWarning(lcClipboard).noquote()
                << m_program << "is missing: copying through Qt, whose text Wayland programs may not see and "
                << "which ends when Scrivlet quits; install wl-clipboard";
        fallBack(text);
        return;
    }
    m_saidMissing = false;
    m_running = std::make_unique<QProcess>();
    m_runningText = text;
    QProcess *process = m_running.get();
    process->setProgram(path);
    // Said outright: left to guess, wl-copy may offer text that looks like HTML or a file name as such.
    process->setArguments({QStringLiteral("--type"), QStringLiteral("text/plain;charset=utf-8")});
    process->setStandardOutputFile(QProcess::nullDevice());
    // Queued, so that the process is never deleted inside its own signal.
    connect(
        process, &QProcess::finished, this, [this, process] { finish(process); }, Qt::QueuedConnection);
    connect(
        process, &QProcess::errorOccurred, this,
        [this, process](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart)
                finish(process);
        },
        Qt::QueuedConnection);
    auto *limit = new QTimer(process);
    limit->setSingleShot(true);
    connect(limit, &QTimer::timeout, process, [this, process] {
        qCWarning(lcClipboard).noquote() << m_program << "did not finish in time; stopping it";
        process->kill();
    });
    process->start();
    limit->start(m_timeLimit);
    // The text on standard input, never as an argument, which every user on the machine can read.
    if (process->state() != QProcess::NotRunning) {
        process->write(text.toUtf8());
        process->closeWriteChannel();
    }
}

void WlCopyClipboard::finish(QProcess *finished)
{
    if (!m_running || m_running.get() != finished)
        return;
    const std::unique_ptr<QProcess> process = std::move(m_running);
    const QString text = std::exchange(m_runningText, QString());
    const bool copied = process->error() != QProcess::FailedToStart && process->exitStatus() == QProcess::NormalExit &&
                        process->exitCode() == 0;
    if (!copied) {
        const QString says = QString::fromLocal8Bit(process->readAllStandardError().trimmed());
        qCWarning(lcClipboard).noquote() << m_program << "could not copy"
                                         << (process->error() == QProcess::FailedToStart
                                                 ? process->errorString()
                                                 : QStringLiteral("(exit code %1)").arg(process->exitCode()))
                                         << says << "- copying through Qt instead";
        fallBack(text);
    }
    if (std::optional<QString> next = std::exchange(m_next, std::nullopt))
        start(*next);
}

void WlCopyClipboard::fallBack(const QString &text)
{
    if (m_fallback)
        m_fallback->setText(text);
}

} // namespace Platform
