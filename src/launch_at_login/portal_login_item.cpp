#include "launch_at_login/portal_login_item.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QEventLoop>
#include <QRandomGenerator>
#include <QTimer>
#include <QVariantMap>

namespace LaunchAtLogin {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString backgroundInterface = QStringLiteral("org.freedesktop.portal.Background");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString responseSignal = QStringLiteral("Response");

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

} // namespace

PortalLoginItem::PortalLoginItem(QDBusConnection bus, UserDefaults defaults, QStringList commandLine, QString reason,
                                 std::chrono::milliseconds timeLimit)
    : m_bus(std::move(bus)), m_defaults(std::move(defaults)), m_commandLine(std::move(commandLine)),
      m_reason(std::move(reason)), m_timeLimit(timeLimit)
{}

bool PortalLoginItem::isEnabled()
{
    return m_defaults.boolean(QLatin1String(grantedKey));
}

std::optional<LoginItemError> PortalLoginItem::registerItem()
{
    return request(true);
}

std::optional<LoginItemError> PortalLoginItem::unregisterItem()
{
    return request(false);
}

std::optional<LoginItemError> PortalLoginItem::request(bool autostart)
{
    if (!m_bus.isConnected())
        return LoginItemError{QStringLiteral("there is no session bus to reach the desktop portal on")};

    // The request object's path is known in advance; listening before the call leaves no window for a lost answer.
    const QString token = QStringLiteral("launchatlogin%1").arg(QRandomGenerator::global()->generate());
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    QStringList requestPaths{portalPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token};

    ResponseReceiver receiver;
    QEventLoop loop;
    QObject::connect(&receiver, &ResponseReceiver::received, &loop, &QEventLoop::quit);
    const auto listen = [&](const QString &path) {
        m_bus.connect(portalService, path, requestInterface, responseSignal, &receiver,
                      SLOT(onResponse(uint, QVariantMap)));
    };
    listen(requestPaths.first());

    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, backgroundInterface,
                                                       QStringLiteral("RequestBackground"));
    call << QString()
         << QVariantMap{{QStringLiteral("handle_token"), token},
                        {QStringLiteral("reason"), m_reason},
                        {QStringLiteral("autostart"), autostart},
                        {QStringLiteral("commandline"), m_commandLine},
                        {QStringLiteral("dbus-activatable"), false}};
    std::optional<QString> callError;
    QDBusPendingCallWatcher watcher(m_bus.asyncCall(call));
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, [&](QDBusPendingCallWatcher *done) {
        const QDBusPendingReply<QDBusObjectPath> reply = *done;
        if (reply.isError()) {
            callError = reply.error().message();
            loop.quit();
        } else if (const QString path = reply.value().path(); !requestPaths.contains(path)) {
            // Older portals choose the request's path themselves.
            requestPaths.append(path);
            listen(path);
        }
    });
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    limit.start(m_timeLimit);
    // The desktop may ask the user first; the answer decides what the caller reads right after.
    if (!receiver.response && !callError)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    for (const QString &path : std::as_const(requestPaths))
        m_bus.disconnect(portalService, path, requestInterface, responseSignal, &receiver,
                         SLOT(onResponse(uint, QVariantMap)));

    if (callError)
        return LoginItemError{QStringLiteral("the desktop portal did not take the request: %1").arg(*callError)};
    if (!receiver.response)
        return LoginItemError{QStringLiteral("the desktop portal did not answer in time")};
    // 0: answered; 1: the user cancelled; 2: refused or failed.
    if (*receiver.response == 1)
        return LoginItemError{QStringLiteral("the request was cancelled")};
    if (*receiver.response != 0)
        return LoginItemError{QStringLiteral("the desktop portal refused the request")};
    const bool granted = receiver.results.value(QStringLiteral("autostart")).toBool();
    m_defaults.setBoolean(QLatin1String(grantedKey), granted);
    if (granted != autostart)
        return LoginItemError{autostart ? QStringLiteral("the desktop did not allow it")
                                        : QStringLiteral("the desktop kept it on")};
    return std::nullopt;
}

} // namespace LaunchAtLogin

#include "portal_login_item.moc"
