#pragma once

#include <QProcess>
#include <QString>

#include <memory>

namespace TestSupport {

// A D-Bus session bus of the test's own; DBUS_SESSION_BUS_ADDRESS points at it. Start it before anything uses
// QDBusConnection::sessionBus(), which keeps the first address it sees.
class PrivateSessionBus {
public:
    [[nodiscard]] static std::unique_ptr<PrivateSessionBus> start();
    ~PrivateSessionBus();
    PrivateSessionBus(const PrivateSessionBus &) = delete;
    PrivateSessionBus &operator=(const PrivateSessionBus &) = delete;

    QString address() const { return m_address; }

private:
    PrivateSessionBus() = default;
    QProcess m_daemon;
    QString m_address;
};

} // namespace TestSupport
