#include "support/desktop_tools.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFont>
#include <QFontMetrics>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QProcess>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QWidget>

#include <optional>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using TestSupport::CommandResult;
using TestSupport::runCommand;

namespace {

// sway refuses to run as root; as root (CI) the session belongs to this user, made on first use.
constexpr auto sessionUser = "scrivlet-wl";
const QString focusWindowTitle = u"scrivlet-e2e-focus"_s;
constexpr QSize screenSize(1280, 800);

struct Account {
    uid_t uid = 0;
    gid_t gid = 0;
};

std::optional<Account> sessionAccount()
{
    if (::geteuid() != 0)
        return Account{::geteuid(), ::getegid()};
    if (!::getpwnam(sessionUser))
        runCommand(u"useradd"_s, {u"-m"_s, QString::fromLatin1(sessionUser)});
    const passwd *entry = ::getpwnam(sessionUser);
    if (!entry)
        return std::nullopt;
    return Account{entry->pw_uid, entry->pw_gid};
}

bool giveTo(const QString &path, const Account &account, QFileDevice::Permissions permissions)
{
    return ::chown(QFile::encodeName(path).constData(), account.uid, account.gid) == 0 &&
           QFile::setPermissions(path, permissions);
}

constexpr QFileDevice::Permissions privateFolder =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
constexpr QFileDevice::Permissions readableFile =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther;
constexpr QFileDevice::Permissions readableByAll =
    readableFile | QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;

// What the test puts on the screen, and where: two lines of large black text on white.
struct ScreenText {
    QImage screen;
    QRect region;
    QByteArray text;
};

ScreenText renderScreenText()
{
    const QStringList lines{u"Wayland clipboard 2026"_s, u"stays after quitting"_s};
    QFont font(u"DejaVu Sans"_s);
    font.setPixelSize(40);
    const QFontMetrics metrics(font);
    QImage screen(screenSize, QImage::Format_RGB32);
    screen.fill(Qt::white);
    QPainter painter(&screen);
    painter.setFont(font);
    painter.setPen(Qt::black);
    const QPoint origin(160, 240);
    QRect covered;
    for (int i = 0; i < lines.size(); ++i) {
        const QPoint baseline = origin + QPoint(0, i * metrics.lineSpacing() * 3 / 2);
        painter.drawText(baseline, lines[i]);
        covered |= metrics.boundingRect(lines[i]).translated(baseline);
    }
    return {screen, covered.adjusted(-24, -24, 24, 24), lines.join(u'\n').toUtf8()};
}

// A real sway session, headless, with the screen text as its background, run by the session user in a folder
// of its own. The programs it runs are copied there: the build tree may be out of that user's reach.
class SwaySession {
public:
    SwaySession() = default;
    ~SwaySession()
    {
        for (QProcess *process : {&m_window, &m_sway})
            stop(*process);
    }
    SwaySession(const SwaySession &) = delete;
    SwaySession &operator=(const SwaySession &) = delete;

