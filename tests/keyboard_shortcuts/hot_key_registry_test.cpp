#include "keyboard_shortcuts/hot_key_registry.h"

#include "fake_hot_key_service.h"

#include <QKeyEvent>
#include <QMenu>
#include <QTest>

using namespace KeyboardShortcuts;
using Routing = HotKeyRegistry::Routing;
using Ids = std::vector<HotKeyRegistry::HotKeyId>;

namespace {

const Shortcut superShift2{19, 768};
const Shortcut superA{0, 256};

// Counts the key events a widget itself gets to see.
class KeyEventCounter : public QObject {
public:
    int count = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease;
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

private:
    std::optional<FakeHotKeyService> m_service;
    std::optional<HotKeyRegistry> m_registry;
    QList<Shortcut> m_downs, m_ups;

    std::optional<HotKeyRegistry::HotKeyId> add(Shortcut shortcut)
    {
        return m_registry->addHotKey(
            shortcut, [this](Shortcut s) { m_downs << s; }, [this](Shortcut s) { m_ups << s; });
    }

private slots:
    void init()
    {
        m_service.emplace();
        m_registry.emplace(*m_service);
        m_downs.clear();
        m_ups.clear();
    }
    void cleanup() { m_registry.reset(); }

    void idsCountUpFromOneRefusalsUseThemUpAndRemovingDropsTheCombination()
    {
        QCOMPARE(add(superA), std::optional<HotKeyRegistry::HotKeyId>(1));
        m_service->takeByOtherClient(superShift2);
        QCOMPARE(add(superShift2), std::nullopt);
        QCOMPARE(add(superShift2), std::nullopt);
        m_service->releaseByOtherClient(superShift2);
        QCOMPARE(add(superShift2), std::optional<HotKeyRegistry::HotKeyId>(4));
        QCOMPARE(add(superA), std::optional<HotKeyRegistry::HotKeyId>(5));
        QCOMPARE(m_registry->hotKeyIds(superA), (Ids{1, 5}));
        m_registry->removeHotKeys(superA);
        QCOMPARE(m_service->grabCount(superA), 0);
        QVERIFY(m_registry->hotKeyIds(superA).empty());
        QCOMPARE(m_registry->hotKeyIds(superShift2), Ids{4});
    }

    void aCallbackMayRemoveItsOwnHotKey()
    {
        int ups = 0;
        m_registry->addHotKey(
            superA, [&](Shortcut s) { m_registry->removeHotKeys(s); }, [&](Shortcut) { ++ups; });
        QVERIFY(m_service->press(superA));
        QVERIFY(!m_service->release(superA));
        QCOMPARE(ups, 0);
    }

    void suspendingKeepsIdsAndResumingGrabsAgain()
    {
        add(superA);
        add(superShift2);
        m_registry->setRouting(Routing::disabled);
        QCOMPARE(m_service->totalGrabCount(), 0);
        QCOMPARE(m_registry->hotKeyIds(superA), Ids{1});
        add(Shortcut{5, 256}); // filed, not grabbed
        QCOMPARE(m_service->totalGrabCount(), 0);
        m_registry->setRouting(Routing::normal);
        QCOMPARE(m_service->totalGrabCount(), 3);
    }

