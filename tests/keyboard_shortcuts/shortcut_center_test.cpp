#include "keyboard_shortcuts/shortcut_center.h"

#include "fake_hot_key_service.h"

#include <QFile>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

namespace {

const Shortcut superShift2{19, 768};
const Shortcut superA{0, 256};
const Name unicorn(u"toggleUnicornMode"_s, superShift2);

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
            Run first(m_path);
            QSignalSpy changed(&first.center.notifications(), &ShortcutNotifications::shortcutByNameDidChange);
            QCOMPARE(first.center.storedShortcut(unicorn), std::optional(superShift2));
            QCOMPARE(first.defaults.string(unicorn.defaultsKey()),
                     std::optional(u"{\"carbonKeyCode\":19,\"carbonModifiers\":768}"_s));
            QCOMPARE(first.service.grabCount(superShift2), 1);
            QCOMPARE(changed.count(), 1);
            QCOMPARE(changed.at(0).at(0).value<Name>().rawValue, u"toggleUnicornMode"_s);
            QCOMPARE(first.center.notifications().objectName(), u"KeyboardShortcuts_shortcutByNameDidChange"_s);
        }
        Run second(m_path);
        QSignalSpy changed(&second.center.notifications(), &ShortcutNotifications::shortcutByNameDidChange);
        QCOMPARE(second.center.storedShortcut(unicorn), std::optional(superShift2));
        QCOMPARE(changed.count(), 0);
        QCOMPARE(second.service.attempts(), 0);
    }

    void aClearedDefaultStaysClearedInTheNextRun()
    {
        {
            Run first(m_path);
            first.center.addKeyUpAction(unicorn, [] {});
            QCOMPARE(first.service.grabCount(superShift2), 1);
            first.center.storeShortcut(std::nullopt, unicorn);
            QVERIFY(first.defaults.contains(unicorn.defaultsKey()));
            QCOMPARE(first.defaults.string(unicorn.defaultsKey()), std::optional(u"0"_s));
            QCOMPARE(first.center.storedShortcut(unicorn), std::nullopt);
            QCOMPARE(first.service.grabCount(superShift2), 0);
        }
        Run second(m_path);
        QCOMPARE(second.center.storedShortcut(unicorn), std::nullopt);
        QCOMPARE(second.service.attempts(), 0);
    }

    void resetAfterClearingWritesTheDefaultAgain()
    {
        Run run(m_path);
        run.center.storeShortcut(std::nullopt, unicorn);
        run.center.resetToDefaults({unicorn});
        QCOMPARE(run.defaults.string(unicorn.defaultsKey()),
                 std::optional(u"{\"carbonKeyCode\":19,\"carbonModifiers\":768}"_s));
        QCOMPARE(run.service.grabCount(superShift2), 1);
    }

    void clearingANameWithoutDefaultRemovesItsKey()
    {
        Run run(m_path);
        const Name plain(u"plain"_s);
        run.center.storeShortcut(superA, plain);
        QSignalSpy changed(&run.center.notifications(), &ShortcutNotifications::shortcutByNameDidChange);
        run.center.storeShortcut(std::nullopt, plain);
        QVERIFY(!run.defaults.contains(plain.defaultsKey()));
        QCOMPARE(changed.count(), 1);
        // Nothing stored: clearing again neither writes nor notifies.
        run.center.storeShortcut(std::nullopt, plain);
        QCOMPARE(changed.count(), 1);
    }

    void unreadableStoredValuesReadAsNone_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::newRow("text that is not JSON") << R"({"KeyboardShortcuts_plain":"Super+A"})"_ba;
        QTest::newRow("a number") << R"({"KeyboardShortcuts_plain":5})"_ba;
        QTest::newRow("an object, not text")
            << R"({"KeyboardShortcuts_plain":{"carbonKeyCode":0,"carbonModifiers":256}})"_ba;
        QTest::newRow("JSON text missing a member") << "{\"KeyboardShortcuts_plain\":\"{\\\"carbonKeyCode\\\":0}\"}"_ba;
        QTest::newRow("a corrupt defaults file") << "\x00\x01garbage"_ba;
    }
    void unreadableStoredValuesReadAsNone()
    {
        QFETCH(QByteArray, file);
        QFile out(m_path);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(file);
        out.close();
        Run run(m_path);
        const Name plain(u"plain"_s);
        int fired = 0;
        run.center.addKeyUpAction(plain, [&] { ++fired; });
        QCOMPARE(run.center.storedShortcut(plain), std::nullopt);
        QCOMPARE(run.service.totalGrabCount(), 0);
        // Saving over it works as over nothing.
        run.center.storeShortcut(superA, plain);
        QCOMPARE(run.center.storedShortcut(plain), std::optional(superA));
        QVERIFY(run.service.tap(superA));
        QCOMPARE(fired, 1);
    }

    void namesSharingAShortcutShareItsHotKey()
    {
        Run run(m_path);
        const Name first(u"first"_s), second(u"second"_s);
        int firstFired = 0, secondFired = 0;
        run.center.addKeyUpAction(first, [&] { ++firstFired; });
        run.center.addKeyUpAction(second, [&] { ++secondFired; });
        run.center.storeShortcut(superA, first);
        run.center.storeShortcut(superA, second);
        QVERIFY(run.service.tap(superA));
        QCOMPARE(firstFired, 1);
        QCOMPARE(secondFired, 1);

        // Clearing one releases the hot key of both.
        run.center.storeShortcut(std::nullopt, first);
        QCOMPARE(run.service.grabCount(superA), 0);
        QVERIFY(!run.service.tap(superA));
        // Enabling the other grabs it again.
        run.center.enableShortcuts({second});
        QVERIFY(run.service.tap(superA));
        QCOMPARE(firstFired, 1);
        QCOMPARE(secondFired, 2);
    }

    void givingOneSharingNameAnotherShortcutDropsTheSharedHotKey()
    {
        Run run(m_path);
        const Name first(u"first"_s), second(u"second"_s);
        int secondFired = 0;
        run.center.storeShortcut(superA, first);
        run.center.storeShortcut(superA, second);
        run.center.addKeyUpAction(second, [&] { ++secondFired; });
        run.center.storeShortcut(superShift2, first);
        QVERIFY(!run.service.tap(superA));
        QCOMPARE(secondFired, 0);
        run.center.addKeyUpAction(second, [] {});
        QVERIFY(run.service.tap(superA));
        QCOMPARE(secondFired, 1);
    }

    void anActionAddedBeforeAnyShortcutRunsAfterTheFirstSave()
    {
        Run run(m_path);
        const Name later(u"later"_s);
        int fired = 0;
        run.center.addKeyDownAction(later, [&] { ++fired; });
        QCOMPARE(run.service.totalGrabCount(), 0);
        run.center.storeShortcut(superA, later);
        QVERIFY(run.service.press(superA));
        QCOMPARE(fired, 1);
    }

    void savingTheSameShortcutAgainRegrabsItUnderANewId()
    {
        Run run(m_path);
        const Name plain(u"plain"_s);
        run.center.storeShortcut(superA, plain);
        const std::vector<std::int64_t> before = run.center.hotKeys().hotKeyIds(superA);
        QSignalSpy changed(&run.center.notifications(), &ShortcutNotifications::shortcutByNameDidChange);
        run.center.storeShortcut(superA, plain);
        const std::vector<std::int64_t> after = run.center.hotKeys().hotKeyIds(superA);
        QCOMPARE(before.size(), 1u);
        QCOMPARE(after.size(), 1u);
        QVERIFY(after.front() > before.front());
        QCOMPARE(run.service.grabCount(superA), 1);
        QCOMPARE(changed.count(), 1);
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

    // The dispatch compares against what is stored at event time, so a change made in the file is seen at once.
    void dispatchReadsTheStoredShortcutAfresh()
    {
        Run run(m_path);
        int fired = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        UserDefaults(m_path).setString(unicorn.defaultsKey(), QString::fromUtf8(superA.toJson()));
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(fired, 0);
    }

    void pausedRunsNeitherActionsNorStreams()
    {
        Run run(m_path);
        int actions = 0, signals_ = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++actions; });
        const KeyEventStream stream = run.center.keySignals(EventType::keyUp, unicorn, [&] { ++signals_; });
        run.center.setPaused(true);
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(actions, 0);
        QCOMPARE(signals_, 0);
        run.center.setPaused(false);
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(actions, 1);
        QCOMPARE(signals_, 1);
    }

    void disablingReleasesEveryGrabAndEnablingRestoresThem()
    {
        Run run(m_path);
        run.center.addKeyUpAction(unicorn, [] {});
        run.center.setShortcutsEnabled(false);
        QCOMPARE(run.service.totalGrabCount(), 0);
        QCOMPARE(run.center.hotKeys().hotKeyIds(superShift2).size(), 1u);
        run.center.setShortcutsEnabled(true);
        QCOMPARE(run.service.grabCount(superShift2), 1);
        const int attempts = run.service.attempts();
        run.center.setShortcutsEnabled(true);
        QCOMPARE(run.service.attempts(), attempts);
    }

    void aRefusedShortcutIsNotRetriedUntilReactivated()
    {
        Run run(m_path);
        run.service.takeByOtherClient(superShift2);
        int fired = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        QVERIFY(run.center.isActive(superShift2));
        const int attempts = run.service.attempts();
        run.center.addKeyUpAction(unicorn, [] {});
        QCOMPARE(run.service.attempts(), attempts);
        run.service.releaseByOtherClient(superShift2);
        run.center.disableShortcuts({unicorn});
        run.center.enableShortcuts({unicorn});
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(fired, 1);
    }

    void streamsReceiveEventsUntilDropped()
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
            QVERIFY(run.service.press(superShift2));
            QCOMPARE(upSignals, 1);
        }
        // The last user of the shortcut is gone, so its hot key is released.
        QCOMPARE(run.service.grabCount(superShift2), 0);
        QCOMPARE(events.size(), 3);
    }

    void endingAStreamKeepsTheHotKeyOfRemainingActions()
    {
        Run run(m_path);
        int fired = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        {
            const KeyEventStream stream = run.center.keyEvents(unicorn, [](EventType) {});
        }
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(fired, 1);
    }

    void aStreamMayEndAnotherDuringDispatch()
    {
        Run run(m_path);
        int secondFired = 0;
        std::optional<KeyEventStream> second;
        const KeyEventStream first = run.center.keySignals(EventType::keyUp, unicorn, [&] { second.reset(); });
        second = run.center.keySignals(EventType::keyUp, unicorn, [&] { ++secondFired; });
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(secondFired, 0);
    }

    void aStreamOutlivingItsCenterEndsNothing()
    {
        std::optional<KeyEventStream> stream;
        {
            Run run(m_path);
            stream = run.center.keyEvents(unicorn, [](EventType) {});
            QVERIFY(stream->isActive());
        }
        QVERIFY(!stream->isActive());
        stream.reset();
    }

    void aShortcutStoredByAnotherProcessIsGrabbedAndAnnounced()
    {
        Run run(m_path);
        int fired = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        QSignalSpy changed(&run.center.notifications(), &ShortcutNotifications::shortcutByNameDidChange);
        QCOMPARE(run.service.grabCount(superShift2), 1);

        UserDefaults otherProcess(m_path); // e.g. a settings tool writing the same file
        otherProcess.setString(unicorn.defaultsKey(), QString::fromUtf8(superA.toJson()));
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

    void removingAllActionsReleasesTheirShortcuts()
    {
        Run run(m_path);
        int fired = 0, streamed = 0;
        run.center.addKeyUpAction(unicorn, [&] { ++fired; });
        const KeyEventStream stream = run.center.keySignals(EventType::keyUp, unicorn, [&] { ++streamed; });
        run.center.removeAllActions();
        QCOMPARE(run.service.totalGrabCount(), 0);
        // The stream stays and receives again once its shortcut is grabbed again; the action is gone.
        run.center.enableShortcuts({unicorn});
        QVERIFY(run.service.tap(superShift2));
        QCOMPARE(fired, 0);
        QCOMPARE(streamed, 1);
    }

    void anOpenMenuSuspendsTheGrabs()
    {
        Run run(m_path);
        run.center.addKeyUpAction(unicorn, [] {});
        QMenu menu;
        menu.addAction(u"Grab Text"_s);
        menu.popup(QPoint(10, 10));
        QTRY_VERIFY(run.center.menuTracking());
        QCOMPARE(run.service.totalGrabCount(), 0);
        QCOMPARE(run.center.hotKeys().routing(), HotKeyRegistry::Routing::menuOpen);
        menu.hide();
        QTRY_VERIFY(!run.center.menuTracking());
        QCOMPARE(run.service.grabCount(superShift2), 1);
    }
};

QTEST_MAIN(ShortcutCenterTest)
#include "shortcut_center_test.moc"
