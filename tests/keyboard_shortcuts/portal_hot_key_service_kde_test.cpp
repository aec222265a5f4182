// The portal client against KDE's real portal back end, headless: kwin_wayland --virtual (which carries
// kglobalaccel), xdg-desktop-portal-kde and xdg-desktop-portal on a private bus. The portal files a program's
// shortcuts under its application id, which it reads from the systemd scope in /proc/PID/cgroup; the test puts
// itself into a cgroup named like such a scope (app-app.scrivlet.Test-PID.scope) before it first calls the portal.
// kglobalaccel's invokeShortcut() stands in for the key press.

#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/portal/portal_hot_key_service.h"
#include "support/private_session_bus.h"
#include "support/xvfb_server.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTest>

#include <sys/statfs.h>
#include <unistd.h>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr std::int64_t command = CarbonModifier::command;
constexpr std::int64_t shift = CarbonModifier::shift;
constexpr long cgroup2Magic = 0x63677270;
constexpr long cgroupMagic = 0x27e0eb;

const QString applicationId = u"app.scrivlet.Test"_s;
const QString name = u"toggleUnicornMode"_s;
const DesktopCommand grabCommand{u"Scrivlet: Grab Text"_s, {u"/usr/bin/scrivlet"_s, u"scrivlet:///_Grab_"_s}};
const QString kglobalaccel = u"org.kde.kglobalaccel"_s;

// One element of kglobalaccel's Component.allShortcutInfos, "(ssssssaiai)".
struct ShortcutInfo {
    QString actionUnique;
    QString actionFriendly;
    QString componentUnique;
    QString componentFriendly;
    QString contextUnique;
    QString contextFriendly;
    QList<int> keys;
    QList<int> defaultKeys;
};

const QDBusArgument &operator>>(const QDBusArgument &argument, ShortcutInfo &info)
{
    argument.beginStructure();
    argument >> info.actionUnique >> info.actionFriendly >> info.componentUnique >> info.componentFriendly >>
        info.contextUnique >> info.contextFriendly >> info.keys >> info.defaultKeys;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const ShortcutInfo &info)
{
    argument.beginStructure();
    argument << info.actionUnique << info.actionFriendly << info.componentUnique << info.componentFriendly
             << info.contextUnique << info.contextFriendly << info.keys << info.defaultKeys;
    argument.endStructure();
    return argument;
}

bool waitForName(const QString &service, QProcess &process, int timeoutMs = 20000)
{
    QDeadlineTimer deadline(timeoutMs);
    if (!process.waitForStarted(timeoutMs))
        return false;
    while (!deadline.hasExpired() && process.state() == QProcess::Running) {
        if (QDBusConnection::sessionBus().interface()->isServiceRegistered(service))
            return true;
        QTest::qWait(50);
    }
    return false;
}

// Where the systemd library the portal uses reads a process's unit from: the unified hierarchy, else the
// name=systemd one. Empty when neither is mounted where it looks.
QString systemdHierarchy()
{
    const auto isA = [](const char *path, long magic) {
        struct statfs fs {};
        return statfs(path, &fs) == 0 && long(fs.f_type) == magic;
    };
    if (isA("/sys/fs/cgroup", cgroup2Magic))
        return u"/sys/fs/cgroup"_s;
    if (isA("/sys/fs/cgroup/unified", cgroup2Magic))
        return u"/sys/fs/cgroup/unified"_s;
    if (isA("/sys/fs/cgroup/systemd", cgroupMagic))
        return u"/sys/fs/cgroup/systemd"_s;
    return {};
}

// This process's cgroup in that hierarchy, as /proc/self/cgroup names it.
QString ownCgroup(const QString &hierarchy)
{
    QFile file(u"/proc/self/cgroup"_s);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QString prefix = hierarchy.endsWith(u"/systemd") ? u"name=systemd:"_s : u":"_s;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QString text = QString::fromUtf8(line);
        const qsizetype colon = text.indexOf(u':');
        if (colon >= 0 && text.mid(colon + 1).startsWith(prefix))
            return text.mid(colon + 1 + prefix.size());
    }
    return {};
}

bool moveInto(const QString &cgroup)
{
    QFile procs(cgroup + u"/cgroup.procs"_s);
    return procs.open(QIODevice::WriteOnly) && procs.write(QByteArray::number(qint64(getpid()))) > 0 && procs.flush();
}

