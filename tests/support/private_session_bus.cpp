#include "support/private_session_bus.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>

namespace TestSupport {

namespace {

const QString systemServices = QStringLiteral("/usr/share/dbus-1/services/");

QByteArray configuration(const QString &serviceDirectory)
{
    return QStringLiteral(R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <servicedir>%1</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)")
        .arg(serviceDirectory.toHtmlEscaped())
        .toUtf8();
}

} // namespace

std::unique_ptr<PrivateSessionBus> PrivateSessionBus::start(const QStringList &activatable)
{
    std::unique_ptr<PrivateSessionBus> bus(new PrivateSessionBus);
    if (!bus->m_configuration.isValid())
        return nullptr;
    const QString services = bus->m_configuration.filePath(QStringLiteral("services"));
    const QString configurationFile = bus->m_configuration.filePath(QStringLiteral("session.conf"));
    QFile file(configurationFile);
    if (!QDir().mkdir(services) || !file.open(QIODevice::WriteOnly) || file.write(configuration(services)) < 0)
        return nullptr;
    file.close();
    for (const QString &name : activatable) {
        const QString service = name + QStringLiteral(".service");
        if (!QFile::copy(systemServices + service, services + QLatin1Char('/') + service))
            return nullptr;
    }

    bus->m_daemon.start(QStringLiteral("dbus-daemon"),
                        {QStringLiteral("--config-file=") + configurationFile, QStringLiteral("--nofork"),
                         QStringLiteral("--print-address=1")});
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
