#include "support/xvfb_server.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QTemporaryFile>
#include <QThread>

#include <sys/stat.h>

namespace TestSupport {

std::unique_ptr<XvfbServer> XvfbServer::start(const QString &screen)
{
    std::unique_ptr<XvfbServer> server(new XvfbServer);
    // -displayfd writes the display number to a pipe once the server accepts connections.
    // -noreset keeps keyboard layouts, the root background and the clipboard when clients come and go.
    server->m_process.setProgram(QStringLiteral("Xvfb"));
    server->m_process.setArguments({QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                                    QStringLiteral("0"), screen, QStringLiteral("-nolisten"), QStringLiteral("tcp"),
                                    QStringLiteral("-noreset")});
    server->m_process.setProcessChannelMode(QProcess::SeparateChannels);
    server->m_process.start();
    if (!server->m_process.waitForStarted(5000))
        return nullptr;
    QDeadlineTimer deadline(10000);
    QByteArray out;
    while (!out.contains('\n') && !deadline.hasExpired()) {
        if (!server->m_process.waitForReadyRead(200) && server->m_process.state() != QProcess::Running)
            return nullptr;
        out += server->m_process.readAllStandardOutput();
    }
    bool ok = false;
    const int number = out.trimmed().toInt(&ok);
    if (!ok)
        return nullptr;
    server->m_display = QStringLiteral(":%1").arg(number);
    qputenv("DISPLAY", server->m_display.toUtf8());
    return server;
}

XvfbServer::~XvfbServer()
{
    m_process.terminate();
    if (!m_process.waitForFinished(3000)) {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
}

IsolatedXdgEnvironment::IsolatedXdgEnvironment()
{
    const QString base = m_root.path();
    for (const char *name : {"config", "data", "cache", "runtime"})
        QDir(base).mkpath(QString::fromLatin1(name));
    ::chmod(QFile::encodeName(base + QStringLiteral("/runtime")).constData(), 0700);
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(base + QStringLiteral("/config")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(base + QStringLiteral("/data")));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(base + QStringLiteral("/cache")));
    qputenv("XDG_RUNTIME_DIR", QFile::encodeName(base + QStringLiteral("/runtime")));
    qputenv("HOME", QFile::encodeName(base));
    qunsetenv("XDG_CURRENT_DESKTOP");
    qunsetenv("WAYLAND_DISPLAY");
}

} // namespace TestSupport