QDBusMessage kglobalaccelCall(const QString &path, const QString &interface, const QString &method,
                              const QList<QVariant> &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(kglobalaccel, path, interface, method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
}

// The component of kglobalaccel that files our shortcut, and the shortcut; empty while there is none. No other
// component has an action of that name.
std::optional<std::pair<QString, ShortcutInfo>> filedShortcut()
{
    const QDBusMessage components = kglobalaccelCall(u"/kglobalaccel"_s, u"org.kde.KGlobalAccel"_s, u"allComponents"_s);
    if (components.type() != QDBusMessage::ReplyMessage)
        return std::nullopt;
    for (const QDBusObjectPath &component :
         qdbus_cast<QList<QDBusObjectPath>>(components.arguments().value(0).value<QDBusArgument>())) {
        const QDBusMessage infos =
            kglobalaccelCall(component.path(), u"org.kde.kglobalaccel.Component"_s, u"allShortcutInfos"_s);
        for (const ShortcutInfo &info :
             qdbus_cast<QList<ShortcutInfo>>(infos.arguments().value(0).value<QDBusArgument>())) {
            if (info.actionUnique == name)
                return std::pair(component.path(), info);
        }
    }
    return std::nullopt;
}

bool invoke(const QString &component)
{
    return kglobalaccelCall(component, u"org.kde.kglobalaccel.Component"_s, u"invokeShortcut"_s, {name}).type() ==
           QDBusMessage::ReplyMessage;
}

// Whether the portal exports the session of our shortcut.
bool hasSession()
{
    QString sender = QDBusConnection::sessionBus().baseService();
    sender.remove(0, 1).replace(u'.', u'_');
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.freedesktop.portal.Desktop"_s,
                                                       u"/org/freedesktop/portal/desktop/session/"_s + sender + u'/' +
                                                           QCoreApplication::applicationName() + u'_' + name,
                                                       u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, 5000);
    return reply.arguments().value(0).toString().contains(u"org.freedesktop.portal.Session");
}

struct Calls {
    QStringList events;
    HotKeyHandlers handlers()
    {
        return {[this] { events.append(u"press"_s); }, [this] { events.append(u"release"_s); },
                [this] { events.append(u"lost"_s); }, name, grabCommand};
    }
};

} // namespace

Q_DECLARE_METATYPE(ShortcutInfo)

class PortalHotKeyServiceKdeTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        for (const QString &program : {u"xdg-desktop-portal-kde"_s, u"xdg-desktop-portal"_s}) {
            if (!QFile::exists(portalProgram(program)))
                QSKIP(qPrintable(u"not installed: "_s + program));
        }
        if (QStandardPaths::findExecutable(u"kwin_wayland"_s).isEmpty())
            QSKIP("not installed: kwin_wayland");
        QVERIFY2(dropKWinCapabilities(), "kwin_wayland carries a file capability this system forbids; run as root "
                                         "or `setcap -r /usr/bin/kwin_wayland` once");
        qDBusRegisterMetaType<ShortcutInfo>();
        qDBusRegisterMetaType<QList<ShortcutInfo>>();

        m_bus = TestSupport::PrivateSessionBus::start();
        QVERIFY(m_bus);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
        environment.insert(u"KDE_FULL_SESSION"_s, u"true"_s);
        environment.insert(u"KDE_SESSION_VERSION"_s, u"5"_s);
        environment.remove(u"QT_QPA_PLATFORM"_s);
        environment.remove(u"DISPLAY"_s);
        const QString socket = u"wayland-scrivlet-%1"_s.arg(getpid());
        m_kwin.setProcessEnvironment(environment);
        m_kwin.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_kwin.start(u"kwin_wayland"_s,
                     {u"--virtual"_s, u"--socket"_s, socket, u"--width"_s, u"1280"_s, u"--height"_s, u"800"_s});
        QVERIFY2(waitForName(kglobalaccel, m_kwin), "kwin_wayland did not offer kglobalaccel");

        // The KDE back end is a Qt 5 program that needs the Wayland platform; the front end must not start it.
        environment.insert(u"WAYLAND_DISPLAY"_s, socket);
        environment.insert(u"QT_QPA_PLATFORM"_s, u"wayland"_s);
        m_backEnd.setProcessEnvironment(environment);
        m_backEnd.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_backEnd.start(portalProgram(u"xdg-desktop-portal-kde"_s), {});
        QVERIFY2(waitForName(u"org.freedesktop.impl.portal.desktop.kde"_s, m_backEnd),
                 "xdg-desktop-portal-kde did not start");
        m_frontEnd.setProcessEnvironment(environment);
        m_frontEnd.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_frontEnd.start(portalProgram(u"xdg-desktop-portal"_s), {u"-r"_s});
        QVERIFY2(waitForName(u"org.freedesktop.portal.Desktop"_s, m_frontEnd), "xdg-desktop-portal did not start");

        // Before the first call to the portal, which then reads and keeps the caller's application id. Without one
        // KDE files the shortcut under the session's token alone, which works as well.
        m_hasApplicationId = enterApplicationScope();
        if (!m_hasApplicationId)
            qWarning("no cgroup named like an application's scope could be entered: the test runs without an "
                     "application id");
    }

    void cleanupTestCase()
    {
        if (!m_ownCgroup.isEmpty())
            moveInto(m_ownCgroup);
        for (const QString &cgroup : std::as_const(m_madeCgroups))
            QDir().rmdir(cgroup);
        for (QProcess *process : {&m_frontEnd, &m_backEnd, &m_kwin}) {
            process->terminate();
            if (!process->waitForFinished(5000))
                process->kill();
            process->waitForFinished(1000);
        }
    }

    void theDesktopBindsInvokesAndReleasesTheShortcut()
    {
        const auto service = makePortalHotKeyService(KeyNames(*makeUsKeyboardLayout()));
        QVERIFY(service);
        Calls first;
        auto grab = service->grab(Shortcut{Key::two.rawValue, command | shift}, first.handlers());
        QVERIFY(grab);

        // Bound under our application id, with the description and the preferred trigger.
        std::optional<std::pair<QString, ShortcutInfo>> filed;
        QTRY_VERIFY_WITH_TIMEOUT((filed = filedShortcut()).has_value(), 10000);
        QCOMPARE(filed->second.actionFriendly, grabCommand.title);
        if (m_hasApplicationId)
            QVERIFY2(filed->second.componentUnique.startsWith(applicationId),
                     qPrintable(filed->second.componentUnique));
        QCOMPARE(filed->second.keys.value(0), (Qt::MetaModifier | Qt::ShiftModifier | Qt::Key_2).toCombined());
        QVERIFY(hasSession());

        QVERIFY(invoke(filed->first));
        QTRY_COMPARE(first.events, QStringList{u"press"_s});
        // kglobalaccel reports no release for an invoked shortcut: the release follows on its own, once.
        QTRY_COMPARE_WITH_TIMEOUT(first.events, (QStringList{u"press"_s, u"release"_s}), 5000);
        QTest::qWait(300);
        QCOMPARE(first.events, (QStringList{u"press"_s, u"release"_s}));

        // A changed shortcut: the old grab goes, a new one comes, in a new session.
        grab.reset();
        Calls second;
        grab = service->grab(Shortcut{Key::three.rawValue, command | shift}, second.handlers());
        QVERIFY(grab);
        QTRY_VERIFY_WITH_TIMEOUT(hasSession(), 10000);
        QTRY_VERIFY_WITH_TIMEOUT((filed = filedShortcut()).has_value(), 10000);
        // KDE keeps the key it filed for the shortcut's id, which its settings may have changed: the desktop's
        // setting wins over the program's preference.
        qInfo() << "after the change kglobalaccel files" << QKeySequence(filed->second.keys.value(0)).toString();
        QVERIFY(invoke(filed->first));
        QTRY_COMPARE(second.events, QStringList{u"press"_s});
        QTRY_COMPARE_WITH_TIMEOUT(second.events, (QStringList{u"press"_s, u"release"_s}), 5000);
        QCOMPARE(first.events, (QStringList{u"press"_s, u"release"_s}));

        // Dropping the grab closes the session.
        grab.reset();
        QTRY_VERIFY_WITH_TIMEOUT(!hasSession(), 5000);
        invoke(filed->first);
        QTest::qWait(portalReleaseDelay.count() + 300);
        QCOMPARE(second.events, (QStringList{u"press"_s, u"release"_s}));
    }

