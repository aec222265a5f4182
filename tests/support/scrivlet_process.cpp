#include "support/scrivlet_process.h"

#include <QDeadlineTimer>
#include <QTest>

namespace TestSupport {

ScrivletProcess::ScrivletProcess(const QProcessEnvironment &environment, const QStringList &arguments)
{
    QProcessEnvironment started = environment;
    // The program sets up its own thread limit for the recogniser, as it does when a desktop starts it.
    started.remove(QStringLiteral("OMP_THREAD_LIMIT"));
    m_process.setProcessEnvironment(started);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(program(), arguments);
}

ScrivletProcess::~ScrivletProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000))
        m_process.kill();
    m_process.waitForFinished(2000);
}

QString ScrivletProcess::program()
{
    return qEnvironmentVariable("SCRIVLET_BINARY_DIR") + QStringLiteral("/src/app/scrivlet");
}

QString ScrivletProcess::output()
{
    m_output += QString::fromUtf8(m_process.readAllStandardOutput());
    return m_output;
}

bool ScrivletProcess::waitForOutput(const QString &text, std::chrono::milliseconds timeout)
{
    QDeadlineTimer deadline(timeout);
    while (!output().contains(text)) {
        if (deadline.hasExpired())
            return false;
        QTest::qWait(50);
    }
    return true;
}

} // namespace TestSupport
