#include "support/desktop_tools.h"
#include "support/private_dconf.h"

#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using TestSupport::runCommand;

namespace {

const QString mediaKeys = u"org.gnome.settings-daemon.plugins.media-keys"_s;
const QString folder = u"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/"_s;
const QString usersPath = folder + u"custom0/"_s;
const QString ourPath = folder + u"scrivlet-toggleUnicornMode/"_s;

QString scrivletProgram()
{
    return qEnvironmentVariable("SCRIVLET_BINARY_DIR") + u"/src/app/scrivlet"_s;
}

QString gsettingsGet(const QString &schema, const QString &key)
{
    return QString::fromUtf8(runCommand(u"gsettings"_s, {u"get"_s, schema, key}).standardOutput.trimmed());
}

QString entryValue(const QString &key)
{
    return gsettingsGet(mediaKeys + u".custom-keybinding:"_s + ourPath, key);
}

} // namespace

// The built program in a GNOME Wayland session without the GlobalShortcuts portal: what GNOME's settings daemon
// would find and run. The daemon itself (and the shell it needs) is not installed here; dconf and the schemas are
// the real ones.
class GnomeEndToEndTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestSupport::PrivateDconf> m_dconf;

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(scrivletProgram()), qPrintable(scrivletProgram()));
        m_dconf =
            TestSupport::PrivateDconf::start({u"org.gnome.settings-daemon.plugins.media-keys.gschema.xml"_s},
                                             {
                                                 {"XDG_CURRENT_DESKTOP", u"GNOME"_s},
                                                 {"XDG_SESSION_TYPE", u"wayland"_s},
                                                 // No compositor answers there; the program's windows stay off screen.
                                                 {"WAYLAND_DISPLAY", u"wayland-none"_s},
                                                 {"QT_QPA_PLATFORM", u"offscreen"_s},
                                             });
        QVERIFY(m_dconf);
    }

    void cleanupTestCase() { m_dconf.reset(); }

    void theShortcutIsACustomShortcutThatReachesTheRunningProgram()
    {
        QCOMPARE(runCommand(u"dconf"_s, {u"write"_s, usersPath + u"binding"_s, u"'<Primary><Alt>t'"_s}).exitCode, 0);
        QCOMPARE(runCommand(u"dconf"_s, {u"write"_s, folder.chopped(1), u"['%1']"_s.arg(usersPath)}).exitCode, 0);
        QProcess program;
        program.setProcessChannelMode(QProcess::ForwardedChannels);
        program.start(scrivletProgram(), {});
        const auto stop = qScopeGuard([&program] {
            program.terminate();
            if (!program.waitForFinished(5000))
                program.kill();
            program.waitForFinished(2000);
        });
        QVERIFY(program.waitForStarted());
        const QString bothListed = u"['%1', '%2']"_s.arg(usersPath, ourPath);
        QTRY_COMPARE_WITH_TIMEOUT(gsettingsGet(mediaKeys, u"custom-keybindings"_s), bothListed, 20000);
        QCOMPARE(entryValue(u"name"_s), u"'Scrivlet: Grab Text'"_s);
        QCOMPARE(entryValue(u"binding"_s), u"'<Super><Shift>2'"_s);
        const QString command = entryValue(u"command"_s);
        QCOMPARE(command, u"'%1 scrivlet:///_Grab_'"_s.arg(scrivletProgram()));

        // Run as the settings daemon runs it: split as a shell splits it. A second start exits 0 only once the
        // running program took the request.
        const TestSupport::CommandResult pressed = runCommand(u"sh"_s, {u"-c"_s, command.sliced(1).chopped(1)});
        QCOMPARE(pressed.exitCode, 0);
        QCOMPARE(program.state(), QProcess::Running);
        QCOMPARE(gsettingsGet(mediaKeys, u"custom-keybindings"_s), bothListed);
    }
};

QTEST_GUILESS_MAIN(GnomeEndToEndTest)
#include "gnome_e2e_test.moc"
