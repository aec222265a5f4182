#include "platform/dbus_widget_center.h"
#include "platform/freedesktop_notifier.h"
#include "platform/notification_store_review.h"
#include "platform/portal_region_capture_tool.h"
#include "support/fake_platform.h"
#include "support/private_session_bus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFile>
#include <QImage>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <optional>

namespace {

// Stands in for the desktop's screenshot portal: answers each request as the test says, a moment later.
class FakeScreenshotPortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Screenshot")
public:
    explicit FakeScreenshotPortal(QDBusConnection bus) : m_bus(bus) {}

    uint response = 0;
    QString uri;
    QVariantMap lastOptions;

public Q_SLOTS:
    QDBusObjectPath Screenshot(const QString &, const QVariantMap &options, const QDBusMessage &message)
    {
        lastOptions = options;
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString path = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                                 .arg(sender, options.value(QStringLiteral("handle_token")).toString());
        QTimer::singleShot(50, this, [this, path] {
            QDBusMessage signal = QDBusMessage::createSignal(path, QStringLiteral("org.freedesktop.portal.Request"),
                                                             QStringLiteral("Response"));
            signal << response << QVariantMap{{QStringLiteral("uri"), uri}};
            m_bus.send(signal);
        });
        return QDBusObjectPath(path);
    }

private:
    QDBusConnection m_bus;
};

// Stands in for the notification server: remembers what it was asked to show.
class FakeNotificationServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    QStringList summaries;
    QStringList bodies;
    QStringList actions;
    QVariantMap hints;

public Q_SLOTS:
    uint Notify(const QString &, uint, const QString &, const QString &summary, const QString &body,
                const QStringList &notificationActions, const QVariantMap &notificationHints, int)
    {
        summaries << summary;
        bodies << body;
        actions = notificationActions;
        hints = notificationHints;
        return 7;
    }
};

} // namespace

class DBusServicesTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestSupport::PrivateSessionBus> m_bus;
    QTemporaryDir m_dir;

    QDBusConnection serviceConnection(const QString &name)
    {
        return QDBusConnection::connectToBus(m_bus->address(), name);
    }

