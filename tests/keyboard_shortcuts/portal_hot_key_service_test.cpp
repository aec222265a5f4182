#include "keyboard_shortcuts/portal/portal_hot_key_service.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "support/private_session_bus.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr std::int64_t command = CarbonModifier::command;
constexpr std::int64_t shift = CarbonModifier::shift;

const Shortcut superShift2{Key::two.rawValue, command | shift};
const Shortcut superShift3{Key::three.rawValue, command | shift};
const QString name = u"toggleUnicornMode"_s;
const DesktopCommand grabCommand{u"Scrivlet: Grab Text"_s, {u"/usr/bin/scrivlet"_s, u"scrivlet:///_Grab_"_s}};

// The stand-in portal in a process of its own, for as long as this object lives; its lines are read as they come.
class PortalStandIn {
public:
    [[nodiscard]] static std::unique_ptr<PortalStandIn> start(const QStringList &options = {})
    {
        std::unique_ptr<PortalStandIn> standIn(new PortalStandIn);
        standIn->m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        standIn->m_process.start(QStringLiteral(GLOBAL_SHORTCUTS_PORTAL_STAND_IN), options);
        if (!standIn->m_process.waitForStarted(5000) || !standIn->next(u"ready"_s))
            return nullptr;
        return standIn;
    }
    ~PortalStandIn() { stop(); }

    void stop()
    {
        m_process.closeWriteChannel(); // it quits at the end of its input
        if (!m_process.waitForFinished(3000))
            m_process.kill();
        m_process.waitForFinished(1000);
    }

    // The next line that starts with the word, its fields after it; empty when none comes in time. Lines before
    // it are kept in seen().
    std::optional<QStringList> next(const QString &word, std::chrono::milliseconds timeout = 5s)
    {
        QDeadlineTimer deadline(timeout);
        for (;;) {
            while (m_unread.isEmpty()) {
                QCoreApplication::processEvents();
                if (m_process.canReadLine() || m_process.waitForReadyRead(20)) {
                    while (m_process.canReadLine())
                        m_unread.append(QString::fromUtf8(m_process.readLine()).chopped(1).split(u'\t'));
                }
                if (m_unread.isEmpty() && deadline.hasExpired())
                    return std::nullopt;
            }
            const QStringList line = m_unread.takeFirst();
            m_seen.append(line);
            if (line.value(0) == word)
                return line.mid(1);
        }
    }

    // Every line read so far, and those that come within the time, with the word first.
    int count(const QString &word, std::chrono::milliseconds wait = 0ms)
    {
        while (next(u"\x01"_s, wait)) {
        }
        return int(std::ranges::count_if(m_seen, [&](const QStringList &line) { return line.value(0) == word; }));
    }

    void send(const QString &line)
    {
        m_process.write((line + u'\n').toUtf8());
        m_process.waitForBytesWritten(1000);
    }
    // The desktop's signals for a shortcut of a session, as a key press and release make them.
    void activate(const QString &session, const QString &id = name) { send(u"activate %1 %2"_s.arg(session, id)); }
    void deactivate(const QString &session, const QString &id = name) { send(u"deactivate %1 %2"_s.arg(session, id)); }

private:
    PortalStandIn() = default;
    QProcess m_process;
    QList<QStringList> m_unread;
    QList<QStringList> m_seen;
};

// A stand-in portal and a service that uses it.
struct Portal {
    std::unique_ptr<PortalStandIn> standIn;
    std::unique_ptr<HotKeyService> service;

    [[nodiscard]] static std::optional<Portal> start(const QStringList &options = {})
    {
        Portal portal{PortalStandIn::start(options), nullptr};
        if (!portal.standIn)
            return std::nullopt;
        portal.service = makePortalHotKeyService(KeyNames(*makeUsKeyboardLayout()));
        if (!portal.service)
            return std::nullopt;
        return portal;
    }
};

// What the handlers of a grab were called for, in order.
struct Calls {
    QStringList events;
    HotKeyHandlers handlers(const QString &shortcutName = name, std::optional<DesktopCommand> desktop = grabCommand)
    {
        return {[this] { events.append(u"press"_s); }, [this] { events.append(u"release"_s); },
                [this] { events.append(u"lost"_s); }, shortcutName, std::move(desktop)};
    }
};

} // namespace

class PortalHotKeyServiceTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_bus = TestSupport::PrivateSessionBus::start();
        QVERIFY(m_bus);
    }

    void withoutAPortalThereIsNoService()
    {
        QElapsedTimer clock;
        clock.start();
        QVERIFY(!makePortalHotKeyService(keyNames()));
        QVERIFY(clock.elapsed() < 4000); // a missing portal is known from the bus at once
    }

    void aPortalWithoutGlobalShortcutsGivesNoService()
    {
        const auto standIn = PortalStandIn::start({u"--without-global-shortcuts"_s});
        QVERIFY(standIn);
        QVERIFY(!makePortalHotKeyService(keyNames()));
    }

    void theShortcutIsBoundWithItsPreferredTrigger()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        const auto grab = service->grab(superShift2, calls.handlers());
        QVERIFY(grab);
        const auto created = standIn->next(u"CreateSession"_s);
        QVERIFY(created);
        // The session is named after the program and the shortcut, so that a desktop finds its shortcuts again
        // at the next start.
        QVERIFY2(created->value(0).endsWith(u"/keyboard_shortcuts_portal_hot_key_service_test_toggleUnicornMode"),
                 qPrintable(created->value(0)));
        const auto bound = standIn->next(u"BindShortcuts"_s);
        QVERIFY(bound);
        QCOMPARE(*bound, (QStringList{created->value(0), name, grabCommand.title, u"LOGO+SHIFT+2"_s}));
        QVERIFY(calls.events.isEmpty());
    }

    void withoutACommandTheNameDescribesTheShortcut()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        const auto grab = service->grab(superShift2, calls.handlers(name, std::nullopt));
        const auto bound = standIn->next(u"BindShortcuts"_s);
        QVERIFY(bound);
        QCOMPARE(bound->value(2), name);
    }

    void anActivationPressesAndReleasesOnce()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        const auto grab = service->grab(superShift2, calls.handlers());
        const auto bound = standIn->next(u"BindShortcuts"_s);
        QVERIFY(bound);
        const QString session = bound->value(0);

        // Another shortcut id and another session are not ours.
        standIn->send(u"activate %1 otherShortcut"_s.arg(session));
        standIn->send(u"activate /org/freedesktop/portal/desktop/session/1_99/other %1"_s.arg(name));
        standIn->activate(session);
        QTRY_COMPARE(calls.events, QStringList{u"press"_s});
        // A repeat while held is no second press.
        standIn->activate(session);
        standIn->deactivate(session);
        QTRY_COMPARE(calls.events, (QStringList{u"press"_s, u"release"_s}));
        standIn->deactivate(session);
        QTest::qWait(int(portalReleaseDelay.count()) + 300);
        QCOMPARE(calls.events, (QStringList{u"press"_s, u"release"_s}));
    }

    void aPressWithoutReleaseIsReleasedLater()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        const auto grab = service->grab(superShift2, calls.handlers());
        const auto bound = standIn->next(u"BindShortcuts"_s);
        QVERIFY(bound);
        standIn->activate(bound->value(0));
        QTRY_COMPARE(calls.events, QStringList{u"press"_s});
        QElapsedTimer clock;
        clock.start();
        QTRY_COMPARE_WITH_TIMEOUT(calls.events, (QStringList{u"press"_s, u"release"_s}), 5000);
        QVERIFY(clock.elapsed() >= portalReleaseDelay.count() - 200);
        QTest::qWait(300);
        QCOMPARE(calls.events, (QStringList{u"press"_s, u"release"_s}));
    }

    void droppingTheGrabClosesItsSession()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        auto grab = service->grab(superShift2, calls.handlers());
        const auto bound = standIn->next(u"BindShortcuts"_s);
        QVERIFY(bound);
        grab.reset();
        const auto closed = standIn->next(u"Close"_s);
        QVERIFY(closed);
        QCOMPARE(closed->value(0), bound->value(0));
        // The dropped grab hears nothing of its shortcut any more.
        standIn->activate(bound->value(0));
        QTest::qWait(200);
        QVERIFY(calls.events.isEmpty());
    }

    void aChangedShortcutIsBoundAgain()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls first;
        auto grab = service->grab(superShift2, first.handlers());
        const auto firstBound = standIn->next(u"BindShortcuts"_s);
        QVERIFY(firstBound);
        // As the registry changes a shortcut: the old grab first, then the new one at once. The portal files
        // sessions by token, so the new session must wait until the old one is closed.
        grab.reset();
        Calls second;
        grab = service->grab(superShift3, second.handlers());
        QVERIFY(grab);
        QVERIFY(standIn->next(u"Close"_s));
        const auto created = standIn->next(u"CreateSession"_s);
        QVERIFY(created);
        QCOMPARE(created->value(0), firstBound->value(0));
        const auto bound = standIn->next(u"BindShortcuts"_s);
        QVERIFY(bound);
        QCOMPARE(bound->value(3), u"LOGO+SHIFT+3"_s);
        standIn->activate(bound->value(0));
        standIn->deactivate(bound->value(0));
        QTRY_COMPARE(second.events, (QStringList{u"press"_s, u"release"_s}));
        QVERIFY(first.events.isEmpty());
    }

    void aGrabDroppedWhileTheSessionIsMadeClosesItOnceMade()
    {
        auto portal = Portal::start({u"--delay-create"_s, u"300"_s});
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        auto grab = service->grab(superShift2, calls.handlers());
        const auto created = standIn->next(u"CreateSession"_s);
        QVERIFY(created);
        grab.reset();
        const auto closed = standIn->next(u"Close"_s);
        QVERIFY(closed);
        QCOMPARE(closed->value(0), created->value(0));
        QCOMPARE(standIn->count(u"BindShortcuts"_s, 200ms), 0);
        QVERIFY(calls.events.isEmpty());
    }

    void theSessionMayHoldTheShortcutAlready()
    {
        // As KDE Plasma 5.27 does: the session binds the shortcuts given with it, and binding again would open the
        // desktop's settings.
        auto portal = Portal::start({u"--holds-shortcuts"_s});
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        const auto grab = service->grab(superShift2, calls.handlers());
        const auto created = standIn->next(u"CreateSession"_s);
        QVERIFY(created);
        QCOMPARE(created->value(1), u"1"_s);
        standIn->activate(created->value(0));
        standIn->deactivate(created->value(0));
        QTRY_COMPARE(calls.events, (QStringList{u"press"_s, u"release"_s}));
        QCOMPARE(standIn->count(u"BindShortcuts"_s, 200ms), 0);
    }

    void aRefusalIsLostOnceAndNotAskedAgain_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("reason");
        QTest::newRow("the user declines") << u"--refuse"_s << u"the user declined"_s;
        QTest::newRow("the desktop binds nothing") << u"--bind-nothing"_s << u"the desktop bound nothing"_s;
    }

    void aRefusalIsLostOnceAndNotAskedAgain()
    {
        QFETCH(QString, option);
        QFETCH(QString, reason);
        auto portal = Portal::start({option});
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(u"global shortcut toggleUnicornMode \\(LOGO\\+SHIFT\\+2\\) does not "
                                                u"work: "_s +
                                                QRegularExpression::escape(reason)));
        Calls calls;
        auto grab = service->grab(superShift2, calls.handlers());
        QVERIFY(grab);
        QTRY_COMPARE(calls.events, QStringList{u"lost"_s});
        QVERIFY(standIn->next(u"Close"_s)); // nothing is left open
        grab.reset();
        // The registry tries lost hot keys again: the same combination is not asked for again.
        Calls again;
        QVERIFY(!service->grab(superShift2, again.handlers()));
        QTest::qWait(100);
        QCOMPARE(standIn->count(u"BindShortcuts"_s, 200ms), 1);
        // Another combination is.
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"LOGO\\+SHIFT\\+3"_s));
        Calls other;
        const auto otherGrab = service->grab(superShift3, other.handlers());
        QVERIFY(otherGrab);
        QTRY_COMPARE(other.events, QStringList{u"lost"_s});
        QCOMPARE(standIn->count(u"BindShortcuts"_s), 2);
    }

    void aSessionTheDesktopClosesIsLost()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        const auto grab = service->grab(superShift2, calls.handlers());
        const auto bound = standIn->next(u"BindShortcuts"_s);
        QVERIFY(bound);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"the desktop closed the shortcut session"_s));
        standIn->send(u"close %1"_s.arg(bound->value(0)));
        QTRY_COMPARE(calls.events, QStringList{u"lost"_s});
        standIn->activate(bound->value(0));
        QTest::qWait(200);
        QCOMPARE(calls.events, QStringList{u"lost"_s});
    }

    void aPortalThatGoesAwayLosesItsGrabs()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        auto grab = service->grab(superShift2, calls.handlers());
        QVERIFY(standIn->next(u"BindShortcuts"_s));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"the desktop portal went away"_s));
        standIn->stop();
        QTRY_COMPARE(calls.events, QStringList{u"lost"_s});
        grab.reset(); // closing a session of a portal that is gone is harmless
        QTest::qWait(100);
    }

    void grabsTheServiceCannotAskForAreRefusedAtOnce()
    {
        auto portal = Portal::start();
        QVERIFY(portal);
        auto &[standIn, service] = *portal;
        Calls calls;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"needs a name"_s));
        QVERIFY(!service->grab(superShift2, calls.handlers(QString())));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"has no name the desktop knows"_s));
        QVERIFY(!service->grab(Shortcut{Key::capsLock.rawValue, command}, calls.handlers()));
        const auto grab = service->grab(superShift2, calls.handlers());
        QVERIFY(grab);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"second grab"_s));
        QVERIFY(!service->grab(superShift3, calls.handlers()));
        QCOMPARE(standIn->count(u"CreateSession"_s, 300ms), 1);
        QVERIFY(calls.events.isEmpty());
    }

private:
    static KeyNames keyNames() { return KeyNames(*makeUsKeyboardLayout()); }

    std::unique_ptr<TestSupport::PrivateSessionBus> m_bus;
};

QTEST_GUILESS_MAIN(PortalHotKeyServiceTest)
#include "portal_hot_key_service_test.moc"
