#include "keyboard_shortcuts/menu_item_lookup.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/menu_binding.h"
#include "support/xvfb_server.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr Qt::KeyboardModifiers super = Qt::MetaModifier;
constexpr Qt::KeyboardModifiers superShift = Qt::MetaModifier | Qt::ShiftModifier;

} // namespace

class MenuItemLookupTest : public QObject {
    Q_OBJECT

private:
    TestSupport::IsolatedXdgEnvironment m_xdg; // the bound item's name is stored in the standard defaults
    std::unique_ptr<KeyboardLayout> m_layout = makeUsKeyboardLayout();
    QMenu m_menu;

private slots:
    void initTestCase()
    {
        // Built like the tray menu: key equivalents drawn after a tab, some with a QAction shortcut as well.
        m_menu.addAction(u"Grab Text\tSuper+Shift+2"_s);
        m_menu.addAction(u"Save &As…"_s)->setShortcut(QKeySequence(Qt::ControlModifier | Qt::Key_S));
        m_menu.addAction(u"Reload"_s)->setShortcut(QKeySequence(Qt::ControlModifier | Qt::ShiftModifier | Qt::Key_R));
        m_menu.addAction(u"Plain"_s);
        m_menu.addAction(u"Refresh\tF5"_s);
        m_menu.addAction(u"Odd order\tShift+Alt+O"_s);
        m_menu.addSeparator();
        QMenu *history = m_menu.addMenu(u"History"_s);
        history->addAction(u"Tom && Jerry\tSuper+1"_s);
        history->addAction(u"first copy\tSuper+9"_s);
        QMenu *deeper = history->addMenu(u"Deeper"_s);
        deeper->addAction(u"deep\tCtrl+Alt+D"_s);
        deeper->addAction(u"second copy\tSuper+9"_s);
        m_menu.addAction(u"top level copy\tCtrl+Alt+D"_s);
        m_menu.addAction(u"Quit\tSuper+Q"_s)->setShortcut(QKeySequence(Qt::MetaModifier | Qt::Key_Q));
        m_menu.addAction(u"Unreadable\tSuper+Nonsense+X"_s);
    }

    void findsTheFirstItemInWalkOrder_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<QString>("title");
        QTest::newRow("drawn key equivalent") << Shortcut::fromKey(Key::two, superShift) << u"Grab Text"_s;
        QTest::newRow("drawn Shift must be pressed") << Shortcut::fromKey(Key::two, super) << QString();
        QTest::newRow("no drawn Shift must not be") << Shortcut::fromKey(Key::q, superShift) << QString();
        QTest::newRow("drawn and own shortcut agree") << Shortcut::fromKey(Key::q, super) << u"Quit"_s;
        QTest::newRow("own shortcut without drawn text")
            << Shortcut::fromKey(Key::s, Qt::ControlModifier) << u"Save As…"_s;
        QTest::newRow("own shortcut, extra Shift does not match")
            << Shortcut::fromKey(Key::s, Qt::ControlModifier | Qt::ShiftModifier) << QString();
        QTest::newRow("own shortcut with Shift")
            << Shortcut::fromKey(Key::r, Qt::ControlModifier | Qt::ShiftModifier) << u"Reload"_s;
        QTest::newRow("own shortcut with Shift needs it")
            << Shortcut::fromKey(Key::r, Qt::ControlModifier) << QString();
        QTest::newRow("a function key alone") << Shortcut::fromKey(Key::f5, {}) << u"Refresh"_s;
        QTest::newRow("modifier words in any order")
            << Shortcut::fromKey(Key::o, Qt::AltModifier | Qt::ShiftModifier) << u"Odd order"_s;
        QTest::newRow("inside a submenu") << Shortcut::fromKey(Key::one, super) << u"Tom & Jerry"_s;
        QTest::newRow("an item before a deeper submenu") << Shortcut::fromKey(Key::nine, super) << u"first copy"_s;
        QTest::newRow("an earlier submenu before a later item")
            << Shortcut::fromKey(Key::d, Qt::ControlModifier | Qt::AltModifier) << u"deep"_s;
        QTest::newRow("nothing uses it") << Shortcut::fromKey(Key::z, super) << QString();
        QTest::newRow("an unknown modifier word matches nothing") << Shortcut::fromKey(Key::x, super) << QString();
        QTest::newRow("a key without text matches nothing") << Shortcut{200, 0x100} << QString();
    }

    void findsTheFirstItemInWalkOrder()
    {
        QFETCH(Shortcut, shortcut);
        QFETCH(QString, title);
        const QAction *item = menuItem(shortcut, m_menu, *m_layout);
        QCOMPARE(item ? menuItemTitle(*item) : QString(), title);
    }

    void anItemShowingTheRecordedNamesOwnShortcutIsPassedOver()
    {
        const Name grab(u"grab"_s, Shortcut::fromKey(Key::g, super));
        const Name other(u"other"_s);
        QMenu menu;
        bindShortcut(menu.addAction(u"Grab"_s), grab);
        menu.addMenu(u"More"_s)->addAction(u"Go\tSuper+G"_s);
        QCOMPARE(menuItemTitle(*menuItem(Shortcut::fromKey(Key::g, super), menu, *m_layout)), u"Grab"_s);
        QCOMPARE(menuItemTitle(*menuItem(Shortcut::fromKey(Key::g, super), menu, *m_layout, other)), u"Grab"_s);
        QCOMPARE(menuItemTitle(*menuItem(Shortcut::fromKey(Key::g, super), menu, *m_layout, grab)), u"Go"_s);
    }

    void aLayoutWithoutTheKeyMatchesNothing()
    {
        const auto unknown = makeNullKeyboardLayout();
        QVERIFY(!menuItem(Shortcut::fromKey(Key::q, super), m_menu, *unknown));
        QVERIFY(menuItem(Shortcut::fromKey(Key::f5, {}), m_menu, *unknown)); // function keys need no layout
    }
};

QTEST_MAIN(MenuItemLookupTest)
#include "menu_item_lookup_test.moc"