    // Empty on success, else what went wrong.
    QString start(const ScreenText &text)
    {
        if (QStandardPaths::findExecutable(u"sway"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"grim"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"swaybg"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"wl-paste"_s).isEmpty() ||
            QStandardPaths::findExecutable(u"wl-copy"_s).isEmpty())
            return u"sway, swaybg, grim and wl-clipboard must be installed: bash scripts/install-deps.sh --test"_s;
        const std::optional<Account> account = sessionAccount();
        if (!account)
            return u"cannot make the user %1 for the session"_s.arg(QString::fromLatin1(sessionUser));
        m_account = *account;
        if (!m_dir.isValid() || !QFile::setPermissions(m_dir.path(), readableByAll))
            return u"no temporary folder"_s;
        const QString bin = path(u"bin"_s), run = path(u"run"_s), home = path(u"home"_s);
        for (const QString &folder : {bin, run, home})
            QDir().mkpath(folder);
        if (!giveTo(run, m_account, privateFolder) || !giveTo(home, m_account, privateFolder))
            return u"cannot give the session's folders to its user"_s;

        const QString programs = qEnvironmentVariable("SCRIVLET_BINARY_DIR") + u"/src/app/"_s;
        for (const QString &program : {u"scrivlet"_s, u"scrivlet-recognizer"_s}) {
            if (!QFile::copy(programs + program, bin + u'/' + program))
                return u"cannot copy %1%2"_s.arg(programs, program);
        }
        QFile::copy(QCoreApplication::applicationFilePath(), bin + u"/focus-window"_s);
        QFile::copy(qEnvironmentVariable("SCRIVLET_SOURCE_DIR") + u"/tests/lsan.supp"_s, path(u"lsan.supp"_s));
        // No pointer in a headless seat: the region a person would drag.
        const QRect r = text.region;
        writeFile(u"bin/slurp"_s,
                  u"#!/bin/sh\necho '%1,%2 %3x%4'\n"_s.arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height()).toUtf8());
        if (!text.screen.save(path(u"screen.png"_s)))
            return u"cannot save the screen image"_s;
        writeFile(u"sway.conf"_s,
                  u"output HEADLESS-1 resolution %1x%2 bg %3 center #ffffff\n"
                  u"default_border none\nxwayland enable\n"
                  u"exec sh -c 'echo \"$DISPLAY\" > \"$XDG_RUNTIME_DIR/display\"'\n"_s.arg(screenSize.width())
                      .arg(screenSize.height())
                      .arg(path(u"screen.png"_s))
                      .toUtf8());
        for (const QString &file : QDir(m_dir.path()).entryList(QDir::Files))
            QFile::setPermissions(path(file), readableFile);
        for (const QString &file : QDir(bin).entryList(QDir::Files))
            QFile::setPermissions(bin + u'/' + file, readableByAll);

        const QList<std::pair<QString, QString>> variables{
            {u"HOME"_s, home},
            {u"XDG_RUNTIME_DIR"_s, run},
            {u"XDG_CONFIG_HOME"_s, home + u"/.config"_s},
            {u"XDG_DATA_HOME"_s, home + u"/.local/share"_s},
            {u"XDG_CACHE_HOME"_s, home + u"/.cache"_s},
            {u"PATH"_s, bin + u":/usr/local/bin:/usr/bin:/bin"_s},
            {u"LANG"_s, u"C.UTF-8"_s},
            {u"DBUS_SESSION_BUS_ADDRESS"_s, u"disabled:"_s},
            {u"OMP_THREAD_LIMIT"_s, u"1"_s},
            {u"LSAN_OPTIONS"_s, u"suppressions=%1:print_suppressions=0"_s.arg(path(u"lsan.supp"_s))},
        };
        for (const auto &[name, value] : variables)
            m_environment.insert(name, value);
        for (const char *sanitizer : {"ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
            if (qEnvironmentVariableIsSet(sanitizer))
                m_environment.insert(QString::fromLatin1(sanitizer), qEnvironmentVariable(sanitizer));
        }

        QProcessEnvironment swayEnvironment = m_environment;
        swayEnvironment.insert(u"WLR_BACKENDS"_s, u"headless"_s);
        swayEnvironment.insert(u"WLR_LIBINPUT_NO_DEVICES"_s, u"1"_s);
        swayEnvironment.insert(u"WLR_RENDERER"_s, u"pixman"_s);
        m_sway.setProcessChannelMode(QProcess::MergedChannels);
        m_sway.setStandardOutputFile(path(u"sway.log"_s));
        startAsUser(m_sway, u"sway"_s, {u"-c"_s, path(u"sway.conf"_s)}, swayEnvironment);
        QDeadlineTimer deadline(20s);
        while (!deadline.hasExpired() && m_sway.state() == QProcess::Running &&
               (socketNamed(u"wayland-*"_s).isEmpty() || socketNamed(u"sway-ipc.*"_s).isEmpty() ||
                readFile(u"run/display"_s).trimmed().isEmpty()))
            QTest::qWait(50);
        if (m_sway.state() != QProcess::Running || deadline.hasExpired())
            return u"sway did not start (%1, exit code %2): %3"_s.arg(m_sway.errorString())
                .arg(m_sway.exitCode())
                .arg(QString::fromLocal8Bit(readFile(u"sway.log"_s)));
        m_environment.insert(u"WAYLAND_DISPLAY"_s, socketNamed(u"wayland-*"_s));
        m_environment.insert(u"SWAYSOCK"_s, run + u'/' + socketNamed(u"sway-ipc.*"_s));
        m_environment.insert(u"DISPLAY"_s, QString::fromUtf8(readFile(u"run/display"_s).trimmed()));
        // What a login manager says of a sway session; Qt would pick its Wayland plugin on this alone.
        m_environment.insert(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
        m_environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"sway"_s);
        return {};
    }

