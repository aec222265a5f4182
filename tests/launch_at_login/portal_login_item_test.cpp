#include "launch_at_login/portal_login_item.h"

#include "launch_at_login/login_item_switch.h"
#include "log_capture.h"
#include "support/private_session_bus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using LaunchAtLogin::PortalLoginItem;
using LaunchAtLoginTesting::LogCapture;
using namespace Qt::Literals::StringLiterals;

namespace {

// Stands in for the desktop portal's Background interface: answers each request as the test says, after the
// call has returned, on the request path the caller's handle_token names.
class FakeBackgroundPortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Background")
public:
    explicit FakeBackgroundPortal(QDBusConnection bus) : m_bus(std::move(bus)) {}

    uint response = 0;
    bool grantAutostart = true;
    QVariantMap lastOptions;

public Q_SLOTS:
    QDBusObjectPath RequestBackground(const QString &, const QVariantMap &options, const QDBusMessage &message)
    {
        lastOptions = options;
        QString sender = message.service().mid(1);
        sender.replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString path =
            u"/org/freedesktop/portal/desktop/request/%1/%2"_s.arg(sender, options.value(u"handle_token"_s).toString());
        QTimer::singleShot(0, this, [this, path] {
            QDBusMessage signal = QDBusMessage::createSignal(path, u"org.freedesktop.portal.Request"_s, u"Response"_s);
            signal << response << QVariantMap{{u"background"_s, true}, {u"autostart"_s, grantAutostart}};
            m_bus.send(signal);
        });
        return QDBusObjectPath(path);
    }

private:
    QDBusConnection m_bus;
};

} // namespace

class PortalLoginItemTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestSupport::PrivateSessionBus> m_bus;
    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        m_bus = TestSupport::PrivateSessionBus::start();
        QVERIFY2(m_bus, "dbus-daemon must be installed");
        QVERIFY(QDBusConnection::sessionBus().isConnected());
    }

    void thePortalsAnswerIsTheState_data()
    {
        QTest::addColumn<bool>("before");
        QTest::addColumn<bool>("enable");
        QTest::addColumn<bool>("portalRunning");
        QTest::addColumn<uint>("response");
        QTest::addColumn<bool>("grantAutostart");
        QTest::addColumn<bool>("after");
        QTest::addColumn<QString>("logged");
        QTest::newRow("a granted request turns it on") << false << true << true << 0u << true << true << "";
        QTest::newRow("a granted request turns it off") << true << false << true << 0u << false << false << "";
        QTest::newRow("a refusal keeps it off")
            << false << true << true << 2u << false << false
            << "Failed to enable launch at login: the desktop portal refused the request";
        QTest::newRow("an answer without autostart is what was granted")
            << true << true << true << 0u << false << false
            << "Failed to enable launch at login: the desktop did not allow it";
        QTest::newRow("no portal keeps the last answer")
            << true << false << false << 0u << false << true
            << "Failed to disable launch at login: the desktop portal did not take the request";
    }
    void thePortalsAnswerIsTheState()
    {
        QFETCH(bool, before);
        QFETCH(bool, enable);
        QFETCH(bool, portalRunning);
        QFETCH(uint, response);
        QFETCH(bool, grantAutostart);
        QFETCH(bool, after);
        QFETCH(QString, logged);
        QDBusConnection server = QDBusConnection::connectToBus(m_bus->address(), u"portal"_s);
        const auto disconnect = qScopeGuard([] { QDBusConnection::disconnectFromBus(u"portal"_s); });
        FakeBackgroundPortal portal(server);
        portal.response = response;
        portal.grantAutostart = grantAutostart;
        QVERIFY(server.registerObject(u"/org/freedesktop/portal/desktop"_s, &portal, QDBusConnection::ExportAllSlots));
        if (portalRunning)
            QVERIFY(server.registerService(u"org.freedesktop.portal.Desktop"_s));

        UserDefaults defaults(m_dir.filePath(QString::fromUtf8(QTest::currentDataTag()) + u".json"_s));
        defaults.setBoolean(QLatin1String(PortalLoginItem::grantedKey), before);
        PortalLoginItem item(QDBusConnection::sessionBus(), defaults, {QCoreApplication::applicationFilePath()},
                             u"Start Scrivlet when you log in"_s, std::chrono::seconds(20));
        LogCapture log;
        LaunchAtLogin::switchLoginItem(item, enable);
        QCOMPARE(item.isEnabled(), after);
        const auto lines = log.mentioning(u"launch at login"_s);
        QCOMPARE(lines.size(), logged.isEmpty() ? 0 : 1);
        if (!lines.isEmpty())
            QVERIFY2(lines.first().text.startsWith(logged), qPrintable(lines.first().text));
        if (!portalRunning)
            return;
        QCOMPARE(portal.lastOptions.value(u"autostart"_s), QVariant(enable));
        QCOMPARE(portal.lastOptions.value(u"commandline"_s).toStringList(),
                 QStringList{QCoreApplication::applicationFilePath()});
        QVERIFY(!portal.lastOptions.value(u"reason"_s).toString().isEmpty());
    }
};

QTEST_GUILESS_MAIN(PortalLoginItemTest)
#include "portal_login_item_test.moc"
