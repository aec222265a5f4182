// Answers as the desktop portal's org.freedesktop.portal.GlobalShortcuts does (CreateSession, BindShortcuts,
// ListShortcuts, each answered through a Request's Response signal; sessions with Close and Closed; Activated and
// Deactivated), so that a test can watch what a client asks and play the desktop's part. A process of its own, so
// that the client's blocking calls cannot wait on themselves.
//
// It prints what it is asked, one tab-separated line each, and "ready" once it owns the portal's name:
//   CreateSession <session> <number of shortcuts in its options>
//   BindShortcuts <session> <id> <description> <preferred_trigger>
//   Close <session>
// and takes commands on its standard input, one a line:
//   activate <session> <id> | deactivate <session> <id> | close <session>
// Options: --refuse (BindShortcuts answers 1, as when the user declines), --bind-nothing (answers 0 without the
// shortcut), --holds-shortcuts (CreateSession binds the shortcuts of its "shortcuts" option and lists them, as KDE
// Plasma 5.27 does), --without-global-shortcuts (the portal lacks the interface), --delay-create <ms>.

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QSet>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdio>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString shortcutsInterface = u"org.freedesktop.portal.GlobalShortcuts"_s;

struct Options {
    bool refuse = false;
    bool bindNothing = false;
    bool holdsShortcuts = false;
    bool withoutGlobalShortcuts = false;
    int createDelayMs = 0;
};

struct Shortcut {
    QString id;
    QVariantMap options;
};

