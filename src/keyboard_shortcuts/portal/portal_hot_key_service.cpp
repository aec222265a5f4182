#include "keyboard_shortcuts/portal/portal_hot_key_service.h"

#include "keyboard_shortcuts/portal/portal_session.h"
#include "keyboard_shortcuts/portal/portal_trigger.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QHash>
#include <QLoggingCategory>
#include <QPointer>
#include <QSet>

Q_DECLARE_LOGGING_CATEGORY(lcPortalShortcuts)

using namespace Qt::Literals::StringLiterals;

namespace KeyboardShortcuts {
namespace {

// Long enough for a portal that is started by this very call.
constexpr int probeTimeoutMs = 5000;

class PortalHotKeyGrab final : public HotKeyGrab {
public:
    explicit PortalHotKeyGrab(PortalSession *session) : m_session(session) {}
    ~PortalHotKeyGrab() override
    {
        if (m_session)
            m_session->release();
    }
    PortalHotKeyGrab(const PortalHotKeyGrab &) = delete;
    PortalHotKeyGrab &operator=(const PortalHotKeyGrab &) = delete;

private:
    QPointer<PortalSession> m_session;
};

class PortalHotKeyService final : public HotKeyService {
public:
    PortalHotKeyService(QDBusConnection bus, KeyNames keyNames) : m_bus(std::move(bus)), m_keyNames(std::move(keyNames))
    {}

    ~PortalHotKeyService() override
    {
        // Sessions still closing go with the service; none may open in their place meanwhile.
        for (QObject *session : m_sessionOwner.children())
            QObject::disconnect(static_cast<PortalSession *>(session), &PortalSession::gone, nullptr, nullptr);
    }

    std::unique_ptr<HotKeyGrab> grab(Shortcut shortcut, HotKeyHandlers handlers) override
    {
        if (handlers.name.isEmpty()) {
            qCWarning(lcPortalShortcuts) << "a global shortcut through the desktop portal needs a name; refused";
            return nullptr;
        }
        const std::optional<QString> trigger = portalTrigger(shortcut, m_keyNames);
        if (!trigger) {
            qCWarning(lcPortalShortcuts).noquote()
                << u"global shortcut %1: its key has no name the desktop knows; refused"_s.arg(handlers.name);
            return nullptr;
        }
        // The program's name goes first: a desktop may file a session's shortcuts under its token (KDE Plasma 5.27
        // names the group in its settings so where it knows no application id), which must not be another
        // program's.
        const QString application = QCoreApplication::applicationName();
        const QString token = portalToken(application.isEmpty() ? handlers.name : application + u'_' + handlers.name);
        const QString refusal = token + u' ' + *trigger;
        if (m_refused.contains(refusal))
            return nullptr; // asking again would only ask the user again
        const QPointer<PortalSession> previous = m_sessions.value(token);
        if (previous && !previous->isReleased()) {
            qCWarning(lcPortalShortcuts).noquote()
                << u"global shortcut %1 is bound already; a second grab of it is refused"_s.arg(handlers.name);
            return nullptr;
        }

        const QString description = handlers.command ? handlers.command->title : handlers.name;
        PortalSession::Request request{
            token,
            token + u'_' + QString::number(++m_lastSerial),
            {handlers.name, {{u"description"_s, description}, {u"preferred_trigger"_s, *trigger}}},
            portalReleaseDelay,
        };
        auto *session = new PortalSession(
            m_bus, std::move(request), std::move(handlers), [this, refusal] { m_refused.insert(refusal); },
            &m_sessionOwner);
        m_sessions.insert(token, session);
        // The portal files sessions by token: the next session of a name waits until the last one is closed.
        if (previous)
            QObject::connect(previous, &PortalSession::gone, session, &PortalSession::open);
        else
            session->open();
        return std::make_unique<PortalHotKeyGrab>(session);
    }

private:
    QDBusConnection m_bus;
    KeyNames m_keyNames;
    QObject m_sessionOwner;
    QHash<QString, QPointer<PortalSession>> m_sessions; // the latest session of each token
    QSet<QString> m_refused;                            // token and trigger of each combination refused
    quint64 m_lastSerial = 0;
};

// The version of the portal's GlobalShortcuts interface, or 0 where there is none.
uint globalShortcutsVersion(const QDBusConnection &bus)
{
    QDBusMessage get =
        QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s, u"/org/freedesktop/portal/desktop"_s,
                                       u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    get << u"org.freedesktop.portal.GlobalShortcuts"_s << u"version"_s;
    const QDBusMessage reply = bus.call(get, QDBus::Block, probeTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1) {
        qCDebug(lcPortalShortcuts).noquote() << "no GlobalShortcuts portal:" << reply.errorMessage();
        return 0;
    }
    const QVariant version = reply.arguments().front().value<QDBusVariant>().variant();
    return version.metaType() == QMetaType::fromType<uint>() ? version.toUInt() : 0;
}

} // namespace

std::unique_ptr<HotKeyService> makePortalHotKeyService(KeyNames keyNames)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return nullptr;
    const uint version = globalShortcutsVersion(bus);
    if (version < 1)
        return nullptr;
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    qCInfo(lcPortalShortcuts) << "global shortcuts through the desktop portal (GlobalShortcuts version" << version
                              << ")";
    return std::make_unique<PortalHotKeyService>(std::move(bus), std::move(keyNames));
}

} // namespace KeyboardShortcuts
