#include "platform/freedesktop_notifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QLoggingCategory>
#include <QVariantMap>

Q_LOGGING_CATEGORY(lcNotifier, "scrivlet.notifier")

namespace Platform {
namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
} // namespace

std::unique_ptr<FreedesktopNotifier> FreedesktopNotifier::connect()
{
    if (!QDBusConnection::sessionBus().isConnected())
        return nullptr;
    return std::unique_ptr<FreedesktopNotifier>(new FreedesktopNotifier);
}

void FreedesktopNotifier::notify(const Notice &notice, std::function<void(bool taken)> taken)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    // No timeout of our own (-1): servers that keep notices keep this one in their list until the user reads it.
    call << QStringLiteral("Scrivlet") << uint(0) << QStringLiteral("scrivlet") << notice.summary << notice.body
         << QStringList() << QVariantMap{{QStringLiteral("desktop-entry"), QStringLiteral("scrivlet")}} << int(-1);
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, this,
                     [taken = std::move(taken)](QDBusPendingCallWatcher *finished) {
                         const QDBusPendingReply<uint> reply = *finished;
                         finished->deleteLater();
                         if (reply.isError())
                             qCWarning(lcNotifier) << "the desktop shows no notices:" << reply.error().message();
                         taken(reply.isValid());
                     });
}

} // namespace Platform
