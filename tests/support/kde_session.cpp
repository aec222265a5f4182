#include "support/kde_session.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <QTest>

#include <sys/statfs.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr long cgroup2Magic = 0x63677270;
constexpr long cgroupMagic = 0x27e0eb;
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

} // namespace

Q_DECLARE_METATYPE(ShortcutInfo)

namespace TestSupport {
namespace {

bool waitForName(const QString &service, QProcess &process)
{
    QDeadlineTimer deadline(20000);
    if (!process.waitForStarted(5000))
        return false;
    while (!deadline.hasExpired() && process.state() == QProcess::Running) {
        if (QDBusConnection::sessionBus().interface()->isServiceRegistered(service))
            return true;
        QTest::qWait(50);
    }
    return false;
}

QString portalProgram(const QString &program)
{
    for (const QString &directory : {u"/usr/libexec"_s, u"/usr/lib/x86_64-linux-gnu/libexec"_s}) {
        if (QFile::exists(directory + u'/' + program))
            return directory + u'/' + program;
    }
    return {};
}

// kwin_wayland is installed with cap_sys_resource, which containers forbid: exec then fails.
bool dropKWinCapabilities()
{
    const QString kwin = QStandardPaths::findExecutable(u"kwin_wayland"_s);
    QProcess getcap;
    getcap.start(u"getcap"_s, {kwin});
    if (!getcap.waitForFinished(5000) || getcap.readAllStandardOutput().trimmed().isEmpty())
        return true;
    return geteuid() == 0 && QProcess::execute(u"setcap"_s, {u"-r"_s, kwin}) == 0;
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

} // namespace

std::unique_ptr<KdeSession> KdeSession::start(const QString &applicationId, QString *skipReason)
{
    for (const QString &program : {u"xdg-desktop-portal-kde"_s, u"xdg-desktop-portal"_s}) {
        if (portalProgram(program).isEmpty()) {
            *skipReason = u"not installed: "_s + program;
            return nullptr;
        }
    }
    if (QStandardPaths::findExecutable(u"kwin_wayland"_s).isEmpty()) {
        *skipReason = u"not installed: kwin_wayland"_s;
        return nullptr;
    }
    if (!dropKWinCapabilities()) {
        qWarning("kwin_wayland carries a file capability this system forbids; run as root or "
                 "`setcap -r /usr/bin/kwin_wayland` once");
        return nullptr;
    }
    qDBusRegisterMetaType<ShortcutInfo>();
    qDBusRegisterMetaType<QList<ShortcutInfo>>();

    std::unique_ptr<KdeSession> session(new KdeSession);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
    environment.insert(u"KDE_FULL_SESSION"_s, u"true"_s);
    environment.insert(u"KDE_SESSION_VERSION"_s, u"5"_s);
    environment.remove(u"QT_QPA_PLATFORM"_s);
    environment.remove(u"DISPLAY"_s);
    session->m_socket = u"wayland-scrivlet-%1"_s.arg(getpid());
    session->m_kwin.setProcessEnvironment(environment);
    session->m_kwin.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    session->m_kwin.start(u"kwin_wayland"_s, {u"--virtual"_s, u"--socket"_s, session->m_socket, u"--width"_s, u"1280"_s,
                                              u"--height"_s, u"800"_s});
    if (!waitForName(kglobalaccel, session->m_kwin)) {
        qWarning("kwin_wayland did not offer kglobalaccel");
        return nullptr;
    }

    // The KDE back end is a Qt 5 program that needs the Wayland platform; the front end must not start it.
    environment.insert(u"WAYLAND_DISPLAY"_s, session->m_socket);
    environment.insert(u"QT_QPA_PLATFORM"_s, u"wayland"_s);
    session->m_backEnd.setProcessEnvironment(environment);
    session->m_backEnd.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    session->m_backEnd.start(portalProgram(u"xdg-desktop-portal-kde"_s), {});
    if (!waitForName(u"org.freedesktop.impl.portal.desktop.kde"_s, session->m_backEnd)) {
        qWarning("xdg-desktop-portal-kde did not start");
        return nullptr;
    }
    session->m_frontEnd.setProcessEnvironment(environment);
    session->m_frontEnd.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    session->m_frontEnd.start(portalProgram(u"xdg-desktop-portal"_s), {u"-r"_s});
    if (!waitForName(u"org.freedesktop.portal.Desktop"_s, session->m_frontEnd)) {
        qWarning("xdg-desktop-portal did not start");
        return nullptr;
    }

    // Before anyone calls the portal, which reads and keeps a caller's application id at its first call.
    session->m_hasApplicationId = session->enterApplicationScope(applicationId);
    if (!session->m_hasApplicationId)
        qWarning("no cgroup named like an application's scope could be entered: running without an application id");
    return session;
}

KdeSession::~KdeSession()
{
    if (!m_ownCgroup.isEmpty())
        moveInto(m_ownCgroup);
    for (const QString &cgroup : std::as_const(m_madeCgroups))
        QDir().rmdir(cgroup);
    for (QProcess *process : {&m_frontEnd, &m_backEnd, &m_kwin}) {
        if (process->state() == QProcess::NotRunning)
            continue;
        process->terminate();
        if (!process->waitForFinished(5000))
            process->kill();
        process->waitForFinished(1000);
    }
}

bool KdeSession::enterApplicationScope(const QString &applicationId)
{
    const QString hierarchy = systemdHierarchy();
    if (hierarchy.isEmpty())
        return false;
    const QString own = hierarchy + ownCgroup(hierarchy);
    QString path = hierarchy;
    for (const QString &part : {u"user.slice"_s, u"user-%1.slice"_s.arg(getuid()), u"user@%1.service"_s.arg(getuid()),
                                u"app.slice"_s, u"app-%1-%2.scope"_s.arg(applicationId).arg(getpid())}) {
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

std::optional<FiledShortcut> filedShortcut(const QString &action)
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
            if (info.actionUnique == action)
                return FiledShortcut{component.path(), info.componentUnique, info.actionFriendly, info.keys};
        }
    }
    return std::nullopt;
}

bool invokeShortcut(const FiledShortcut &shortcut, const QString &action)
{
    return kglobalaccelCall(shortcut.componentPath, u"org.kde.kglobalaccel.Component"_s, u"invokeShortcut"_s, {action})
               .type() == QDBusMessage::ReplyMessage;
}

} // namespace TestSupport
