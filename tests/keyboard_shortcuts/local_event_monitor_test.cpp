#include "keyboard_shortcuts/local_event_monitor.h"

#include <QKeyEvent>
#include <QTest>
#include <QWidget>

using namespace KeyboardShortcuts;

namespace {

// Records what reaches the widget itself.
class Target : public QWidget {
public:
    QList<int> keys;

protected:
    void keyPressEvent(QKeyEvent *event) override { keys << event->key(); }
};

void press(QWidget &widget, int key)
{
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(&widget, &event);
}

} // namespace

class LocalEventMonitorTest : public QObject {
    Q_OBJECT

private slots:
    void swallowsWhatTheCallbackKeepsAndPassesTheRest()
    {
        Target target;
        QList<int> seen;
        LocalEventMonitor monitor({QEvent::KeyPress}, [&](QObject *receiver, QEvent *event) {
            if (receiver != &target)
                return false;
            const int key = static_cast<QKeyEvent *>(event)->key();
            seen << key;
            return key == Qt::Key_A;
        });
        press(target, Qt::Key_A);
        press(target, Qt::Key_B);
        QCOMPARE(seen, (QList<int>{Qt::Key_A, Qt::Key_B}));
        QCOMPARE(target.keys, QList<int>{Qt::Key_B});
    }

    void seesOnlyTheChosenTypes()
    {
        Target target;
        int calls = 0;
        LocalEventMonitor monitor({QEvent::KeyRelease}, [&](QObject *, QEvent *) { return ++calls, true; });
        press(target, Qt::Key_A);
        QCOMPARE(calls, 0);
        QCOMPARE(target.keys, QList<int>{Qt::Key_A});
    }

    void droppingTheMonitorRemovesIt()
    {
        Target target;
        int calls = 0;
        auto monitor = std::make_unique<LocalEventMonitor>(QList{QEvent::KeyPress},
                                                           [&](QObject *, QEvent *) { return ++calls, true; });
        press(target, Qt::Key_A);
        monitor.reset();
        press(target, Qt::Key_B);
        QCOMPARE(calls, 1);
        QCOMPARE(target.keys, QList<int>{Qt::Key_B});
    }
};

QTEST_MAIN(LocalEventMonitorTest)
#include "local_event_monitor_test.moc"
