#include "keyboard_shortcuts/x11/x11_hot_key_service.h"

#include "other_x11_client.h"
#include "support/desktop_tools.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QScopeGuard>
#include <QTest>

using namespace KeyboardShortcuts;
using TestSupport::xdotool;

namespace {

const Shortcut superShift2{19, 768};

struct Counts {
    int presses = 0;
    int releases = 0;
    int losses = 0;
    HotKeyHandlers handlers()
    {
        return {[this] { ++presses; }, [this] { ++releases; }, [this] { ++losses; }};
    }
};

} // namespace

class X11HotKeyServiceTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<HotKeyService> m_service;

private slots:
    void initTestCase()
    {
        m_service = makeX11HotKeyService();
        QVERIFY(m_service);
    }

    // The server repeats a held key after 660 ms at 25 Hz: about twenty repeats in 1.5 s.
    void pressesAndReleasesOnce_data()
    {
        QTest::addColumn<int>("holdMs");
        QTest::newRow("tapped") << 0;
        QTest::newRow("held 1.5 s") << 1500;
    }
    void pressesAndReleasesOnce()
    {
        QFETCH(int, holdMs);
        Counts counts;
        const auto grab = m_service->grab(superShift2, counts.handlers());
        QVERIFY(grab);
        // Other combinations do not fire.
        QVERIFY(xdotool({"key", "shift+2"}) && xdotool({"key", "super+2"}) && xdotool({"key", "super+shift+3"}));
        QVERIFY(xdotool({"keydown", "super+shift+2"}));
        auto keyUp = qScopeGuard([] { xdotool({"keyup", "super+shift+2"}); });
        QTRY_COMPARE(counts.presses, 1);
        QTest::qWait(holdMs);
        QCOMPARE(counts.releases, 0);
        keyUp.dismiss();
        QVERIFY(xdotool({"keyup", "super+shift+2"}));
        QTRY_COMPARE(counts.releases, 1);
        settle();
        QCOMPARE(counts.presses, 1);
        QCOMPARE(counts.releases, 1);
    }

    void firesWhateverLocksAreOn_data()
    {
        QTest::addColumn<QStringList>("locks");
        QTest::addColumn<int>("lockBits");
        QTest::newRow("Caps Lock") << QStringList{"Caps_Lock"} << int(XCB_MOD_MASK_LOCK);
        QTest::newRow("Num Lock") << QStringList{"Num_Lock"} << int(XCB_MOD_MASK_2);
        QTest::newRow("both") << QStringList{"Caps_Lock", "Num_Lock"} << int(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2);
    }
    void firesWhateverLocksAreOn()
    {
        QFETCH(QStringList, locks);
        QFETCH(int, lockBits);
        OtherClient observer;
        Counts counts;
        const auto grab = m_service->grab(superShift2, counts.handlers());
        for (const QString &lock : locks)
            QVERIFY(xdotool({"key", lock}));
        const auto locksOff = qScopeGuard([&] {
            for (const QString &lock : locks)
                xdotool({"key", lock});
        });
        QTRY_COMPARE(observer.keyboardState() & lockBits, lockBits);
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_COMPARE(counts.releases, 1);
        QCOMPARE(counts.presses, 1);
    }

    void aCombinationAnotherClientHoldsIsRefused()
    {
        OtherClient other;
        // Holding only the Caps Lock variant is enough to refuse ours, and our other variants must be undone.
        QVERIFY(other.grab(keycodeOf2, superShiftMask | XCB_MOD_MASK_LOCK));
        Counts counts;
        QVERIFY(!m_service->grab(superShift2, counts.handlers()));
        QVERIFY(other.grab());
        QVERIFY(other.grab(keycodeOf2, superShiftMask | XCB_MOD_MASK_2));
        other.ungrabAll();
        auto grab = m_service->grab(superShift2, counts.handlers());
        QVERIFY(grab);
        QVERIFY(!other.grab());
        // Dropping our grab frees the combination.
        grab.reset();
        QVERIFY(other.grab());
        other.ungrabAll();
    }

    void twoGrabsOfOneCombinationBothFireAndOutliveEachOther()
    {
        Counts first, second;
        auto firstGrab = m_service->grab(superShift2, first.handlers());
        const auto secondGrab = m_service->grab(superShift2, second.handlers());
        QVERIFY(firstGrab && secondGrab);
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_COMPARE(second.releases, 1);
        QCOMPARE(first.releases, 1);
        firstGrab.reset();
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_COMPARE(second.releases, 2);
        QCOMPARE(first.releases, 1);
    }

    void keysWithoutAnX11KeycodeAreRefused()
    {
        Counts counts;
        for (const Shortcut shortcut : {Shortcut{Key::function.rawValue, 256}, Shortcut{5000, 256}, Shortcut{19, 255}})
            QVERIFY(!m_service->grab(shortcut, counts.handlers()));
    }

    // The key at the Y position types "z" on a German layout; Super+Shift with it still fires.
    void aLetterHotKeyFiresAfterALayoutChange()
    {
        Counts counts;
        const auto grab =
            m_service->grab(Shortcut::fromKey(Key::y, Qt::MetaModifier | Qt::ShiftModifier), counts.handlers());
        QVERIFY(grab);
        // Watchers hear of the change once the grabs were made again.
        int changes = 0;
        const auto watch = m_service->watchKeyboardChanges([&] { ++changes; });
        QVERIFY(watch);
        const auto restore = qScopeGuard([] { TestSupport::runCommand("setxkbmap", {"us"}); });
        QCOMPARE(TestSupport::runCommand("setxkbmap", {"de"}).exitCode, 0);
        QTRY_VERIFY(changes > 0);
        QVERIFY(xdotool({"key", "super+shift+z"}));
        QTRY_COMPARE(counts.releases, 1);
        QCOMPARE(counts.presses, 1);
        QVERIFY(xdotool({"key", "super+shift+y"}));
        settle();
        QCOMPARE(counts.presses, 1);
        QCOMPARE(counts.losses, 0);
    }
};

SCRIVLET_X11_TEST_MAIN(X11HotKeyServiceTest)
#include "x11_hot_key_service_test.moc"
