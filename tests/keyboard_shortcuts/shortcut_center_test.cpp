#include "keyboard_shortcuts/shortcut_center.h"

#include "fake_hot_key_service.h"
#include "launch_at_login/log_capture.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using LaunchAtLoginTesting::LogCapture;

namespace {

const Shortcut superShift2{19, 768};
const Shortcut superA{0, 256};
const Name unicorn(u"toggleUnicornMode"_s, superShift2);
const Name first(u"first"_s), second(u"second"_s);
const std::optional<QString> storedDefault(u"{\"carbonKeyCode\":19,\"carbonModifiers\":768}"_s);

// One run of a program: a center on the defaults file with its own hot-key service.
struct Run {
    explicit Run(const QString &path) : defaults(path), center(service, defaults) {}
    FakeHotKeyService service;
    UserDefaults defaults;
    ShortcutCenter center;
};

} // namespace

class ShortcutCenterTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_path;

    QSignalSpy changes(Run &run)
    {
        return {&run.center.notifications(), &ShortcutNotifications::shortcutByNameDidChange};
    }

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        m_path = m_dir.filePath(u"defaults-%1.json"_s.arg(QTest::currentTestFunction()));
        QFile::remove(m_path);
    }

    void firstRunWritesTheDefaultOnce()
    {
        {
            Run run(m_path);
            QSignalSpy changed = changes(run);
            QCOMPARE(run.center.storedShortcut(unicorn), std::optional(superShift2));
            QCOMPARE(run.defaults.string(unicorn.defaultsKey()), storedDefault);
            QCOMPARE(run.service.grabCount(superShift2), 1);
            QCOMPARE(changed.count(), 1);
            QCOMPARE(changed.at(0).at(0).value<Name>().rawValue, u"toggleUnicornMode"_s);
        }
        Run next(m_path);
        QSignalSpy changed = changes(next);
        QCOMPARE(next.center.storedShortcut(unicorn), std::optional(superShift2));
        QCOMPARE(changed.count(), 0);
        QCOMPARE(next.service.attempts(), 0);
    }

    void aClearedDefaultStaysClearedUntilReset()
    {
        {
            Run run(m_path);
            run.center.addKeyUpAction(unicorn, [] {});
            run.center.storeShortcut(std::nullopt, unicorn);
            QCOMPARE(run.defaults.string(unicorn.defaultsKey()), std::optional(u"0"_s));
            QCOMPARE(run.center.storedShortcut(unicorn), std::nullopt);
            QCOMPARE(run.service.grabCount(superShift2), 0);
        }
        Run next(m_path);
        QCOMPARE(next.center.storedShortcut(unicorn), std::nullopt);
        QCOMPARE(next.service.attempts(), 0);
        next.center.resetToDefaults({unicorn});
        QCOMPARE(next.defaults.string(unicorn.defaultsKey()), storedDefault);
        QCOMPARE(next.service.grabCount(superShift2), 1);
    }

    void clearingANameWithoutDefaultRemovesItsKey()
    {
        Run run(m_path);
        run.center.storeShortcut(superA, first);
        QSignalSpy changed = changes(run);
        run.center.storeShortcut(std::nullopt, first);
        QVERIFY(!run.defaults.contains(first.defaultsKey()));
        run.center.storeShortcut(std::nullopt, first); // nothing stored: no news
        QCOMPARE(changed.count(), 1);
    }

    // A value that is there but unreadable is reported once until it changes; no value, false (a cleared
    // shortcut) and a file that is not JSON at all (read as empty) are not.
    void unreadableStoredValuesReadAsNone_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("warnings");
        QTest::newRow("text that is not JSON") << R"({"KeyboardShortcuts_first":"Super+A"})"_ba << 1;
        QTest::newRow("an object instead of a string")
            << R"({"KeyboardShortcuts_first":{"carbonKeyCode":0,"carbonModifiers":256}})"_ba << 1;
        QTest::newRow("a misspelt member")
            << "{\"KeyboardShortcuts_first\":\"{\\\"carbonKeyCode\\\":0,\\\"carbonModifers\\\":256}\"}"_ba << 1;
        QTest::newRow("a number") << R"({"KeyboardShortcuts_first":256})"_ba << 1;
        QTest::newRow("false, a cleared shortcut") << R"({"KeyboardShortcuts_first":false})"_ba << 0;
        QTest::newRow("a corrupt defaults file") << "\x00\x01garbage"_ba << 0;
    }
    void unreadableStoredValuesReadAsNone()
    {
        QFETCH(QByteArray, file);
        QFETCH(int, warnings);
        QFile out(m_path);
        QVERIFY(out.open(QIODevice::WriteOnly) && out.write(file) == file.size());
        out.close();
        LogCapture log;
        const auto reports = [&] { return log.mentioning(u"\"KeyboardShortcuts_first\" must be a string holding"_s); };
        Run run(m_path);
        int fired = 0;
        run.center.addKeyUpAction(first, [&] { ++fired; });
        QCOMPARE(run.center.storedShortcut(first), std::nullopt);
        QCOMPARE(run.center.storedShortcut(first), std::nullopt);
        QCOMPARE(run.service.totalGrabCount(), 0);
        QCOMPARE(reports().size(), warnings);
        if (warnings)
            QCOMPARE(reports().first().type, QtWarningMsg);
        // An action added before any shortcut runs after the first save.
        run.center.storeShortcut(superA, first);
        QVERIFY(run.service.tap(superA));
        QCOMPARE(fired, 1);
        // Unreadable again, even as before, is news again; the value read is shown.
        run.defaults.setString(first.defaultsKey(), u"Super+A"_s);
        QCOMPARE(run.center.storedShortcut(first), std::nullopt);
        QCOMPARE(reports().size(), warnings + 1);
        QVERIFY(reports().last().text.contains(u"reads as \"Super+A\""_s));
    }

    void namesSharingAShortcutShareItsHotKey()
    {
        Run run(m_path);
        int firstFired = 0, secondFired = 0;
        run.center.addKeyUpAction(first, [&] { ++firstFired; });
        run.center.addKeyUpAction(second, [&] { ++secondFired; });
        run.center.storeShortcut(superA, first);
        run.center.storeShortcut(superA, second);
        QVERIFY(run.service.tap(superA));
        QCOMPARE(firstFired, 1);
        QCOMPARE(secondFired, 1);
        // Giving one another shortcut releases the hot key of both; enabling the other grabs it again.
        run.center.storeShortcut(superShift2, first);
        QCOMPARE(run.service.grabCount(superA), 0);
        run.center.enableShortcuts({second});
        QVERIFY(run.service.tap(superA));
        QCOMPARE(firstFired, 1);
        QCOMPARE(secondFired, 2);
    }

    void actionsRunInTheOrderAddedAndOnlyForTheirEvent()
    {
        Run run(m_path);
        QList<int> calls;
        run.center.addKeyUpAction(unicorn, [&] { calls << 1; });
        run.center.addKeyDownAction(unicorn, [&] { calls << 0; });
        run.center.addKeyUpAction(unicorn, [&] { calls << 2; });
        run.center.addKeyUpAction(unicorn, [&] { calls << 3; });
        QVERIFY(run.service.press(superShift2));
        QCOMPARE(calls, QList<int>{0});
        QVERIFY(run.service.release(superShift2));
        QCOMPARE(calls, (QList<int>{0, 1, 2, 3}));
    }

    void pausedRunsNeitherActionsNorStreams()
    {
        Run run(m_path);
        int actions = 0, streamed = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++actions; });
        const KeyEventStream stream = run.center.keySignals(EventType::keyUp, unicorn, [&] { ++streamed; });
        run.center.setPaused(true);
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(actions + streamed, 0);
        run.center.setPaused(false);
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(actions, 1);
        QCOMPARE(streamed, 1);
    }

    void aRefusedShortcutIsNotRetriedUntilReactivatedAndDisablingReleasesEveryGrab()
    {
        Run run(m_path);
        run.service.takeByOtherClient(superShift2);
        int fired = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        QVERIFY(run.center.isActive(superShift2));
        int attempts = run.service.attempts();
        run.center.addKeyUpAction(unicorn, [] {});
        QCOMPARE(run.service.attempts(), attempts);
        run.service.releaseByOtherClient(superShift2);
        run.center.disableShortcuts({unicorn});
        run.center.enableShortcuts({unicorn});
        QCOMPARE(run.service.grabCount(superShift2), 1);

        run.center.setShortcutsEnabled(false);
        QCOMPARE(run.service.totalGrabCount(), 0);
        run.center.setShortcutsEnabled(true);
        QCOMPARE(run.service.grabCount(superShift2), 1);
        attempts = run.service.attempts();
        run.center.setShortcutsEnabled(true); // already on: no new grabs
        QCOMPARE(run.service.attempts(), attempts);
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(fired, 1);
    }

    // Taken at a keyboard change and given back at the next, the hot key is announced and logged each time once.
    void aHotKeyAnotherProgramTookIsAnnouncedUntilItComesBack()
    {
        Run run(m_path);
        int fired = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        QSignalSpy announced(&run.center.notifications(), &ShortcutNotifications::hotKeyRegistrationDidChange);
        LogCapture log;
        run.service.changeKeyboardLosing(superShift2);
        run.service.changeKeyboardLosing();
        QVERIFY(!run.center.isHotKeyRegistered(unicorn));
        QVERIFY(run.center.isHotKeyTaken(unicorn));
        QCOMPARE(announced.count(), 1);
        QCOMPARE(announced.at(0).at(0).value<Name>(), unicorn);
        const QList<LogCapture::Message> lost = log.mentioning(u"Super+Shift+2 (toggleUnicornMode) was taken"_s);
        QCOMPARE(lost.size(), 1);
        QCOMPARE(lost.first().type, QtWarningMsg);

        run.service.releaseByOtherClient(superShift2);
        run.service.changeKeyboardLosing();
        QVERIFY(run.center.isHotKeyRegistered(unicorn));
        QVERIFY(!run.center.isHotKeyTaken(unicorn));
        QCOMPARE(announced.count(), 2);
        QCOMPARE(log.mentioning(u"works again"_s).size(), 1);
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(fired, 1);
    }

    void streamsReceiveEventsUntilDropped()
    {
        std::optional<KeyEventStream> outliving;
        {
            Run run(m_path);
            QList<EventType> events;
            int upSignals = 0;
            {
                const KeyEventStream all = run.center.keyEvents(unicorn, [&](EventType type) { events << type; });
                const KeyEventStream ups = run.center.keySignals(EventType::keyUp, unicorn, [&] { ++upSignals; });
                QVERIFY(run.service.tap(superShift2));
                QCOMPARE(events, (QList<EventType>{EventType::keyDown, EventType::keyUp}));
                QCOMPARE(upSignals, 1);
            }
            // The last user of the shortcut is gone, so its hot key is released.
            QCOMPARE(run.service.grabCount(superShift2), 0);
            // With an action left, ending a stream keeps the hot key.
            int fired = 0;
            run.center.addKeyUpAction(unicorn, [&] { ++fired; });
            (void)run.center.keyEvents(unicorn, [](EventType) {});
            QVERIFY(run.service.tap(superShift2));
            QCOMPARE(fired, 1);
            QCOMPARE(events.size(), 2);
            // A stream may end another during dispatch.
            std::optional<KeyEventStream> other;
            const KeyEventStream ender = run.center.keySignals(EventType::keyUp, unicorn, [&] { other.reset(); });
            other = run.center.keySignals(EventType::keyUp, unicorn, [&] { ++upSignals; });
            QVERIFY(run.service.tap(superShift2));
            QCOMPARE(upSignals, 1);
            outliving = run.center.keyEvents(unicorn, [](EventType) {});
            QVERIFY(outliving->isActive());
        }
        // A stream outliving its center ends nothing.
        QVERIFY(!outliving->isActive());
        outliving.reset();
    }

    void removingAllActionsReleasesTheirShortcutsButKeepsStreams()
    {
        Run run(m_path);
        int fired = 0, streamed = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        const KeyEventStream stream = run.center.keySignals(EventType::keyUp, unicorn, [&] { ++streamed; });
        run.center.removeAllActions();
        QCOMPARE(run.service.totalGrabCount(), 0);
        run.center.enableShortcuts({unicorn});
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(fired, 0);
        QCOMPARE(streamed, 1);
    }

    void aShortcutStoredByAnotherProcessIsGrabbedAndAnnounced()
    {
        Run run(m_path);
        int fired = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        QSignalSpy changed = changes(run);
        QCOMPARE(run.service.grabCount(superShift2), 1);

        UserDefaults otherProcess(m_path); // e.g. a settings tool writing the same file
        otherProcess.setString(unicorn.defaultsKey(), QString::fromUtf8(superA.toJson()));
        // Before the change is noticed, dispatch already compares against what is stored now.
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(fired, 0);
        QTRY_COMPARE(run.service.grabCount(superA), 1);
        QCOMPARE(run.service.grabCount(superShift2), 0);
        QCOMPARE(changed.count(), 1);
        QVERIFY(run.service.tap(superA));
        QCOMPARE(fired, 1);

        otherProcess.setBoolean(unicorn.defaultsKey(), false); // cleared elsewhere
        QTRY_COMPARE(run.service.grabCount(superA), 0);
        QCOMPARE(changed.count(), 2);

        // Our own writes are no news: nothing is announced twice.
        run.center.storeShortcut(superShift2, unicorn);
        QCOMPARE(changed.count(), 3);
        QTest::qWait(200);
        QCOMPARE(changed.count(), 3);
        QCOMPARE(run.service.grabCount(superShift2), 1);
    }
};

QTEST_MAIN(ShortcutCenterTest)
#include "shortcut_center_test.moc"
