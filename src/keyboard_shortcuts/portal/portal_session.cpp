#include "keyboard_shortcuts/portal/portal_session.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QList>
#include <QLoggingCategory>

#include <optional>

Q_LOGGING_CATEGORY(lcPortalShortcuts, "scrivlet.keyboardshortcuts.portal")

using namespace Qt::Literals::StringLiterals;

namespace KeyboardShortcuts {

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.options;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.options;
    argument.endStructure();
    return argument;
}

namespace {

const QString portalService = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString shortcutsInterface = u"org.freedesktop.portal.GlobalShortcuts"_s;
const QString requestInterface = u"org.freedesktop.portal.Request"_s;
const QString sessionInterface = u"org.freedesktop.portal.Session"_s;

// Long enough for a portal that starts its back end first; the user's dialogs are waited for without a limit,
// since their answer is the Response signal, not the call's reply.
constexpr int callTimeoutMs = 10000;
// How long a released session waits for the portal to confirm its closing before it goes anyway.
constexpr std::chrono::seconds closeTimeout{10};

QString objectPath(const QVariant &value)
{
    // The portal documents session_handle as a string; an object path is taken too.
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value.metaType() == QMetaType::fromType<QString>() ? value.toString() : QString();
}

// The "shortcuts" of a Response's results, or empty when they are missing or of another type.
std::optional<QList<PortalShortcut>> shortcutsOf(const QVariantMap &results)
{
    const QVariant value = results.value(u"shortcuts"_s);
    if (value.metaType() != QMetaType::fromType<QDBusArgument>())
        return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != u"a(sa{sv})")
        return std::nullopt;
    QList<PortalShortcut> shortcuts;
    argument >> shortcuts;
    return shortcuts;
}

// A vardict as it arrives: QtDBus leaves one in a signal as a QDBusArgument.
std::optional<QVariantMap> vardictOf(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QVariantMap>())
        return value.toMap();
    if (value.metaType() != QMetaType::fromType<QDBusArgument>())
        return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != u"a{sv}")
        return std::nullopt;
    return qdbus_cast<QVariantMap>(argument);
}

// A Response signal's arguments, "(ua{sv})"; empty for anything else.
std::optional<std::pair<uint, QVariantMap>> responseOf(const QDBusMessage &signal)
{
    const QList<QVariant> arguments = signal.arguments();
    if (arguments.size() != 2 || arguments[0].metaType() != QMetaType::fromType<uint>())
        return std::nullopt;
    const std::optional<QVariantMap> results = vardictOf(arguments[1]);
    if (!results)
        return std::nullopt;
    return std::pair(arguments[0].toUInt(), *results);
}

QString responseText(uint response)
{
    switch (response) {
    case 1:
        return u"the user declined"_s;
    default:
        return u"the desktop refused it (response %1)"_s.arg(response);
    }
}

} // namespace

PortalSession::PortalSession(QDBusConnection bus, Request request, HotKeyHandlers handlers,
                             std::function<void()> onRefused, QObject *parent)
    : QObject(parent), m_bus(std::move(bus)), m_request(std::move(request)), m_handlers(std::move(handlers)),
      m_onRefused(std::move(onRefused)),
      m_portalWatch(portalService, m_bus, QDBusServiceWatcher::WatchForUnregistration)
{
    m_releaseTimer.setSingleShot(true);
    m_releaseTimer.setInterval(m_request.releaseDelay);
    connect(&m_releaseTimer, &QTimer::timeout, this, &PortalSession::releaseKey);
    connect(&m_portalWatch, &QDBusServiceWatcher::serviceUnregistered, this,
            [this] { end(u"the desktop portal went away"_s); });
    m_bus.connect(portalService, portalPath, shortcutsInterface, u"Activated"_s, this, SLOT(activated(QDBusMessage)));
    m_bus.connect(portalService, portalPath, shortcutsInterface, u"Deactivated"_s, this,
                  SLOT(deactivated(QDBusMessage)));
}

PortalSession::~PortalSession()
{
    // A session left open would keep the shortcut bound until the program ends.
    if (!m_sessionHandle.isEmpty() && !m_isCloseSent) {
        QDBusMessage close =
            QDBusMessage::createMethodCall(portalService, m_sessionHandle, sessionInterface, u"Close"_s);
        m_bus.send(close);
    }
    emit gone();
}

