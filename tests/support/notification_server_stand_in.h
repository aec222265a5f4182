#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

namespace TestSupport {

// A desktop's notification server (org.freedesktop.Notifications) on a bus of the test's: keeps what it was asked to
// show. Gone from the bus when dropped.
class NotificationServerStandIn : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Notification {
        QString applicationName;
        QString summary;
        QString body;
        QVariantMap hints;
    };

    // Empty when the name is taken or the bus cannot be reached.
    [[nodiscard]] static std::unique_ptr<NotificationServerStandIn> start(const QString &busAddress);
    ~NotificationServerStandIn() override;

    QList<Notification> notifications;

public Q_SLOTS:
    uint Notify(const QString &applicationName, uint replacesId, const QString &icon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int timeout);
    QStringList GetCapabilities();

private:
    explicit NotificationServerStandIn(QDBusConnection connection);
    QDBusConnection m_connection;
};

} // namespace TestSupport