    QString path(const QString &name) const { return m_dir.filePath(name); }

    QProcessEnvironment environment() const { return m_environment; }

    // The program as the session's user, with the session's environment; it replaces setpriv, so the process
    // id is the program's own.
    void startAsUser(QProcess &process, const QString &program, const QStringList &arguments,
                     const QProcessEnvironment &environment) const
    {
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(path(u"home"_s));
        if (::geteuid() != 0)
            process.start(program, arguments);
        else
            process.start(u"setpriv"_s,
                          QStringList{u"--reuid=%1"_s.arg(m_account.uid), u"--regid=%1"_s.arg(m_account.gid),
                                      u"--init-groups"_s, u"--"_s, program} +
                              arguments);
        process.waitForStarted();
    }
    void startAsUser(QProcess &process, const QString &program, const QStringList &arguments) const
    {
        startAsUser(process, program, arguments, environment());
    }

    CommandResult runAsUser(const QString &program, const QStringList &arguments) const
    {
        QProcess process;
        startAsUser(process, program, arguments);
        CommandResult result;
        if (!process.waitForFinished(20000)) {
            stop(process);
            return result;
        }
        result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.standardOutput = process.readAllStandardOutput();
        result.standardError = process.readAllStandardError();
        return result;
    }

    // What a Wayland program pastes now; empty when the clipboard is.
    QByteArray paste() const
    {
        const CommandResult result = runAsUser(u"wl-paste"_s, {u"--no-newline"_s});
        return result.exitCode == 0 ? result.standardOutput : QByteArray();
    }

    // A plain Wayland window of another program, which sway gives the focus.
    bool openFocusWindow()
    {
        QProcessEnvironment windowEnvironment = m_environment;
        m_window.setProcessChannelMode(QProcess::ForwardedChannels);
        windowEnvironment.insert(u"QT_QPA_PLATFORM"_s, u"wayland"_s);
        startAsUser(m_window, path(u"bin/focus-window"_s), {u"--window"_s, focusWindowTitle}, windowEnvironment);
        QDeadlineTimer deadline(20s);
        while (!deadline.hasExpired() && m_window.state() != QProcess::NotRunning) {
            if (focusedWindowName() == focusWindowTitle)
                return true;
            QTest::qWait(100);
        }
        return false;
    }

    QString focusedWindowName() const
    {
        const CommandResult tree = runAsUser(u"swaymsg"_s, {u"-t"_s, u"get_tree"_s});
        return focusedIn(QJsonDocument::fromJson(tree.standardOutput).object()).value_or(QString());
    }

    static void stop(QProcess &process)
    {
        if (process.state() == QProcess::NotRunning)
            return;
        process.terminate();
        if (!process.waitForFinished(5000))
            process.kill();
        process.waitForFinished(2000);
    }

private:
    static std::optional<QString> focusedIn(const QJsonObject &node)
    {
        if (node.value(u"focused"_s).toBool())
            return node.value(u"name"_s).toString();
        for (const char *children : {"nodes", "floating_nodes"}) {
            for (const QJsonValue child : node.value(QLatin1String(children)).toArray()) {
                if (std::optional<QString> name = focusedIn(child.toObject()))
                    return name;
            }
        }
        return std::nullopt;
    }

