#include "support/private_session_bus.h"

#include <QDeadlineTimer>

namespace TestSupport {

std::unique_ptr<PrivateSessionBus> PrivateSessionBus::start()
{
    std::unique_ptr<PrivateSessionBus> bus(new PrivateSessionBus);
    bus->m_daemon.start(QStringLiteral("dbus-daemon"),
                        {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    if (!bus->m_daemon.waitForStarted(5000))
        return nullptr;
    QByteArray out;
    QDeadlineTimer deadline(10000);
    while (!out.contains('\n') && !deadline.hasExpired()) {
        if (!bus->m_daemon.waitForReadyRead(200) && bus->m_daemon.state() != QProcess::Running)
            return nullptr;
        out += bus->m_daemon.readAllStandardOutput();
    }
    bus->m_address = QString::fromUtf8(out.trimmed());
    if (bus->m_address.isEmpty())
        return nullptr;
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus->m_address.toUtf8());
    return bus;
}

PrivateSessionBus::~PrivateSessionBus()
{
    m_daemon.terminate();
    if (!m_daemon.waitForFinished(3000))
        m_daemon.kill();
    m_daemon.waitForFinished(1000);
}

} // namespace TestSupport
