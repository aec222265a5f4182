#include "support/notification_server_stand_in.h"

namespace TestSupport {
namespace {
const QString serviceName = QStringLiteral("org.freedesktop.Notifications");
}

NotificationServerStandIn::NotificationServerStandIn(QDBusConnection connection) : m_connection(connection) {}

std::unique_ptr<NotificationServerStandIn> NotificationServerStandIn::start(const QString &busAddress)
{
    const QString name = QStringLiteral("notification-server-stand-in");
    std::unique_ptr<NotificationServerStandIn> server(
        new NotificationServerStandIn(QDBusConnection::connectToBus(busAddress, name)));
    if (!server->m_connection.registerObject(QStringLiteral("/org/freedesktop/Notifications"), server.get(),
                                             QDBusConnection::ExportAllSlots) ||
        !server->m_connection.registerService(serviceName))
        return nullptr;
    return server;
}

NotificationServerStandIn::~NotificationServerStandIn()
{
    m_connection.unregisterService(serviceName);
    m_connection.unregisterObject(QStringLiteral("/org/freedesktop/Notifications"));
    QDBusConnection::disconnectFromBus(m_connection.name());
}

uint NotificationServerStandIn::Notify(const QString &applicationName, uint, const QString &, const QString &summary,
                                       const QString &body, const QStringList &, const QVariantMap &hints, int)
{
    notifications.append({applicationName, summary, body, hints});
    return static_cast<uint>(notifications.size());
}

QStringList NotificationServerStandIn::GetCapabilities()
{
    return {QStringLiteral("body")};
}

} // namespace TestSupport
