#pragma once

#include "keyboard_shortcuts/hot_key_service.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <chrono>
#include <functional>

namespace KeyboardShortcuts {

// One shortcut as the GlobalShortcuts portal exchanges it, "(sa{sv})": its id, then "description" and
// "preferred_trigger" going in, "description" and "trigger_description" coming back.
struct PortalShortcut {
    QString id;
    QVariantMap options;
};

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut);
const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut);

// One GlobalShortcuts portal session holding one shortcut, for one grab (portal_hot_key_service.h says what the
// grab promises). It opens the session, binds the shortcut, turns the portal's signals into the handlers' calls, and
// closes the session when released; released, it deletes itself once the portal has answered the closing.
class PortalSession final : public QObject {
    Q_OBJECT

public:
    struct Request {
        QString sessionToken;  // the session handle's last element, the same for the same name
        QString requestPrefix; // the start of this session's request tokens, unique in the service
        PortalShortcut shortcut;
        std::chrono::milliseconds releaseDelay;
    };

    // onRefused is called when the desktop answers that it binds nothing, before the handlers' onLost.
    PortalSession(QDBusConnection bus, Request request, HotKeyHandlers handlers, std::function<void()> onRefused,
                  QObject *parent);
    ~PortalSession() override;
    PortalSession(const PortalSession &) = delete;
    PortalSession &operator=(const PortalSession &) = delete;

    // Asks the portal for the session; once only.
    void open();
    // The handlers are never called again; the session is closed and this object deleted later.
    void release();
    bool isReleased() const { return m_isReleased; }

signals:
    // From the destructor: the portal has closed the session, or it never opened.
    void gone();

private slots:
    void createSessionAnswered(const QDBusMessage &response);
    void bindShortcutsAnswered(const QDBusMessage &response);
    void activated(const QDBusMessage &signal);
    void deactivated(const QDBusMessage &signal);
    void sessionClosed(const QDBusMessage &signal);

private:
    enum class State { unopened, creating, binding, bound, ended };

    QString requestPath(const QString &token) const;
    bool listenForResponse(const QString &path, const char *slot);
    void stopListening(const QString &path, const char *slot);
    void call(QDBusMessage message, const QString &expectedRequest, const char *slot);
    void bindShortcuts();
    void bound(const PortalShortcut &shortcut);
    void refuse(const QString &reason);
    void end(const QString &reason);
    void closeSession();
    void finishRelease();
    QString preferredTrigger() const;
    bool isOurs(const QDBusMessage &signal) const;
    void press();
    void releaseKey();

    QDBusConnection m_bus;
    Request m_request;
    HotKeyHandlers m_handlers;
    std::function<void()> m_onRefused;
    State m_state = State::unopened;
    QString m_sessionHandle;
    QString m_pendingRequest; // the request whose Response is awaited
    bool m_isReleased = false;
    bool m_isCloseSent = false;
    bool m_isClosed = false;
    bool m_isHeld = false;
    QTimer m_releaseTimer;
    QDBusServiceWatcher m_portalWatch;
};

} // namespace KeyboardShortcuts

Q_DECLARE_METATYPE(KeyboardShortcuts::PortalShortcut)
