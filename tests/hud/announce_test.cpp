#include "app/announce.h"

#include "hud/notification_center.h"
#include "hud/progress_hud.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QTest>
#include <QTimer>

// announce() on a HUD of its own, with the real timers of the main event loop.
class AnnounceTest : public QObject {
    Q_OBJECT
private slots:
    void twoTextsOneSecondApartHideOnce();
};

namespace {
// When (ms since `clock` started) each willDisappear of the HUD was posted, and with which label.
struct HideLog : QObject {
    HideLog(const ProgressHUD &hud, const QElapsedTimer &clock)
    {
        connect(&NotificationCenter::defaultCenter(), &NotificationCenter::posted, this,
                [this, &hud, &clock](const QString &name, QObject *object) {
                    if (object != &hud)
                        return;
                    if (name == QString(ProgressHUD::willDisappearNotification)) {
                        hideTimes << clock.elapsed();
                        labels << hud.statusLabel()->text();
                    } else if (name == QString(ProgressHUD::didDisappearNotification)) {
                        ++completed;
                    }
                });
    }
    QList<qint64> hideTimes;
    QStringList labels;
    int completed = 0;
};
} // namespace

void AnnounceTest::twoTextsOneSecondApartHideOnce()
{
    QElapsedTimer clock;
    clock.start();
    ProgressHUD hud;
    HideLog log(hud, clock);
    announce(hud, QStringLiteral("Copied Text!"), ProgressHUDMode::success);
    QVERIFY(!hud.isHidden());
    QCOMPARE(hud.mode().kind, ProgressHUDMode::success);
    QCOMPARE(hud.statusLabel()->text(), QStringLiteral("Copied Text!"));
    QTimer::singleShot(1000, this, [&hud] { announce(hud, QStringLiteral("No Text"), ProgressHUDMode::text); });
    QTRY_COMPARE_WITH_TIMEOUT(log.completed, 1, 8000);
    // The first text's hide (2 s, early by up to 5 %) ends the second text; the second's own (3 s) comes later.
    QCOMPARE(log.labels, QStringList{QStringLiteral("No Text")});
    QVERIFY2(log.hideTimes.first() >= 1900 && log.hideTimes.first() < 2850,
             qPrintable(QString::number(log.hideTimes.first())));
    QVERIFY(hud.isHidden());
    QVERIFY(hud.statusLabel()->text().isEmpty());
    // Bounded wait past the second hide's time: it was cancelled and never arrives.
    QTest::qWait(int(3600 - clock.elapsed()));
    QCOMPARE(log.hideTimes.size(), 1);
    QVERIFY(hud.isHidden());
}

QTEST_MAIN(AnnounceTest)
#include "announce_test.moc"
