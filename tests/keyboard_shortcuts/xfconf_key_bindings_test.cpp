#include "keyboard_shortcuts/desktop/xfconf_key_bindings.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "support/desktop_tools.h"
#include "support/private_session_bus.h"
#include "support/scoped_environment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::runCommand;
using TestSupport::ScopedEnvironment;

namespace {

const QString xfconfd = u"/usr/lib/x86_64-linux-gnu/xfce4/xfconf/xfconfd"_s;
const QString channel = u"xfce4-keyboard-shortcuts"_s;

// Creates the property with its type if need be, as Xfce's settings dialog does.
bool setChannelProperty(const QString &property, const QString &type, const QString &value)
{
    return runCommand(u"xfconf-query"_s, {u"-c"_s, channel, u"-p"_s, property, u"-n"_s, u"-t"_s, type, u"-s"_s, value})
               .exitCode == 0;
}

} // namespace

class XfconfKeyBindingsTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_root;
    std::optional<ScopedEnvironment> m_environment;
    std::unique_ptr<TestSupport::PrivateSessionBus> m_bus;
    QProcess m_xfconfd;
    std::unique_ptr<DesktopKeyBindings> m_bindings = makeXfconfKeyBindings();
    std::unique_ptr<KeyboardLayout> m_layout = makeUsKeyboardLayout();

    Shortcut shortcut(const QString &accelerator) const
    {
        return KeyNames(*m_layout).fromAccelerator(accelerator).value();
    }

private slots:
    // xfconfd keeps the channel under XDG_CONFIG_HOME; the empty XDG_CONFIG_DIRS hides any system defaults. The bus
    // gets them too, in case it starts a daemon of its own.
    void initTestCase()
    {
        QVERIFY(QDir(m_root.path()).mkpath(u"config"_s) && QDir(m_root.path()).mkpath(u"system"_s));
        m_environment.emplace(std::initializer_list<std::pair<const char *, QString>>{
            {"XDG_CONFIG_HOME", m_root.filePath(u"config"_s)},
            {"XDG_CONFIG_DIRS", m_root.filePath(u"system"_s)},
        });
        m_bus = TestSupport::PrivateSessionBus::start();
        QVERIFY(m_bus);
        m_xfconfd.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_xfconfd.start(xfconfd, {});
        QVERIFY(m_xfconfd.waitForStarted(5000));
        QTRY_VERIFY(QDBusConnection::sessionBus().interface()->isServiceRegistered(u"org.xfce.Xfconf"_s));
    }

    void cleanupTestCase()
    {
        m_xfconfd.terminate();
        if (!m_xfconfd.waitForFinished(3000))
            m_xfconfd.kill();
        m_xfconfd.waitForFinished(1000);
        m_bus.reset();
        m_environment.reset();
    }

    void cleanup()
    {
        QCOMPARE(runCommand(u"xfconf-query"_s, {u"-c"_s, channel, u"-p"_s, u"/"_s, u"-r"_s, u"-R"_s}).exitCode, 0);
    }

    void enabledBindings_data()
    {
        QTest::addColumn<QString>("property");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("accelerator");
        QTest::addColumn<bool>("reported");
        QTest::newRow("a custom command counts")
            << u"/commands/custom/<Primary><Alt>Delete"_s << u"xflock4"_s << u"<Primary><Alt>Delete"_s << true;
        QTest::newRow("a window manager action counts")
            << u"/xfwm4/custom/<Alt>F4"_s << u"close_window_key"_s << u"<Alt>F4"_s << true;
        QTest::newRow("a removed command, \"empty\", does not count")
            << u"/commands/custom/<Super>r"_s << u"empty"_s << u"<Super>r"_s << false;
        QTest::newRow("an empty command does not count")
            << u"/commands/custom/<Super>r"_s << QString() << u"<Super>r"_s << false;
        QTest::newRow("the defaults a reset restores do not count")
            << u"/xfwm4/default/<Alt>F11"_s << u"fullscreen_key"_s << u"<Alt>F11"_s << false;
    }
    void enabledBindings()
    {
        QFETCH(QString, property);
        QFETCH(QString, value);
        QFETCH(QString, accelerator);
        QFETCH(bool, reported);
        QVERIFY(setChannelProperty(property, u"string"_s, value));
        const std::vector<Shortcut> bindings = m_bindings->enabledBindings(KeyNames(*m_layout));
        QCOMPARE(std::ranges::find(bindings, shortcut(accelerator)) != bindings.end(), reported);
    }

    // Beside the shortcuts, the trees hold a boolean "override" switch.
    void nothingButTheShortcutsIsReported()
    {
        QVERIFY(setChannelProperty(u"/commands/custom/override"_s, u"bool"_s, u"true"_s));
        QVERIFY(setChannelProperty(u"/commands/custom/<Super>e"_s, u"string"_s, u"thunar"_s));
        QVERIFY(setChannelProperty(u"/commands/custom/<Super>NoSuchKey"_s, u"string"_s, u"thunar"_s));
        QVERIFY(setChannelProperty(u"/xfwm4/custom/override"_s, u"bool"_s, u"true"_s));
        const std::vector<Shortcut> expected{shortcut(u"<Super>e"_s)};
        QCOMPARE(m_bindings->enabledBindings(KeyNames(*m_layout)), expected);
    }
};

QTEST_GUILESS_MAIN(XfconfKeyBindingsTest)
#include "xfconf_key_bindings_test.moc"