QString PortalSession::requestPath(const QString &token) const
{
    // The portal's documented form: the caller's unique name without ':' and with '.' as '_', then the token.
    QString sender = m_bus.baseService();
    sender.remove(0, sender.startsWith(u':') ? 1 : 0).replace(u'.', u'_');
    return portalPath + u"/request/"_s + sender + u'/' + token;
}

bool PortalSession::listenForResponse(const QString &path, const char *slot)
{
    m_pendingRequest = path;
    return m_bus.connect(portalService, path, requestInterface, u"Response"_s, this, slot);
}

void PortalSession::stopListening(const QString &path, const char *slot)
{
    m_bus.disconnect(portalService, path, requestInterface, u"Response"_s, this, slot);
    if (m_pendingRequest == path)
        m_pendingRequest.clear();
}

void PortalSession::call(QDBusMessage message, const QString &expectedRequest, const char *slot)
{
    // Listening starts before the call, so that a Response sent right after the reply is not missed.
    if (!listenForResponse(expectedRequest, slot)) {
        end(u"cannot listen on the session bus: "_s + m_bus.lastError().message());
        return;
    }
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message, callTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, expectedRequest, slot] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
        if (reply.isError()) {
            stopListening(expectedRequest, slot);
            end(u"the portal did not take the call: "_s + reply.error().message());
            return;
        }
        // Portals older than handle_token choose the request path themselves.
        const QString path = reply.value().path();
        if (path != expectedRequest && m_pendingRequest == expectedRequest) {
            stopListening(expectedRequest, slot);
            listenForResponse(path, slot);
        }
    });
}

void PortalSession::open()
{
    if (m_state != State::unopened || m_isReleased)
        return;
    m_state = State::creating;
    QDBusMessage create =
        QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, u"CreateSession"_s);
    const QString token = m_request.requestPrefix + u"_create"_s;
    // The shortcut goes along here as well: KDE Plasma 5.27's back end takes a session's shortcuts from this option
    // only (an early form of the interface that later portals drop) and files them at once.
    create << QVariantMap{
        {u"handle_token"_s, token},
        {u"session_handle_token"_s, m_request.sessionToken},
        {u"shortcuts"_s, QVariant::fromValue(QList<PortalShortcut>{m_request.shortcut})},
    };
    call(create, requestPath(token), SLOT(createSessionAnswered(QDBusMessage)));
}

void PortalSession::createSessionAnswered(const QDBusMessage &response)
{
    stopListening(response.path(), SLOT(createSessionAnswered(QDBusMessage)));
    if (m_state != State::creating)
        return;
    const auto answer = responseOf(response);
    if (!answer) {
        end(u"the portal answered CreateSession with "_s + response.signature());
        return;
    }
    const auto &[code, results] = *answer;
    if (code != 0) {
        refuse(u"no shortcut session: "_s + responseText(code));
        return;
    }
    m_sessionHandle = objectPath(results.value(u"session_handle"_s));
    if (!m_sessionHandle.startsWith(u'/')) {
        m_sessionHandle.clear();
        end(u"the portal answered CreateSession without a session"_s);
        return;
    }
    if (m_isReleased) {
        finishRelease();
        return;
    }
    m_bus.connect(portalService, m_sessionHandle, sessionInterface, u"Closed"_s, this,
                  SLOT(sessionClosed(QDBusMessage)));
    // Where the session already holds the shortcut (KDE Plasma 5.27), binding again would only open the desktop's
    // settings.
    if (const auto listed = shortcutsOf(results)) {
        for (const PortalShortcut &shortcut : *listed) {
            if (shortcut.id == m_request.shortcut.id) {
                bound(shortcut);
                return;
            }
        }
    }
    bindShortcuts();
}

void PortalSession::bindShortcuts()
{
    m_state = State::binding;
    QDBusMessage bind =
        QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, u"BindShortcuts"_s);
    const QString token = m_request.requestPrefix + u"_bind"_s;
    bind << QVariant::fromValue(QDBusObjectPath(m_sessionHandle))
         << QVariant::fromValue(QList<PortalShortcut>{m_request.shortcut}) << QString()
         << QVariantMap{{u"handle_token"_s, token}};
    call(bind, requestPath(token), SLOT(bindShortcutsAnswered(QDBusMessage)));
}