private:
    bool enterApplicationScope()
    {
        const QString hierarchy = systemdHierarchy();
        if (hierarchy.isEmpty())
            return false;
        const QString own = hierarchy + ownCgroup(hierarchy);
        QString path = hierarchy;
        for (const QString &part :
             {u"user.slice"_s, u"user-%1.slice"_s.arg(getuid()), u"user@%1.service"_s.arg(getuid()), u"app.slice"_s,
              u"app-%1-%2.scope"_s.arg(applicationId).arg(getpid())}) {
            path += u'/' + part;
            if (!QDir(path).exists()) {
                if (!QDir().mkdir(path)) {
                    qWarning().noquote() << "cannot make the cgroup" << path;
                    return false;
                }
                m_madeCgroups.prepend(path);
            }
        }
        if (!moveInto(path))
            return false;
        m_ownCgroup = own;
        return true;
    }

    static QString portalProgram(const QString &program)
    {
        for (const QString &directory : {u"/usr/libexec"_s, u"/usr/lib/x86_64-linux-gnu/libexec"_s}) {
            if (QFile::exists(directory + u'/' + program))
                return directory + u'/' + program;
        }
        return {};
    }

    // kwin_wayland is installed with cap_sys_resource, which containers forbid: exec then fails.
    static bool dropKWinCapabilities()
    {
        const QString kwin = QStandardPaths::findExecutable(u"kwin_wayland"_s);
        QProcess getcap;
        getcap.start(u"getcap"_s, {kwin});
        if (!getcap.waitForFinished(5000) || getcap.readAllStandardOutput().trimmed().isEmpty())
            return true;
        return geteuid() == 0 && QProcess::execute(u"setcap"_s, {u"-r"_s, kwin}) == 0;
    }

    std::unique_ptr<TestSupport::PrivateSessionBus> m_bus;
    TestSupport::IsolatedXdgEnvironment m_xdg;
    QProcess m_kwin;
    QProcess m_backEnd;
    QProcess m_frontEnd;
    QString m_ownCgroup;
    bool m_hasApplicationId = false;
    QStringList m_madeCgroups; // deepest first
};

QTEST_GUILESS_MAIN(PortalHotKeyServiceKdeTest)
#include "portal_hot_key_service_kde_test.moc"
