#include "keyboard_shortcuts/menu_tracker.h"

#include <QMenu>
#include <QTest>
#include <QWidget>

using namespace KeyboardShortcuts;

class MenuTrackerTest : public QObject {
    Q_OBJECT

private:
    QList<bool> m_changes;
    std::optional<MenuTracker> m_tracker;

private slots:
    void init()
    {
        m_changes.clear();
        m_tracker.emplace([this](bool tracking) { m_changes << tracking; });
    }
    void cleanup() { m_tracker.reset(); }

    void reportsTheFirstOpenAndTheLastCloseOfMenusOnly()
    {
        QWidget window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(m_changes.isEmpty());
        QMenu menu;
        QMenu *submenu = menu.addMenu(QStringLiteral("History"));
        submenu->addAction(QStringLiteral("entry"));
        menu.popup(QPoint(10, 10));
        QTRY_COMPARE(m_changes, QList{true});
        submenu->popup(QPoint(120, 10));
        QTRY_VERIFY(submenu->isVisible());
        submenu->hide();
        QVERIFY(m_tracker->isTracking());
        menu.hide();
        QCOMPARE(m_changes, (QList{true, false}));
    }

    void aMenuDeletedWhileOpenEndsTracking()
    {
        auto menu = std::make_unique<QMenu>();
        menu->addAction(QStringLiteral("Quit"));
        menu->popup(QPoint(10, 10));
        QTRY_VERIFY(m_tracker->isTracking());
        menu.reset();
        QVERIFY(!m_tracker->isTracking());
        QCOMPARE(m_changes, (QList{true, false}));
    }
};

QTEST_MAIN(MenuTrackerTest)
#include "menu_tracker_test.moc"