    QString socketNamed(const QString &pattern) const
    {
        const QStringList found = QDir(path(u"run"_s)).entryList({pattern}, QDir::System);
        for (const QString &name : found) {
            if (!name.endsWith(u".lock"_s))
                return name;
        }
        return {};
    }

    void writeFile(const QString &name, const QByteArray &contents) const
    {
        QFile file(path(name));
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(contents);
    }

    QByteArray readFile(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_dir;
    Account m_account;
    QProcessEnvironment m_environment;
    QProcess m_sway;
    QProcess m_window;
};

// Waits for a condition that takes time to check itself (QTRY counts only the time between checks).
template <typename Condition> bool within(std::chrono::milliseconds limit, Condition condition)
{
    const QDeadlineTimer deadline(limit);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QTest::qWait(100);
    }
    return true;
}

// The test binary's other role: a plain window for sway to give the focus to.
int showFocusWindow(int argc, char **argv)
{
    QApplication app(argc, argv);
    QWidget window;
    window.setWindowTitle(QString::fromLocal8Bit(argv[2]));
    window.resize(400, 300);
    window.show();
    return app.exec();
}

} // namespace

// The built program in a real headless sway session: the recognised text reaches Wayland programs through the
// clipboard and stays there after the program has quit and another window has the focus.
class WaylandEndToEndTest : public QObject {
    Q_OBJECT

private slots:
    void recognisedTextStaysOnTheClipboardAfterScrivletQuits()
    {
        const ScreenText text = renderScreenText();
        SwaySession session;
        const QString problem = session.start(text);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));

        // The screen as grim sees it: the background is drawn a moment after sway starts.
        const QString shot = session.path(u"run/shot.png"_s);
        const QString geometry = u"%1,%2 %3x%4"_s.arg(text.region.x())
                                     .arg(text.region.y())
                                     .arg(text.region.width())
                                     .arg(text.region.height());
        QVERIFY2(within(15s,
                        [&] {
                            return session.runAsUser(u"grim"_s, {u"-g"_s, geometry, shot}).exitCode == 0 &&
                                   QImage(shot).convertToFormat(QImage::Format_RGB32) == text.screen.copy(text.region);
                        }),
                 "grim does not see the screen text");

        QProcess scrivlet;
        scrivlet.setProcessChannelMode(QProcess::ForwardedChannels);
        session.startAsUser(scrivlet, session.path(u"bin/scrivlet"_s), {});
        const auto stopScrivlet = qScopeGuard([&scrivlet] { SwaySession::stop(scrivlet); });
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(session.path(u"run/scrivlet/instance.lock"_s)), 20000);
        QCOMPARE(scrivlet.state(), QProcess::Running);
        // Through XWayland, as chosen for a sway session, although the session says "wayland".
        const auto loadedLibraries = [&scrivlet] {
            QFile maps(u"/proc/%1/maps"_s.arg(scrivlet.processId()));
            return maps.open(QIODevice::ReadOnly) ? maps.readAll() : QByteArray();
        };
        QTRY_VERIFY_WITH_TIMEOUT(loadedLibraries().contains("/libqxcb.so"), 20000);

        const CommandResult grab = session.runAsUser(session.path(u"bin/scrivlet"_s), {u"scrivlet:///_Grab_"_s});
        QVERIFY2(grab.exitCode == 0, grab.standardError.constData());
        QByteArray pasted;
        QVERIFY2(within(40s, [&] { return (pasted = session.paste()) == text.text; }),
                 qPrintable(u"wl-paste gave \"%1\""_s.arg(QString::fromUtf8(pasted))));

        SwaySession::stop(scrivlet);
        QCOMPARE(scrivlet.state(), QProcess::NotRunning);
        QVERIFY(session.openFocusWindow());
        QCOMPARE(session.paste(), text.text);
    }
};

int main(int argc, char **argv)
{
    if (argc == 3 && qstrcmp(argv[1], "--window") == 0)
        return showFocusWindow(argc, argv);
    QApplication app(argc, argv);
    WaylandEndToEndTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "wayland_e2e_test.moc"
