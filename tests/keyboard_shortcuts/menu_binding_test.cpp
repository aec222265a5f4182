#include "keyboard_shortcuts/menu_binding.h"

#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "support/xvfb_server.h"

#include <QAction>
#include <QApplication>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

class MenuBindingTest : public QObject {
    Q_OBJECT

private slots:
    void theActionFollowsTheStoredShortcutOfItsNameOnly()
    {
        const Name name(u"grabText"_s, Shortcut::fromKey(Key::two, Qt::ShiftModifier | Qt::MetaModifier));
        QAction action(u"Grab Text"_s);
        bindShortcut(&action, name);
        QCOMPARE(action.text(), u"Grab Text\tSuper+Shift+2"_s);
        QVERIFY(action.shortcut().isEmpty());

        storeShortcut(Shortcut::fromKey(Key::a, Qt::ControlModifier | Qt::AltModifier), name);
        QCOMPARE(action.text(), u"Grab Text\tCtrl+Alt+A"_s);
        storeShortcut(Shortcut::fromKey(Key::c, Qt::MetaModifier), Name(u"other"_s));
        QCOMPARE(action.text(), u"Grab Text\tCtrl+Alt+A"_s);
        storeShortcut(std::nullopt, name);
        QCOMPARE(action.text(), u"Grab Text"_s);
        resetToDefaults({name});
        QCOMPARE(action.text(), u"Grab Text\tSuper+Shift+2"_s);
    }

    void rebindingDropsTheFirstBinding()
    {
        const Name first(u"first"_s, Shortcut::fromKey(Key::d, Qt::MetaModifier));
        const Name second(u"second"_s, Shortcut::fromKey(Key::e, Qt::MetaModifier));
        QAction action(u"History"_s);
        bindShortcut(&action, first);
        bindShortcut(&action, second);
        QCOMPARE(action.text(), u"History\tSuper+E"_s);
        storeShortcut(Shortcut::fromKey(Key::f, Qt::MetaModifier), first);
        QCOMPARE(action.text(), u"History\tSuper+E"_s);
        QCOMPARE(action.children().size(), 1);
        // Binding to no name clears the key equivalent and the binding.
        bindShortcut(&action, std::nullopt);
        QCOMPARE(action.text(), u"History"_s);
        QVERIFY(action.children().isEmpty());
        storeShortcut(Shortcut::fromKey(Key::h, Qt::MetaModifier), second);
        QCOMPARE(action.text(), u"History"_s);
    }

    void aBoundActionMayBeDeletedFirst()
    {
        const Name name(u"deleted"_s, Shortcut::fromKey(Key::i, Qt::MetaModifier));
        auto action = std::make_unique<QAction>(u"About Scrivlet"_s);
        bindShortcut(action.get(), name);
        action.reset();
        storeShortcut(Shortcut::fromKey(Key::j, Qt::MetaModifier), name);
        QCOMPARE(storedShortcut(name), std::optional(Shortcut::fromKey(Key::j, Qt::MetaModifier)));
    }
};

SCRIVLET_X11_TEST_MAIN(MenuBindingTest)
#include "menu_binding_test.moc"
