#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

namespace TestSupport {

// A D-Bus session bus of the test's own; DBUS_SESSION_BUS_ADDRESS points at it. Start it before anything uses
// QDBusConnection::sessionBus(), which keeps the first address it sees. Only the services the test starts, and
// those it names from the machine's service directory (e.g. "ca.desrt.dconf"), are there: what else the machine
// has installed (a desktop portal, kglobalaccel) cannot answer in their place.
class PrivateSessionBus {
public:
    [[nodiscard]] static std::unique_ptr<PrivateSessionBus> start(const QStringList &activatable = {});
    ~PrivateSessionBus();
    PrivateSessionBus(const PrivateSessionBus &) = delete;
    PrivateSessionBus &operator=(const PrivateSessionBus &) = delete;

    QString address() const { return m_address; }

private:
    PrivateSessionBus() = default;
    QTemporaryDir m_configuration;
    QProcess m_daemon;
    QString m_address;
};

} // namespace TestSupport
