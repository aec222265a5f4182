// The portal client against KDE's real portal back end, headless, on a private bus; kglobalaccel's
// invokeShortcut() stands in for the key press.

#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/portal/portal_hot_key_service.h"
#include "support/kde_session.h"
#include "support/private_session_bus.h"
#include "support/xvfb_server.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QKeySequence>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr std::int64_t command = CarbonModifier::command;
constexpr std::int64_t shift = CarbonModifier::shift;
const QString applicationId = u"app.scrivlet.Test"_s;
const QString name = u"toggleUnicornMode"_s;
const DesktopCommand grabCommand{u"Scrivlet: Grab Text"_s, {u"/usr/bin/scrivlet"_s, u"scrivlet:///_Grab_"_s}};

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

class PortalHotKeyServiceKdeTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_bus = TestSupport::PrivateSessionBus::start();
        QVERIFY(m_bus);
        QString skipReason;
        m_kde = TestSupport::KdeSession::start(applicationId, &skipReason);
        if (!m_kde && !skipReason.isEmpty())
            QSKIP(qPrintable(skipReason));
        QVERIFY(m_kde);
    }

    void cleanupTestCase()
    {
        m_kde.reset();
        m_bus.reset();
    }

    void theDesktopBindsInvokesAndReleasesTheShortcut()
    {
        const auto service = makePortalHotKeyService(KeyNames(*makeUsKeyboardLayout()));
        QVERIFY(service);
        Calls first;
        auto grab = service->grab(Shortcut{Key::two.rawValue, command | shift}, first.handlers());
        QVERIFY(grab);

        // Bound under our application id, with the description and the preferred trigger.
        std::optional<TestSupport::FiledShortcut> filed;
        QTRY_VERIFY_WITH_TIMEOUT((filed = TestSupport::filedShortcut(name)).has_value(), 10000);
        QCOMPARE(filed->friendlyName, grabCommand.title);
        if (m_kde->hasApplicationId())
            QVERIFY2(filed->componentUnique.startsWith(applicationId), qPrintable(filed->componentUnique));
        QCOMPARE(filed->keys.value(0), (Qt::MetaModifier | Qt::ShiftModifier | Qt::Key_2).toCombined());
        QVERIFY(hasSession());

        QVERIFY(TestSupport::invokeShortcut(*filed, name));
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
        QTRY_VERIFY_WITH_TIMEOUT((filed = TestSupport::filedShortcut(name)).has_value(), 10000);
        // KDE keeps the key it filed for the shortcut's id, which its settings may have changed: the desktop's
        // setting wins over the program's preference.
        qInfo() << "after the change kglobalaccel files" << QKeySequence(filed->keys.value(0)).toString();
        // The old session's shortcut stays filed under the same id until the new session has bound it: an
        // invocation in between reaches no one, so invoke until the new grab hears it.
        QTRY_VERIFY_WITH_TIMEOUT((TestSupport::invokeShortcut(*filed, name), !second.events.isEmpty()), 10000);
        QCOMPARE(second.events, QStringList{u"press"_s});
        QTRY_COMPARE_WITH_TIMEOUT(second.events, (QStringList{u"press"_s, u"release"_s}), 5000);
        QCOMPARE(first.events, (QStringList{u"press"_s, u"release"_s}));

        // Dropping the grab closes the session.
        grab.reset();
        QTRY_VERIFY_WITH_TIMEOUT(!hasSession(), 5000);
        TestSupport::invokeShortcut(*filed, name);
        QTest::qWait(portalReleaseDelay.count() + 300);
        QCOMPARE(second.events, (QStringList{u"press"_s, u"release"_s}));
    }

private:
    std::unique_ptr<TestSupport::PrivateSessionBus> m_bus;
    TestSupport::IsolatedXdgEnvironment m_xdg;
    std::unique_ptr<TestSupport::KdeSession> m_kde;
};

QTEST_GUILESS_MAIN(PortalHotKeyServiceKdeTest)
#include "portal_hot_key_service_kde_test.moc"