    // A hot key another client took is kept, reported lost and back once each, retried while the menu is closed
    // only, and fires again once it is ours.
    void aLostHotKeyIsKeptAndComesBackWhenFree_data()
    {
        QTest::addColumn<bool>("atKeyboardChange"); // else while a menu was open, and back at its next close
        QTest::newRow("taken while a menu was open, back at the next menu close") << false;
        QTest::newRow("taken at a keyboard change, back at the next one") << true;
    }
    void aLostHotKeyIsKeptAndComesBackWhenFree()
    {
        QFETCH(bool, atKeyboardChange);
        QList<Shortcut> reported;
        m_registry.emplace(*m_service, [&](Shortcut shortcut) { reported << shortcut; });
        add(superA);
        add(superShift2);
        if (atKeyboardChange) {
            m_service->changeKeyboardLosing(superA);
        } else {
            m_registry->setRouting(Routing::menuOpen);
            m_service->takeByOtherClient(superA);
            m_registry->setRouting(Routing::normal);
        }
        QCOMPARE(reported, QList{superA});
        QVERIFY(m_registry->isLost(superA));
        QVERIFY(!m_registry->isLost(superShift2));
        QCOMPARE(m_registry->hotKeyIds(superA), Ids{1});
        QCOMPARE(m_service->grabCount(superA), 0);
        QCOMPARE(m_service->grabCount(superShift2), 1);

        // Still taken: tried again without news.
        m_service->changeKeyboardLosing();
        QCOMPARE(reported.size(), 1);
        m_service->releaseByOtherClient(superA);
        if (!atKeyboardChange) {
            m_registry->setRouting(Routing::menuOpen);
            m_service->changeKeyboardLosing(); // nothing is grabbed while a menu is open
            QCOMPARE(m_service->totalGrabCount(), 0);
            m_registry->setRouting(Routing::normal);
        } else {
            m_service->changeKeyboardLosing();
        }
        QCOMPARE(reported, (QList{superA, superA}));
        QVERIFY(!m_registry->isLost(superA));
        QVERIFY(m_service->tap(superA));
        QCOMPARE(m_ups, QList{superA});

        // Removed while lost, it is reported too: it no longer waits for the combination.
        m_service->changeKeyboardLosing(superA);
        m_registry->removeHotKeys(superA);
        QCOMPARE(reported.size(), 4);
        QVERIFY(!m_registry->isLost(superA));
    }

    void withAMenuOpenMatchingKeysAreRoutedAndKeptFromTheMenu()
    {
        add(superShift2);
        QMenu menu;
        KeyEventCounter menuSaw;
        menu.installEventFilter(&menuSaw);
        m_registry->setRouting(Routing::menuOpen);
        QCOMPARE(m_service->totalGrabCount(), 0);

        const auto superShift = Qt::MetaModifier | Qt::ShiftModifier;
        sendKey(menu, QEvent::KeyPress, 11, superShift);
        sendKey(menu, QEvent::KeyPress, 11, superShift); // a repeat of the held key is swallowed
        QCOMPARE(m_downs, QList{superShift2});
        // The modifiers may go up first; the release is matched by the key.
        sendKey(menu, QEvent::KeyRelease, 11, Qt::NoModifier);
        QCOMPARE(m_ups, QList{superShift2});
        QCOMPARE(menuSaw.count, 0);

        // A keypad flag does not stop a match; other keys and combinations reach the menu.
        sendKey(menu, QEvent::KeyPress, 11, superShift | Qt::KeypadModifier);
        sendKey(menu, QEvent::KeyRelease, 11, superShift | Qt::KeypadModifier);
        QCOMPARE(m_ups.size(), 2);
        sendKey(menu, QEvent::KeyPress, 11, Qt::ShiftModifier);
        sendKey(menu, QEvent::KeyRelease, 11, Qt::ShiftModifier);
        sendKey(menu, QEvent::KeyPress, 38, superShift);
        QCOMPARE(menuSaw.count, 3);
        QCOMPARE(m_ups.size(), 2);

        // Disabled or back to normal, the menu route is closed.
        for (const Routing routing : {Routing::disabled, Routing::normal}) {
            m_registry->setRouting(routing);
            sendKey(menu, QEvent::KeyPress, 11, superShift);
        }
        QCOMPARE(menuSaw.count, 5);
        QCOMPARE(m_downs.size(), 2);
        QCOMPARE(m_service->grabCount(superShift2), 1);
    }
};

QTEST_MAIN(HotKeyRegistryTest)
#include "hot_key_registry_test.moc"
