#include "keyboard_shortcuts/menu_tracker.h"

#include <QMenu>
#include <QTest>
#include <QWidget>

using namespace KeyboardShortcuts;

class MenuTrackerTest : public QObject {
    Q_OBJECT

private slots:
    void reportsTheFirstOpenAndTheLastClose()
    {
        QList<bool> changes;
        MenuTracker tracker([&](bool tracking) { changes << tracking; });
        QMenu menu;
        QMenu *submenu = menu.addMenu(QStringLiteral("History"));
        submenu->addAction(QStringLiteral("entry"));
        menu.popup(QPoint(10, 10));
        QTRY_COMPARE(changes, QList{true});
        submenu->popup(QPoint(120, 10));
        QTRY_VERIFY(submenu->isVisible());
        submenu->hide();
        QVERIFY(tracker.isTracking());
        menu.hide();
        QCOMPARE(changes, (QList{true, false}));
    }

    void aMenuDeletedWhileOpenEndsTracking()
    {
        QList<bool> changes;
        MenuTracker tracker([&](bool tracking) { changes << tracking; });
        auto menu = std::make_unique<QMenu>();
        menu->addAction(QStringLiteral("Quit"));
        menu->popup(QPoint(10, 10));
        QTRY_VERIFY(tracker.isTracking());
        menu.reset();
        QVERIFY(!tracker.isTracking());
        QCOMPARE(changes, (QList{true, false}));
    }

    void otherWidgetsAreNotMenus()
    {
        QList<bool> changes;
        MenuTracker tracker([&](bool tracking) { changes << tracking; });
        QWidget window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(changes.isEmpty());
    }
};

QTEST_MAIN(MenuTrackerTest)
#include "menu_tracker_test.moc"
