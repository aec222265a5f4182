// GLib names struct members "signals", which Qt defines as a keyword.
#pragma push_macro("signals")
#undef signals
#include <gio/gdesktopappinfo.h>
#pragma pop_macro("signals")

#include "app/tray_icon_notice.h"
#include "support/desktop_tools.h"
#include "support/notification_server_stand_in.h"
#include "support/private_session_bus.h"
#include "support/rendered_images.h"
#include "support/scrivlet_process.h"
#include "support/stand_in_capture_tool.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <QTest>

#include <memory>

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;
using namespace TestSupport;

namespace {

struct GObjectUnref {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
using DesktopAppInfo = std::unique_ptr<GDesktopAppInfo, GObjectUnref>;

struct GFree {
    void operator()(gpointer memory) const noexcept { g_free(memory); }
};

QString installedEntry()
{
    return qEnvironmentVariable("SCRIVLET_SOURCE_DIR") + u"/resources/scrivlet.desktop"_s;
}

QJsonObject storedSettings()
{
    QFile file(qEnvironmentVariable("XDG_CONFIG_HOME") + u"/scrivlet/defaults.json"_s);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

} // namespace

// The built program where no tray host runs (stock GNOME): the desktop entry's actions start captures, and the first
// start says once how to get a tray icon.
class NoTrayEndToEndTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<PrivateSessionBus> m_bus;
    std::unique_ptr<StandInCaptureTool> m_tool;
    std::unique_ptr<NotificationServerStandIn> m_notifications;

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(ScrivletProcess::program()), qPrintable(ScrivletProcess::program()));
        m_bus = PrivateSessionBus::start();
        QVERIFY(m_bus);
        m_tool = StandInCaptureTool::create();
        QVERIFY(m_tool);
        m_notifications = NotificationServerStandIn::start(m_bus->address());
        QVERIFY(m_notifications);
    }

    void cleanupTestCase()
    {
        m_notifications.reset();
        m_bus.reset();
    }

    void theFirstStartSaysOnceHowToGetATrayIcon()
    {
        QElapsedTimer sinceStart;
        sinceStart.start();
        ScrivletProcess scrivlet(m_tool->environment());
        QTRY_COMPARE_WITH_TIMEOUT(m_notifications->notifications.size(), 1,
                                  std::chrono::milliseconds(trayIconNoticeDelay + 15s).count());
        qInfo("notice shown %lld ms after the start", static_cast<long long>(sinceStart.elapsed()));
        const NotificationServerStandIn::Notification notice = m_notifications->notifications.first();
        QCOMPARE(notice.applicationName, u"Scrivlet"_s);
        QCOMPARE(notice.hints.value(u"desktop-entry"_s).toString(), u"scrivlet"_s);
        QVERIFY(!notice.summary.isEmpty());
        // No desktop named: the general advice, the actions of the entry, and the global shortcut, which X11 gives.
        for (const QString &said : {u"panel with a system tray"_s, u"Read QR Code"_s, u"press Super+Shift+2"_s})
            QVERIFY2(notice.body.contains(said), qPrintable(notice.body));
        QTRY_VERIFY(storedSettings().value(u"trayIconNoticeShown"_s).toBool());
        QCOMPARE(scrivlet.process().state(), QProcess::Running);
    }

    void theEntrysActionsStartCaptures()
    {
        const CommandResult validated = runCommand(u"desktop-file-validate"_s, {installedEntry()});
        QCOMPARE(validated.exitCode, 0);
        // It prints hints and warnings too, and exits 0 after them.
        QCOMPARE(validated.standardOutput + validated.standardError, QByteArray());

        // The entry's command names the program as installed: here the built one, found on PATH (GIO refuses an
        // entry whose program it cannot find).
        QVERIFY(QFile::link(ScrivletProcess::program(), m_tool->folder() + u"/scrivlet"_s));
        const QByteArray path = qgetenv("PATH");
        const auto restorePath = qScopeGuard([path] { qputenv("PATH", path); });
        qputenv("PATH", QFile::encodeName(m_tool->folder()) + ':' + path);
        const DesktopAppInfo entry(g_desktop_app_info_new_from_filename(QFile::encodeName(installedEntry())));
        QVERIFY(entry);
        // URL requests arrive through the scheme handler.
        QCOMPARE(QString::fromUtf8(g_app_info_get_commandline(G_APP_INFO(entry.get()))), u"scrivlet %u"_s);
        const std::unique_ptr<char, GFree> types(g_desktop_app_info_get_string(entry.get(), "MimeType"));
        QVERIFY(types && QString::fromUtf8(types.get()).split(u';').contains(u"x-scheme-handler/scrivlet"_s));
        QStringList actions;
        QStringList names;
        for (const gchar *const *action = g_desktop_app_info_list_actions(entry.get()); *action; ++action) {
            actions << QString::fromUtf8(*action);
            const std::unique_ptr<char, GFree> name(g_desktop_app_info_get_action_name(entry.get(), *action));
            names << QString::fromUtf8(name.get());
        }
        QCOMPARE(actions, QStringList({u"grab-text"_s, u"read-qr-code"_s}));
        QCOMPARE(names, QStringList({u"Grab Text"_s, u"Read QR Code"_s}));

        // Left by the program of the case before, which was stopped with a signal.
        const QString lock = qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/scrivlet/instance.lock"_s;
        QFile::remove(lock);
        ScrivletProcess scrivlet(m_tool->environment());
        // The instance from here on: a later start hands it its request.
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(lock), 10000);

        // Launched as the desktop launches an action chosen in its menu; the running program carries it out.
        const QString text = u"Hello Scrivlet 2024"_s;
        QVERIFY(m_tool->setImage(TestSupport::renderHeadline(text)));
        const int runsBefore = m_tool->runs();
        g_desktop_app_info_launch_action(entry.get(), "grab-text", nullptr);
        QTRY_COMPARE_WITH_TIMEOUT(m_tool->runs(), runsBefore + 1, 20000);
        QVERIFY2(scrivlet.waitForOutput(u"[\"%1\"]"_s.arg(text), 30s), qPrintable(scrivlet.output()));

        const QString payload = u"Grüße aus Scrivlet ✓"_s;
        QVERIFY(m_tool->setImage(renderCode(payload, 4)));
        g_desktop_app_info_launch_action(entry.get(), "read-qr-code", nullptr);
        QTRY_COMPARE_WITH_TIMEOUT(m_tool->runs(), runsBefore + 2, 20000);
        QVERIFY2(scrivlet.waitForOutput(u"Observations are [QRCode \"%1\""_s.arg(payload), 30s),
                 qPrintable(scrivlet.output()));
        QCOMPARE(scrivlet.process().state(), QProcess::Running);
    }
};

SCRIVLET_X11_TEST_MAIN(NoTrayEndToEndTest)
#include "no_tray_e2e_test.moc"
