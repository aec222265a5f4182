#include "keyboard_shortcuts/x11/x11_hot_key_service.h"

#include "other_x11_client.h"
#include "support/desktop_tools.h"
#include "support/xvfb_server.h"

#include <QAbstractNativeEventFilter>
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
    HotKeyHandlers handlers()
    {
        return {[this] { ++presses; }, [this] { ++releases; }};
    }
};

// Counts the XKB new-keyboard notifications Qt's connection receives.
class NewKeyboardCounter final : public QAbstractNativeEventFilter {
public:
    NewKeyboardCounter()
    {
        xcb_connection_t *connection = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
        xcb_query_extension_reply_t *reply =
            xcb_query_extension_reply(connection, xcb_query_extension(connection, 9, "XKEYBOARD"), nullptr);
        m_xkbFirstEvent = reply ? reply->first_event : 0;
        std::free(reply);
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
    ~NewKeyboardCounter() override { QCoreApplication::instance()->removeNativeEventFilter(this); }
    bool nativeEventFilter(const QByteArray &, void *message, qintptr *) override
    {
        const auto *event = static_cast<const xcb_generic_event_t *>(message);
        count += m_xkbFirstEvent && (event->response_type & 0x7f) == m_xkbFirstEvent && event->pad0 == 0;
        return false;
    }
    int count = 0;

private:
    std::uint8_t m_xkbFirstEvent = 0;
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
        NewKeyboardCounter newKeyboards;
        const auto restore = qScopeGuard([] { TestSupport::runCommand("setxkbmap", {"us"}); });
        QCOMPARE(TestSupport::runCommand("setxkbmap", {"de"}).exitCode, 0);
        QTRY_VERIFY(newKeyboards.count > 0);
        QCoreApplication::processEvents(); // lets the grabs be made again first
        QVERIFY(xdotool({"key", "super+shift+z"}));
        QTRY_COMPARE(counts.releases, 1);
        QCOMPARE(counts.presses, 1);
        QVERIFY(xdotool({"key", "super+shift+y"}));
        settle();
        QCOMPARE(counts.presses, 1);
    }
};

SCRIVLET_X11_TEST_MAIN(X11HotKeyServiceTest)
#include "x11_hot_key_service_test.moc"
