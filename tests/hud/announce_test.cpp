#include "app/announce.h"

#include "hud/notification_center.h"
#include "hud/progress_hud.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QTest>
#include <QTimer>

// announce() on the shared HUD, with the real timers of the main event loop.
class AnnounceTest : public QObject {
    Q_OBJECT
private slots:
    void showsAndHidesAfterTheDisplayTime();
    void twoTextsOneSecondApartHideOnce();
};

namespace {
// Milliseconds since `clock` started at which each willDisappear of the shared HUD was posted, with its label.
struct HideLog : QObject {
    explicit HideLog(const QElapsedTimer &clock)
    {
        connect(&NotificationCenter::defaultCenter(), &NotificationCenter::posted, this,
                [this, &clock](const QString &name, QObject *object) {
                    if (object != &ProgressHUD::shared())
                        return;
                    if (name == QString(ProgressHUD::willDisappearNotification)) {
                        hideTimes << clock.elapsed();
                        labels << ProgressHUD::shared().statusLabel()->text();
                    } else if (name == QString(ProgressHUD::didDisappearNotification)) {
                        ++completed;
                    }
                });
    }
    QList<qint64> hideTimes;
    QStringList labels;
    int completed = 0;
};
// Coarse timers of 2 s or more may fire up to 5 % early.
constexpr qint64 earliestTwoSecondHide = 1900;
} // namespace

void AnnounceTest::showsAndHidesAfterTheDisplayTime()
{
    QElapsedTimer clock;
    clock.start();
    HideLog log(clock);
    announce(QStringLiteral("Copied Text!"), ProgressHUDMode::success);
    ProgressHUD &hud = ProgressHUD::shared();
    QVERIFY(!hud.isHidden());
    QCOMPARE(hud.mode().kind, ProgressHUDMode::success);
    QCOMPARE(hud.statusLabel()->text(), QStringLiteral("Copied Text!"));
    QVERIFY(hud.hasScheduledHide());
    QTRY_COMPARE_WITH_TIMEOUT(log.completed, 1, 8000);
    QCOMPARE(log.hideTimes.size(), 1);
    QVERIFY2(log.hideTimes.first() >= earliestTwoSecondHide, qPrintable(QString::number(log.hideTimes.first())));
    QVERIFY(hud.isHidden());
    QVERIFY(hud.statusLabel()->text().isEmpty());
}

void AnnounceTest::twoTextsOneSecondApartHideOnce()
{
    QElapsedTimer clock;
    clock.start();
    HideLog log(clock);
    announce(QStringLiteral("Copied Text!"), ProgressHUDMode::success);
    QTimer::singleShot(1000, this, [] { announce(QStringLiteral("No Text"), ProgressHUDMode::text); });
    QTRY_COMPARE_WITH_TIMEOUT(log.completed, 1, 8000);
    // The first text's hide ends the second text after about one second; the second's own hide (3 s) would
    // come later.
    QCOMPARE(log.labels, QStringList{QStringLiteral("No Text")});
    QVERIFY2(log.hideTimes.first() >= earliestTwoSecondHide && log.hideTimes.first() < 2850,
             qPrintable(QString::number(log.hideTimes.first())));
    // Bounded wait past the second hide's time: it was cancelled and never arrives.
    QTest::qWait(int(3600 - clock.elapsed()));
    QCOMPARE(log.hideTimes.size(), 1);
    QVERIFY(ProgressHUD::shared().isHidden());
}

QTEST_MAIN(AnnounceTest)
#include "announce_test.moc"
