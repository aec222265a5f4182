#include "platform/portal_region_capture_tool.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QEventLoop>
#include <QFile>
#include <QLoggingCategory>
#include <QRandomGenerator>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

Q_LOGGING_CATEGORY(lcPortal, "scrivlet.portal")

namespace Platform {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString screenshotInterface = QStringLiteral("org.freedesktop.portal.Screenshot");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");

bool portalIsOffered(QDBusConnection bus)
{
    if (bus.interface()->isServiceRegistered(portalService))
        return true;
    const QDBusReply<QStringList> activatable = bus.interface()->call(QStringLiteral("ListActivatableNames"));
    return activatable.isValid() && activatable.value().contains(portalService);
}

// Receives the one Response of a portal request.
class ResponseReceiver : public QObject {
    Q_OBJECT
public:
    std::optional<uint> response;
    QVariantMap results;

Q_SIGNALS:
    void received();

public Q_SLOTS:
    void onResponse(uint code, const QVariantMap &values)
    {
        response = code;
        results = values;
        Q_EMIT received();
    }
};

bool moveFile(const QString &from, const QString &to)
{
    QFile::remove(to);
    if (QFile::rename(from, to))
        return true;
    // Another file system: copy, then take the portal's file away so that captures do not pile up.
    if (!QFile::copy(from, to))
        return false;
    QFile::remove(from);
    return true;
}

} // namespace

std::unique_ptr<PortalRegionCaptureTool> PortalRegionCaptureTool::connect()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !portalIsOffered(bus))
        return nullptr;
    return std::unique_ptr<PortalRegionCaptureTool>(new PortalRegionCaptureTool);
}

void PortalRegionCaptureTool::captureRegion(const QString &destination)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    // The request object's path is known in advance; listening before the call leaves no window for a lost reply.
    const QString token = QStringLiteral("scrivlet%1").arg(QRandomGenerator::global()->generate());
    QString sender = bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    const QString requestPath = portalPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token;

    ResponseReceiver receiver;
    QEventLoop loop;
    QObject::connect(&receiver, &ResponseReceiver::received, &loop, &QEventLoop::quit);
    bus.connect(portalService, requestPath, requestInterface, QStringLiteral("Response"), &receiver,
                SLOT(onResponse(uint, QVariantMap)));

    QDBusMessage call =
        QDBusMessage::createMethodCall(portalService, portalPath, screenshotInterface, QStringLiteral("Screenshot"));
    call << QString() << QVariantMap{{QStringLiteral("handle_token"), token}, {QStringLiteral("interactive"), true}};
    QDBusPendingCallWatcher watcher(bus.asyncCall(call));
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, [&loop](QDBusPendingCallWatcher *done) {
        if (done->isError()) {
            qCWarning(lcPortal) << "the screenshot portal refused:" << done->error().message();
            loop.quit();
        }
    });
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    limit.start(timeLimit);
    // Like the selection tools, the portal's dialog owns the input until it answers.
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    bus.disconnect(portalService, requestPath, requestInterface, QStringLiteral("Response"), &receiver,
                   SLOT(onResponse(uint, QVariantMap)));

    // 0: done; 1: the user cancelled; 2: anything else.
    if (receiver.response != 0u)
        return;
    const QUrl uri(receiver.results.value(QStringLiteral("uri")).toString());
    if (!uri.isLocalFile() || !moveFile(uri.toLocalFile(), destination))
        qCWarning(lcPortal) << "the portal's screenshot could not be taken over:" << uri;
}

} // namespace Platform

#include "portal_region_capture_tool.moc"