private slots:
    void initTestCase()
    {
        m_bus = TestSupport::PrivateSessionBus::start();
        QVERIFY2(m_bus, "dbus-daemon must be installed");
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    void historyChangesAreAnnouncedOnTheBus()
    {
        QDBusConnection listener = serviceConnection(QStringLiteral("listener"));
        QSignalSpy changed(this, &DBusServicesTest::historyChanged);
        QVERIFY(listener.connect(QString(), QStringLiteral("/app/scrivlet/History"),
                                 QStringLiteral("app.scrivlet.History"), QStringLiteral("Changed"), this,
                                 SIGNAL(historyChanged())));
        auto center = Platform::DBusWidgetCenter::connect();
        QVERIFY(center);
        center->reloadAllTimelines();
        QVERIFY(changed.wait(5000));
    }

    void theRatingInvitationOpensTheStorePage()
    {
        QDBusConnection server = serviceConnection(QStringLiteral("notifications"));
        FakeNotificationServer notifications;
        QVERIFY(server.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &notifications,
                                      QDBusConnection::ExportAllSlots));
        QVERIFY(server.registerService(QStringLiteral("org.freedesktop.Notifications")));
        TestSupport::FakeUrlOpener opener;
        auto review = Platform::NotificationStoreReview::connect(opener);
        QVERIFY(review);
        review->requestReview();
        QTRY_COMPARE(notifications.summaries.size(), 1);
        QVERIFY(notifications.actions.contains(QStringLiteral("rate")));

        const auto invoke = [&](uint id, const QString &action) {
            QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/Notifications"),
                                                             QStringLiteral("org.freedesktop.Notifications"),
                                                             QStringLiteral("ActionInvoked"));
            signal << id << action;
            server.send(signal);
        };
        // The server's answer to Notify may still be on its way; the click comes when the user makes it.
        QTRY_VERIFY((invoke(7, QStringLiteral("rate")), !opener.opened.isEmpty()));
        QCOMPARE(opener.opened.first(), QUrl(QStringLiteral("appstream://app.scrivlet.Scrivlet")));

        QTest::qWait(300); // clicks the loop sent before the first one arrived
        opener.opened.clear();
        invoke(8, QStringLiteral("rate")); // another program's notification
        invoke(7, QStringLiteral("dismiss"));
        QTest::qWait(300);
        QVERIFY(opener.opened.isEmpty());
        server.unregisterService(QStringLiteral("org.freedesktop.Notifications"));
    }

    void aNoticeIsTakenOnlyWhereANotificationServerRuns()
    {
        auto notifier = Platform::FreedesktopNotifier::connect();
        QVERIFY(notifier);
        const Platform::Notice notice{QStringLiteral("Summary ✓"), QStringLiteral("First line.\nSecond “line”.")};
        std::optional<bool> taken;
        notifier->notify(notice, [&taken](bool answer) { taken = answer; });
        QTRY_VERIFY(taken.has_value());
        QCOMPARE(*taken, false); // nothing on the bus shows notices

        QDBusConnection server = serviceConnection(QStringLiteral("notices"));
        FakeNotificationServer notifications;
        QVERIFY(server.registerObject(QStringLiteral("/org/freedesktop/Notifications"), &notifications,
                                      QDBusConnection::ExportAllSlots));
        QVERIFY(server.registerService(QStringLiteral("org.freedesktop.Notifications")));
        const auto unregister =
            qScopeGuard([&server] { server.unregisterService(QStringLiteral("org.freedesktop.Notifications")); });
        taken.reset();
        notifier->notify(notice, [&taken](bool answer) { taken = answer; });
        QTRY_VERIFY(taken.has_value());
        QCOMPARE(*taken, true);
        QCOMPARE(notifications.summaries, QStringList{notice.summary});
        QCOMPARE(notifications.bodies, QStringList{notice.body});
        QVERIFY(notifications.actions.isEmpty());
        // The desktop shows the notice under Scrivlet's name and icon, from its installed entry.
        QCOMPARE(notifications.hints.value(QStringLiteral("desktop-entry")).toString(), QStringLiteral("scrivlet"));
    }

    void thePortalsScreenshotBecomesTheCapture()
    {
        QVERIFY(!Platform::PortalRegionCaptureTool::connect()); // no portal on the bus yet
        QDBusConnection server = serviceConnection(QStringLiteral("portal"));
        FakeScreenshotPortal portal(server);
        QVERIFY(server.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), &portal,
                                      QDBusConnection::ExportAllSlots));
        QVERIFY(server.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
        auto tool = Platform::PortalRegionCaptureTool::connect();
        QVERIFY(tool);

        const QString saved = m_dir.filePath(QStringLiteral("Screenshot from the portal.png"));
        QImage image(64, 48, QImage::Format_RGB32);
        image.fill(Qt::red);
        QVERIFY(image.save(saved));
        portal.uri = QUrl::fromLocalFile(saved).toString();
        const QString destination = m_dir.filePath(QStringLiteral("captureRegion.png"));
        tool->captureRegion(destination);
        QCOMPARE(portal.lastOptions.value(QStringLiteral("interactive")).toBool(), true);
        QCOMPARE(QImage(destination).size(), QSize(64, 48));
        QVERIFY(!QFile::exists(saved)); // taken over, not left behind

        QFile::remove(destination);
        portal.response = 1; // the user cancelled in the portal's dialog
        tool->captureRegion(destination);
        QVERIFY(!QFile::exists(destination));
        server.unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
    }

signals:
    void historyChanged();
};

QTEST_GUILESS_MAIN(DBusServicesTest)
#include "dbus_services_test.moc"
