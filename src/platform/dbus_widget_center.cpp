#include "platform/dbus_widget_center.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace Platform {

std::unique_ptr<DBusWidgetCenter> DBusWidgetCenter::connect()
{
    if (!QDBusConnection::sessionBus().isConnected())
        return nullptr;
    return std::unique_ptr<DBusWidgetCenter>(new DBusWidgetCenter);
}

void DBusWidgetCenter::reloadAllTimelines()
{
    QDBusConnection::sessionBus().send(QDBusMessage::createSignal(
        QString::fromLatin1(path), QString::fromLatin1(interface), QString::fromLatin1(signal)));
}

} // namespace Platform
