// The built program in a KDE Plasma Wayland session (headless kwin with the real desktop portal on a private
// bus): the stored shortcut is bound through the portal's global shortcuts, and the shortcut starts a capture
// through the portal's screenshot dialog. That dialog cannot run headless here (its back end fails without a
// screen to show it on), so the capture is followed as the request on the bus, not as a finished picture.

#include "keyboard_shortcuts/shortcut.h"
#include "support/kde_session.h"
#include "support/private_session_bus.h"
#include "support/scrivlet_process.h"
#include "support/xvfb_server.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;
using namespace TestSupport;

namespace {

const QString applicationId = u"app.scrivlet.Scrivlet"_s;
const QString action = u"toggleUnicornMode"_s;

bool storeShortcut(const KeyboardShortcuts::Shortcut &shortcut)
{
    const QString folder = qEnvironmentVariable("XDG_CONFIG_HOME") + u"/scrivlet"_s;
    QFile file(folder + u"/defaults.json"_s);
    const QJsonObject settings{{u"KeyboardShortcuts_"_s + action, QString::fromUtf8(shortcut.toJson())}};
    return QDir().mkpath(folder) && file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(settings).toJson()) > 0;
}

} // namespace

class KdeEndToEndTest : public QObject {
    Q_OBJECT

private:
    IsolatedXdgEnvironment m_xdg;
    std::unique_ptr<PrivateSessionBus> m_bus;
    std::unique_ptr<KdeSession> m_kde;

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(ScrivletProcess::program()), qPrintable(ScrivletProcess::program()));
        m_bus = PrivateSessionBus::start();
        QVERIFY(m_bus);
        QString skipReason;
        m_kde = KdeSession::start(applicationId, &skipReason);
        if (!m_kde && !skipReason.isEmpty())
            QSKIP(qPrintable(skipReason));
        QVERIFY(m_kde);
    }

    void cleanupTestCase()
    {
        m_kde.reset();
        m_bus.reset();
    }

    void theStoredShortcutStartsACaptureThroughThePortal()
    {
        const auto controlAltG =
            KeyboardShortcuts::Shortcut::fromKey(KeyboardShortcuts::Key::g, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(storeShortcut(controlAltG));

        QProcess monitor;
        monitor.start(u"dbus-monitor"_s, {u"--address"_s, m_bus->address(),
                                          u"type='method_call',interface='org.freedesktop.portal.Screenshot'"_s});
        QVERIFY(monitor.waitForStarted(5000));

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_SESSION_TYPE"_s, u"wayland"_s);
        environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
        environment.insert(u"WAYLAND_DISPLAY"_s, m_kde->waylandDisplay());
        environment.remove(u"DISPLAY"_s);
        environment.remove(u"QT_QPA_PLATFORM"_s);
        ScrivletProcess scrivlet(environment);

        // Filed under the program's id, with the stored combination as the key.
        std::optional<FiledShortcut> filed;
        QTRY_VERIFY_WITH_TIMEOUT((filed = filedShortcut(action)).has_value(), 20000);
        if (m_kde->hasApplicationId())
            QVERIFY2(filed->componentUnique.startsWith(applicationId), qPrintable(filed->componentUnique));
        QCOMPARE(filed->friendlyName, u"Scrivlet: Grab Text"_s);
        QCOMPARE(filed->keys.value(0), (Qt::ControlModifier | Qt::AltModifier | Qt::Key_G).toCombined());
        QTest::qWait(500);
        QVERIFY2(!monitor.readAllStandardOutput().contains("member=Screenshot"), "a capture before the shortcut");

        QVERIFY(invokeShortcut(*filed, action));
        QByteArray seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += monitor.readAllStandardOutput()).contains("member=Screenshot"), 10000);
        QVERIFY2(seen.contains("interactive"), seen.constData());

        monitor.kill();
        monitor.waitForFinished(2000);
    }
};

QTEST_GUILESS_MAIN(KdeEndToEndTest)
#include "kde_e2e_test.moc"