QDBusArgument &operator<<(QDBusArgument &argument, const Shortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.options;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Shortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.options;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(Shortcut)

namespace {

QVariantMap vardictOf(const QVariant &value)
{
    if (value.metaType() == QMetaType::fromType<QDBusArgument>())
        return qdbus_cast<QVariantMap>(value.value<QDBusArgument>());
    return value.toMap();
}

QList<Shortcut> shortcutsOf(const QVariant &value)
{
    QList<Shortcut> shortcuts;
    const auto argument = value.value<QDBusArgument>();
    if (value.metaType() == QMetaType::fromType<QDBusArgument>() && argument.currentSignature() == u"a(sa{sv})")
        argument >> shortcuts;
    return shortcuts;
}

void print(const QStringList &fields)
{
    std::fputs(qPrintable(fields.join(u'\t') + u'\n'), stdout);
    std::fflush(stdout);
}

class PortalStandIn final : public QDBusVirtualObject {
public:
    PortalStandIn(QDBusConnection bus, Options options) : m_bus(std::move(bus)), m_options(options) {}

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &) override
    {
        const QString member = message.member();
        if (message.path() == portalPath && message.interface() == u"org.freedesktop.DBus.Properties" &&
            member == u"Get")
            return version(message);
        if (message.path() == portalPath && message.interface() == shortcutsInterface &&
            !m_options.withoutGlobalShortcuts) {
            if (member == u"CreateSession")
                return createSession(message);
            if (member == u"BindShortcuts")
                return bindShortcuts(message);
            if (member == u"ListShortcuts")
                return listShortcuts(message);
        }
        if (m_sessions.contains(message.path()) && message.interface() == u"org.freedesktop.portal.Session" &&
            member == u"Close") {
            print({u"Close"_s, message.path()});
            m_sessions.remove(message.path());
            return m_bus.send(message.createReply());
        }
        return m_bus.send(message.createErrorReply(u"org.freedesktop.DBus.Error.UnknownMethod"_s,
                                                   u"no such method: "_s + message.path() + u' ' + member));
    }

    void command(const QString &line)
    {
        const QStringList words = line.split(u' ', Qt::SkipEmptyParts);
        if (words.size() == 3 && (words[0] == u"activate" || words[0] == u"deactivate")) {
            QDBusMessage signal = QDBusMessage::createSignal(
                portalPath, shortcutsInterface, words[0] == u"activate" ? u"Activated"_s : u"Deactivated"_s);
            signal << QVariant::fromValue(QDBusObjectPath(words[1])) << words[2] << QVariant::fromValue(qulonglong(0))
                   << QVariantMap{};
            m_bus.send(signal);
        } else if (words.size() == 2 && words[0] == u"close") {
            m_sessions.remove(words[1]);
            QDBusMessage signal =
                QDBusMessage::createSignal(words[1], u"org.freedesktop.portal.Session"_s, u"Closed"_s);
            signal << QVariantMap{};
            m_bus.send(signal);
        }
    }

private:
    bool version(const QDBusMessage &message)
    {
        const QList<QVariant> arguments = message.arguments();
        if (m_options.withoutGlobalShortcuts || arguments.value(0).toString() != shortcutsInterface ||
            arguments.value(1).toString() != u"version")
            return m_bus.send(
                message.createErrorReply(u"org.freedesktop.DBus.Error.InvalidArgs"_s, u"No such interface"_s));
        return m_bus.send(message.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(1u)))));
    }

    static QString senderElement(const QDBusMessage &message)
    {
        QString sender = message.service();
        return sender.remove(0, 1).replace(u'.', u'_');
    }

    QString requestPath(const QDBusMessage &message, const QVariantMap &options)
    {
        return portalPath + u"/request/"_s + senderElement(message) + u'/' +
               options.value(u"handle_token"_s, u"t%1"_s.arg(++m_lastToken)).toString();
    }

    void respond(const QString &request, uint response, const QVariantMap &results)
    {
        QDBusMessage signal = QDBusMessage::createSignal(request, u"org.freedesktop.portal.Request"_s, u"Response"_s);
        signal << response << results;
        m_bus.send(signal);
    }

    // The answer's "shortcuts", with a trigger description as desktops write one.
    static QVariantMap boundResults(const QList<Shortcut> &shortcuts)
    {
        QList<Shortcut> bound;
        for (const Shortcut &shortcut : shortcuts)
            bound.append({shortcut.id,
                          {{u"description"_s, shortcut.options.value(u"description"_s)},
                           {u"trigger_description"_s,
                            u"Press "_s + shortcut.options.value(u"preferred_trigger"_s).toString()}}});
        return {{u"shortcuts"_s, QVariant::fromValue(bound)}};
    }

    bool createSession(const QDBusMessage &message)
    {
        const QVariantMap options = vardictOf(message.arguments().value(0));
        const QString session = portalPath + u"/session/"_s + senderElement(message) + u'/' +
                                options.value(u"session_handle_token"_s, u"s%1"_s.arg(++m_lastToken)).toString();
        if (m_sessions.contains(session))
            return m_bus.send(message.createErrorReply(u"org.freedesktop.portal.Error.Exists"_s,
                                                       u"a session of that token is open: "_s + session));
        const QList<Shortcut> shortcuts = shortcutsOf(options.value(u"shortcuts"_s));
        const QString request = requestPath(message, options);
        m_sessions.insert(session);
        print({u"CreateSession"_s, session, QString::number(shortcuts.size())});
        m_bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        QVariantMap results{{u"session_handle"_s, session}};
        if (m_options.holdsShortcuts)
            results.insert(boundResults(shortcuts));
        QTimer::singleShot(m_options.createDelayMs, [this, request, results] { respond(request, 0, results); });
        return true;
    }

    bool bindShortcuts(const QDBusMessage &message)
    {
        const QList<QVariant> arguments = message.arguments();
        const QString session = arguments.value(0).value<QDBusObjectPath>().path();
        const QList<Shortcut> shortcuts = shortcutsOf(arguments.value(1));
        const QString request = requestPath(message, vardictOf(arguments.value(3)));
        for (const Shortcut &shortcut : shortcuts)
            print({u"BindShortcuts"_s, session, shortcut.id, shortcut.options.value(u"description"_s).toString(),
                   shortcut.options.value(u"preferred_trigger"_s).toString()});
        m_bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        if (!m_sessions.contains(session))
            respond(request, 2, {});
        else if (m_options.refuse)
            respond(request, 1, {});
        else
            respond(request, 0, boundResults(m_options.bindNothing ? QList<Shortcut>{} : shortcuts));
        return true;
    }

    bool listShortcuts(const QDBusMessage &message)
    {
        const QString request = requestPath(message, vardictOf(message.arguments().value(1)));
        m_bus.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        respond(request, 0, boundResults({}));
        return true;
    }

    QDBusConnection m_bus;
    Options m_options;
    QSet<QString> m_sessions;
    int m_lastToken = 0;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    Options options;
    const QStringList arguments = app.arguments();
    options.refuse = arguments.contains(u"--refuse"_s);
    options.bindNothing = arguments.contains(u"--bind-nothing"_s);
    options.holdsShortcuts = arguments.contains(u"--holds-shortcuts"_s);
    options.withoutGlobalShortcuts = arguments.contains(u"--without-global-shortcuts"_s);
    if (const qsizetype delay = arguments.indexOf(u"--delay-create"_s); delay >= 0)
        options.createDelayMs = arguments.value(delay + 1).toInt();

    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
    QDBusConnection bus = QDBusConnection::sessionBus();
    PortalStandIn portal(bus, options);
    if (!bus.registerVirtualObject(portalPath, &portal, QDBusConnection::SubPath) ||
        !bus.registerService(u"org.freedesktop.portal.Desktop"_s)) {
        std::fprintf(stderr, "cannot serve the portal: %s\n", qPrintable(bus.lastError().message()));
        return 1;
    }

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray pending;
    QObject::connect(&input, &QSocketNotifier::activated, &app, [&] {
        char buffer[512];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) {
            QCoreApplication::quit(); // the test went away
            return;
        }
        pending.append(buffer, count);
        for (qsizetype end = pending.indexOf('\n'); end >= 0; end = pending.indexOf('\n')) {
            portal.command(QString::fromUtf8(pending.left(end)));
            pending.remove(0, end + 1);
        }
    });
    print({u"ready"_s});
    return app.exec();
}