void PortalSession::bindShortcutsAnswered(const QDBusMessage &response)
{
    stopListening(response.path(), SLOT(bindShortcutsAnswered(QDBusMessage)));
    if (m_state != State::binding)
        return;
    const auto answer = responseOf(response);
    if (!answer) {
        end(u"the portal answered BindShortcuts with "_s + response.signature());
        return;
    }
    const auto &[code, results] = *answer;
    if (code != 0) {
        refuse(responseText(code));
        return;
    }
    if (const auto listed = shortcutsOf(results)) {
        for (const PortalShortcut &shortcut : *listed) {
            if (shortcut.id == m_request.shortcut.id) {
                bound(shortcut);
                return;
            }
        }
    }
    refuse(u"the desktop bound nothing"_s);
}

void PortalSession::bound(const PortalShortcut &shortcut)
{
    m_state = State::bound;
    const QString trigger = shortcut.options.value(u"trigger_description"_s).toString();
    if (trigger.isEmpty())
        qCInfo(lcPortalShortcuts).noquote()
            << u"the desktop took the shortcut %1 without a key; it works once one is set in the desktop's keyboard "
               u"settings"_s.arg(m_request.shortcut.id);
    else
        qCInfo(lcPortalShortcuts).noquote() << u"the desktop bound the shortcut %1 to %2 (asked for %3)"_s.arg(
            m_request.shortcut.id, trigger, preferredTrigger());
}

void PortalSession::refuse(const QString &reason)
{
    if (m_state == State::ended)
        return;
    if (m_onRefused)
        m_onRefused();
    end(reason);
}

void PortalSession::end(const QString &reason)
{
    if (m_state == State::ended)
        return;
    m_state = State::ended;
    m_releaseTimer.stop();
    m_isHeld = false;
    closeSession();
    if (m_isReleased) {
        finishRelease();
        return;
    }
    qCWarning(lcPortalShortcuts).noquote()
        << u"global shortcut %1 (%2) does not work: %3"_s.arg(m_request.shortcut.id, preferredTrigger(), reason);
    const std::function<void()> onLost = m_handlers.onLost;
    if (onLost)
        onLost();
}

void PortalSession::closeSession()
{
    if (m_sessionHandle.isEmpty() || m_isCloseSent)
        return;
    m_isCloseSent = true;
    QDBusMessage close = QDBusMessage::createMethodCall(portalService, m_sessionHandle, sessionInterface, u"Close"_s);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(close, callTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        m_isClosed = true;
        if (m_isReleased)
            deleteLater();
    });
}

void PortalSession::release()
{
    if (m_isReleased)
        return;
    m_isReleased = true;
    m_releaseTimer.stop();
    m_isHeld = false;
    // A session still being created is closed once the portal names it.
    if (m_state == State::creating && m_sessionHandle.isEmpty()) {
        QTimer::singleShot(closeTimeout, this, [this] { deleteLater(); });
        return;
    }
    finishRelease();
}

void PortalSession::finishRelease()
{
    m_state = State::ended;
    if (m_sessionHandle.isEmpty() || m_isClosed) {
        deleteLater();
        return;
    }
    if (!m_isCloseSent)
        closeSession();
    // closeSession() deletes this object at the answer; without one, after a while all the same.
    QTimer::singleShot(closeTimeout, this, [this] { deleteLater(); });
}

QString PortalSession::preferredTrigger() const
{
    return m_request.shortcut.options.value(u"preferred_trigger"_s).toString();
}

bool PortalSession::isOurs(const QDBusMessage &signal) const
{
    if (m_state != State::bound || m_isReleased)
        return false;
    const QList<QVariant> arguments = signal.arguments();
    return arguments.size() >= 2 && objectPath(arguments[0]) == m_sessionHandle &&
           arguments[1].metaType() == QMetaType::fromType<QString>() &&
           arguments[1].toString() == m_request.shortcut.id;
}

void PortalSession::activated(const QDBusMessage &signal)
{
    if (!isOurs(signal))
        return;
    m_releaseTimer.start(); // a repeat while held moves the release fallback on
    if (m_isHeld)
        return;
    m_isHeld = true;
    const std::function<void()> onPress = m_handlers.onPress;
    if (onPress)
        onPress();
}

void PortalSession::deactivated(const QDBusMessage &signal)
{
    if (isOurs(signal))
        releaseKey();
}

void PortalSession::releaseKey()
{
    m_releaseTimer.stop();
    if (!m_isHeld || m_isReleased)
        return;
    m_isHeld = false;
    const std::function<void()> onRelease = m_handlers.onRelease;
    if (onRelease)
        onRelease();
}

void PortalSession::sessionClosed(const QDBusMessage &)
{
    m_isCloseSent = m_isClosed = true; // nothing left to close
    end(u"the desktop closed the shortcut session"_s);
}

} // namespace KeyboardShortcuts
