#include "platform/notification_store_review.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

namespace Platform {
namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString rateAction = QStringLiteral("rate");
} // namespace

NotificationStoreReview::NotificationStoreReview(UrlOpener &urlOpener) : m_urlOpener(urlOpener)
{
    QDBusConnection::sessionBus().connect(service, path, service, QStringLiteral("ActionInvoked"), this,
                                          SLOT(actionInvoked(uint, QString)));
}

std::unique_ptr<NotificationStoreReview> NotificationStoreReview::connect(UrlOpener &urlOpener)
{
    if (!QDBusConnection::sessionBus().isConnected())
        return nullptr;
    return std::unique_ptr<NotificationStoreReview>(new NotificationStoreReview(urlOpener));
}

void NotificationStoreReview::requestReview()
{
    QDBusMessage notify = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    notify << QStringLiteral("Scrivlet") << uint(0) << QStringLiteral("scrivlet")
           << QStringLiteral("Enjoying Scrivlet?")
           << QStringLiteral("A rating in your software centre helps others find it.")
           << QStringList{rateAction, QStringLiteral("Rate Scrivlet")}
           << QVariantMap{{QStringLiteral("desktop-entry"), QStringLiteral("scrivlet")}} << int(-1);
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(notify), this);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        const QDBusPendingReply<uint> reply = *call;
        if (reply.isValid())
            m_notification = reply.value();
        call->deleteLater();
    });
}

void NotificationStoreReview::actionInvoked(uint id, const QString &action)
{
    if (id == m_notification && m_notification != 0 && action == rateAction)
        m_urlOpener.open(QUrl(QString::fromLatin1(storePage)));
}

} // namespace Platform
