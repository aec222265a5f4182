#include "keyboard_shortcuts/x11/x11_hot_key_service.h"

#include "support/desktop_tools.h"
#include "support/xvfb_server.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QScopeGuard>
#include <QTest>

#include <xcb/xcb.h>

#include <cstdlib>

using namespace KeyboardShortcuts;
using namespace std::chrono_literals;
using TestSupport::xdotool;

namespace {

const Shortcut superShift2{19, 768};
constexpr xcb_keycode_t keycodeOf2 = 11;
constexpr std::uint16_t superShiftMask = XCB_MOD_MASK_4 | XCB_MOD_MASK_SHIFT;

struct Counts {
    int presses = 0;
    int releases = 0;
};

HotKeyHandlers countInto(Counts &counts)
{
    return {[&counts] { ++counts.presses; }, [&counts] { ++counts.releases; }};
}

// Gives the event loop time to deliver anything still on its way, for checks that something did not happen.
void settle()
{
    QTest::qWait(300);
}

// A second X client on the same display.
class OtherClient {
public:
    OtherClient() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }
    ~OtherClient() { xcb_disconnect(m_connection); }
    OtherClient(const OtherClient &) = delete;
    OtherClient &operator=(const OtherClient &) = delete;

    // False when another client (we) already holds it.
    bool grab(xcb_keycode_t keycode, std::uint16_t modifiers)
    {
        const xcb_void_cookie_t cookie =
            xcb_grab_key_checked(m_connection, 1, m_root, modifiers, keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        xcb_generic_error_t *error = xcb_request_check(m_connection, cookie);
        const bool granted = error == nullptr;
        std::free(error);
        return granted;
    }
    void ungrabAll()
    {
        xcb_ungrab_key(m_connection, XCB_GRAB_ANY, m_root, XCB_MOD_MASK_ANY);
        std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr)); // round trip
    }
    // The modifier and lock state of the keyboard.
    std::uint16_t keyboardState()
    {
        xcb_query_pointer_reply_t *reply =
            xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
        const std::uint16_t mask = reply ? reply->mask : 0;
        std::free(reply);
        return mask;
    }

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_root = 0;
};

// Counts the XKB new-keyboard notifications Qt's connection receives.
class NewKeyboardCounter final : public QAbstractNativeEventFilter {
public:
    explicit NewKeyboardCounter(xcb_connection_t *connection)
    {
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
        if (m_xkbFirstEvent && (event->response_type & 0x7f) == m_xkbFirstEvent && event->pad0 == 0)
            ++count;
        return false;
    }
    int count = 0;

private:
    std::uint8_t m_xkbFirstEvent = 0;
};

xcb_connection_t *qtConnection()
{
    return qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
}

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

    void aTapPressesAndReleasesOnce()
    {
        Counts counts;
        const auto grab = m_service->grab(superShift2, countInto(counts));
        QVERIFY(grab);
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_COMPARE(counts.releases, 1);
        settle();
        QCOMPARE(counts.presses, 1);
        QCOMPARE(counts.releases, 1);
    }

    void otherCombinationsDoNotFire()
    {
        Counts counts;
        const auto grab = m_service->grab(superShift2, countInto(counts));
        QVERIFY(xdotool({"key", "shift+2"}));
        QVERIFY(xdotool({"key", "super+2"}));
        QVERIFY(xdotool({"key", "super+shift+3"}));
        settle();
        QCOMPARE(counts.presses, 0);
    }

    // The server repeats a held key after 660 ms at 25 Hz: about twenty repeats in 1.5 s.
    void aHeldKeyReleasesOnce()
    {
        Counts counts;
        const auto grab = m_service->grab(superShift2, countInto(counts));
        QVERIFY(xdotool({"keydown", "super+shift+2"}));
        auto keyUp = qScopeGuard([] { xdotool({"keyup", "super+shift+2"}); });
        QTRY_COMPARE(counts.presses, 1);
        QTest::qWait(1500); // held on purpose, for the server to auto-repeat
        QCOMPARE(counts.presses, 1);
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
        QTest::newRow("Caps Lock and Num Lock")
            << QStringList{"Caps_Lock", "Num_Lock"} << int(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2);
    }
    void firesWhateverLocksAreOn()
    {
        QFETCH(QStringList, locks);
        QFETCH(int, lockBits);
        OtherClient observer;
        Counts counts;
        const auto grab = m_service->grab(superShift2, countInto(counts));
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
        QVERIFY(!m_service->grab(superShift2, countInto(counts)));
        QVERIFY(other.grab(keycodeOf2, superShiftMask));
        QVERIFY(other.grab(keycodeOf2, superShiftMask | XCB_MOD_MASK_2));
        other.ungrabAll();
        const auto grab = m_service->grab(superShift2, countInto(counts));
        QVERIFY(grab);
        // While we hold it, the other client is refused.
        QVERIFY(!other.grab(keycodeOf2, superShiftMask));
    }

    void droppingTheGrabReleasesTheCombination()
    {
        OtherClient other;
        Counts counts;
        auto grab = m_service->grab(superShift2, countInto(counts));
        QVERIFY(grab);
        grab.reset();
        QVERIFY(other.grab(keycodeOf2, superShiftMask));
        QVERIFY(xdotool({"key", "super+shift+2"}));
        settle();
        QCOMPARE(counts.presses, 0);
        other.ungrabAll();
    }

    void twoGrabsOfOneCombinationBothFireAndOutliveEachOther()
    {
        Counts first, second;
        auto firstGrab = m_service->grab(superShift2, countInto(first));
        const auto secondGrab = m_service->grab(superShift2, countInto(second));
        QVERIFY(firstGrab && secondGrab);
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_COMPARE(second.releases, 1);
        QCOMPARE(first.releases, 1);
        firstGrab.reset();
        QVERIFY(xdotool({"key", "super+shift+2"}));
        QTRY_COMPARE(second.releases, 2);
        QCOMPARE(first.releases, 1);
    }

    void keysWithoutAnX11KeycodeAreRefused_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::newRow("Fn has no X11 keycode") << Shortcut{Key::function.rawValue, 256};
        QTest::newRow("an unnamed key code") << Shortcut{5000, 256};
        QTest::newRow("a negative key code") << Shortcut{-1, 256};
        QTest::newRow("decoded non-modifier bits") << Shortcut{19, 255};
    }
    void keysWithoutAnX11KeycodeAreRefused()
    {
        QFETCH(Shortcut, shortcut);
        Counts counts;
        QVERIFY(!m_service->grab(shortcut, countInto(counts)));
    }

    // The key at the Y position types "z" on a German layout; Super+Shift with it still fires.
    void aLetterHotKeyFiresAfterALayoutChange()
    {
        Counts counts;
        const auto grab =
            m_service->grab(Shortcut::fromKey(Key::y, Qt::MetaModifier | Qt::ShiftModifier), countInto(counts));
        QVERIFY(grab);
        NewKeyboardCounter newKeyboards(qtConnection());
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
