#include "keyboard_shortcuts/hot_key_registry.h"

#include "fake_hot_key_service.h"

#include <QKeyEvent>
#include <QMenu>
#include <QTest>

using namespace KeyboardShortcuts;
using Routing = HotKeyRegistry::Routing;

namespace {

const Shortcut superShift2{19, 768};
const Shortcut superA{0, 256};

struct Calls {
    QList<Shortcut> downs;
    QList<Shortcut> ups;
};

std::optional<HotKeyRegistry::HotKeyId> add(HotKeyRegistry &registry, Shortcut shortcut, Calls &calls)
{
    return registry.addHotKey(
        shortcut, [&calls](Shortcut s) { calls.downs << s; }, [&calls](Shortcut s) { calls.ups << s; });
}

// Counts the key events a widget itself gets to see.
class KeyEventCounter : public QObject {
public:
    int count = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease)
            ++count;
        return false;
    }
};

void sendKey(QWidget &to, QEvent::Type type, quint32 scanCode, Qt::KeyboardModifiers modifiers)
{
    QKeyEvent event(type, Qt::Key_unknown, modifiers, scanCode, 0, 0);
    QCoreApplication::sendEvent(&to, &event);
}

} // namespace

class HotKeyRegistryTest : public QObject {
    Q_OBJECT

private slots:
    void idsCountUpFromOneAndRefusalsUseThemUp()
    {
        FakeHotKeyService service;
        HotKeyRegistry registry(service);
        Calls calls;
        QCOMPARE(add(registry, superA, calls), std::optional<HotKeyRegistry::HotKeyId>(1));
        service.takeByOtherClient(superShift2);
        QCOMPARE(add(registry, superShift2, calls), std::nullopt);
        QCOMPARE(add(registry, superShift2, calls), std::nullopt);
        service.releaseByOtherClient(superShift2);
        QCOMPARE(add(registry, superShift2, calls), std::optional<HotKeyRegistry::HotKeyId>(4));
        QCOMPARE(registry.hotKeyIds(superShift2), std::vector<HotKeyRegistry::HotKeyId>{4});
    }

    void pressAndReleaseReachTheirCallbacks()
    {
        FakeHotKeyService service;
        HotKeyRegistry registry(service);
        Calls calls;
        add(registry, superShift2, calls);
        QVERIFY(service.press(superShift2));
        QCOMPARE(calls.downs, QList{superShift2});
        QVERIFY(calls.ups.isEmpty());
        QVERIFY(service.release(superShift2));
        QCOMPARE(calls.ups, QList{superShift2});
    }

    void removingDropsEveryHotKeyOfTheCombination()
    {
        FakeHotKeyService service;
        HotKeyRegistry registry(service);
        Calls calls;
        add(registry, superA, calls);
        add(registry, superA, calls);
        add(registry, superShift2, calls);
        QCOMPARE(service.grabCount(superA), 2);
        registry.removeHotKeys(Shortcut{5, 256}); // never added: nothing happens
        QCOMPARE(service.totalGrabCount(), 3);
        registry.removeHotKeys(superA);
        QCOMPARE(service.grabCount(superA), 0);
        QCOMPARE(service.grabCount(superShift2), 1);
        QVERIFY(registry.hotKeyIds(superA).empty());
    }

    void aCallbackMayRemoveItsOwnHotKey()
    {
        FakeHotKeyService service;
        HotKeyRegistry registry(service);
        int ups = 0;
        registry.addHotKey(
            superA, [&](Shortcut s) { registry.removeHotKeys(s); }, [&](Shortcut) { ++ups; });
        QVERIFY(service.press(superA));
        QVERIFY(!service.release(superA));
        QCOMPARE(ups, 0);
    }

    void suspendingKeepsIdsAndResumingGrabsAgain()
    {
        FakeHotKeyService service;
        HotKeyRegistry registry(service);
        Calls calls;
        add(registry, superA, calls);
        add(registry, superShift2, calls);
        registry.setRouting(Routing::disabled);
        QCOMPARE(service.totalGrabCount(), 0);
        QCOMPARE(registry.hotKeyIds(superA), std::vector<HotKeyRegistry::HotKeyId>{1});
        // A hot key added while suspended is filed, not grabbed.
        add(registry, Shortcut{5, 256}, calls);
        QCOMPARE(service.totalGrabCount(), 0);

        // Another client took one combination meanwhile: that hot key is dropped, the others come back.
        service.takeByOtherClient(superA);
        registry.setRouting(Routing::normal);
        QVERIFY(registry.hotKeyIds(superA).empty());
        QCOMPARE(registry.hotKeyIds(superShift2), std::vector<HotKeyRegistry::HotKeyId>{2});
        QCOMPARE(service.totalGrabCount(), 2);
    }

    void withAMenuOpenMatchingKeysAreRoutedAndKeptFromTheMenu()
    {
        FakeHotKeyService service;
        HotKeyRegistry registry(service);
        Calls calls;
        add(registry, superShift2, calls);
        QMenu menu;
        menu.addAction(QStringLiteral("Grab Text"));
        KeyEventCounter menuSaw;
        menu.installEventFilter(&menuSaw);
        registry.setRouting(Routing::menuOpen);
        QCOMPARE(service.totalGrabCount(), 0);

        const auto superShift = Qt::MetaModifier | Qt::ShiftModifier;
        sendKey(menu, QEvent::KeyPress, 11, superShift);
        QCOMPARE(calls.downs, QList{superShift2});
        // Repeats of the held key are swallowed without another press.
        sendKey(menu, QEvent::KeyPress, 11, superShift);
        QCOMPARE(calls.downs.size(), 1);
        // The modifiers may go up first; the release is matched by the key.
        sendKey(menu, QEvent::KeyRelease, 11, Qt::NoModifier);
        QCOMPARE(calls.ups, QList{superShift2});
        QCOMPARE(menuSaw.count, 0);

        // A lock or keypad flag does not stop a match; other keys and combinations reach the menu.
        sendKey(menu, QEvent::KeyPress, 11, superShift | Qt::KeypadModifier);
        sendKey(menu, QEvent::KeyRelease, 11, superShift | Qt::KeypadModifier);
        QCOMPARE(calls.ups.size(), 2);
        sendKey(menu, QEvent::KeyPress, 11, Qt::ShiftModifier);
        sendKey(menu, QEvent::KeyRelease, 11, Qt::ShiftModifier);
        sendKey(menu, QEvent::KeyPress, 38, superShift);
        QCOMPARE(menuSaw.count, 3);
        QCOMPARE(calls.ups.size(), 2);

        // Back to normal: the menu route is closed and the grab is back.
        registry.setRouting(Routing::normal);
        sendKey(menu, QEvent::KeyPress, 11, superShift);
        QCOMPARE(menuSaw.count, 4);
        QCOMPARE(calls.downs.size(), 2);
        QCOMPARE(service.grabCount(superShift2), 1);
    }

    void disabledRoutesNothing()
    {
        FakeHotKeyService service;
        HotKeyRegistry registry(service);
        Calls calls;
        add(registry, superShift2, calls);
        registry.setRouting(Routing::disabled);
        QMenu menu;
        KeyEventCounter menuSaw;
        menu.installEventFilter(&menuSaw);
        sendKey(menu, QEvent::KeyPress, 11, Qt::MetaModifier | Qt::ShiftModifier);
        QCOMPARE(menuSaw.count, 1);
        QVERIFY(calls.downs.isEmpty());
    }
};

QTEST_MAIN(HotKeyRegistryTest)
#include "hot_key_registry_test.moc"
