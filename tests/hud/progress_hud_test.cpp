#include "hud/hud_window.h"
#include "hud/layer_host_view.h"
#include "hud/notification_center.h"
#include "hud/progress_hud.h"
#include "hud/progress_indicator_layer.h"

#include <QLabel>
#include <QMouseEvent>
#include <QTest>

// Show and hide, their notifications, scheduled hides, mouse-downs and the indicator views.
class ProgressHudTest : public QObject {
    Q_OBJECT
private slots:
    void animatedShowAndHidePostInOrder();
    void hideDelayed_data();
    void hideDelayed();
    void anyHideCancelsScheduledHides();
    void eachCompletedHideCallsTheHandlerOnceAndClearsTheLabel();
    void showDuringFadeOutIsFollowedByTheHide();
    void mouseDown_data();
    void mouseDown();
    void changingModeRemovesSpinnerViewButNotItsTimer();
    void customViewIsReturnedToItsOwner();
    void deletedContainerLeavesTheHudUsable();
};

namespace {

// Notifications about one HUD, in the order they were posted.
struct NotificationLog : QObject {
    explicit NotificationLog(const ProgressHUD &hud)
    {
        connect(&NotificationCenter::defaultCenter(), &NotificationCenter::posted, this,
                [this, &hud](const QString &name, QObject *object) {
                    if (object == &hud)
                        names << name;
                });
    }
    int count(QLatin1StringView name) const { return int(names.count(QString(name))); }
    QStringList names;
};

struct RecordingContainer : QWidget {
    int presses = 0;
    void mousePressEvent(QMouseEvent *event) override
    {
        ++presses;
        event->accept();
    }
};

const QString willAppear(ProgressHUD::willAppearNotification), didAppear(ProgressHUD::didAppearNotification),
    willDisappear(ProgressHUD::willDisappearNotification), didDisappear(ProgressHUD::didDisappearNotification);
constexpr int deadlineMs = 5000;

} // namespace

void ProgressHudTest::animatedShowAndHidePostInOrder()
{
    ProgressHUD hud;
    NotificationLog log(hud);
    QVERIFY(hud.isHidden() && !hud.hudWindow()->isVisible());
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QCOMPARE(log.names, QStringList{willAppear});
    QVERIFY(hud.alphaValue() < 1.0);
    QTRY_COMPARE_WITH_TIMEOUT(log.count(ProgressHUD::didAppearNotification), 1, deadlineMs);
    QCOMPARE(hud.alphaValue(), 1.0);

    hud.hide(true);
    QCOMPARE(log.names.last(), willDisappear);
    QVERIFY(!hud.isHidden()); // still fading
    QTRY_COMPARE_WITH_TIMEOUT(log.count(ProgressHUD::didDisappearNotification), 1, deadlineMs);
    QCOMPARE(log.names, (QStringList{willAppear, didAppear, willDisappear, didDisappear}));
    QVERIFY(hud.isHidden());
    QCOMPARE(hud.alphaValue(), 0.0);
    QVERIFY(!hud.parentWidget());
    QVERIFY(!hud.hudWindow()->isVisible());
}

void ProgressHudTest::hideDelayed_data()
{
    QTest::addColumn<std::optional<double>>("argument");
    QTest::newRow("zero hides in the same turn") << std::optional<double>(0.0);
    QTest::newRow("one fades out") << std::optional<double>(1.0);
    QTest::newRow("no argument fades out") << std::optional<double>();
}

void ProgressHudTest::hideDelayed()
{
    QFETCH(std::optional<double>, argument);
    const bool immediate = argument == 0.0;
    ProgressHUD hud;
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);
    NotificationLog log(hud);
    hud.hideDelayed(argument);
    // Zero: no event processing in between, yet both notifications, the view hidden and the window closed.
    QCOMPARE(log.names, (immediate ? QStringList{willDisappear, didDisappear} : QStringList{willDisappear}));
    QCOMPARE(hud.isHidden(), immediate);
    QCOMPARE(hud.hudWindow()->isVisible(), !immediate);
    QCOMPARE(hud.useAnimation(), !immediate);
    QTRY_COMPARE_WITH_TIMEOUT(log.names, (QStringList{willDisappear, didDisappear}), deadlineMs);
}

void ProgressHudTest::anyHideCancelsScheduledHides()
{
    ProgressHUD hud;
    NotificationLog log(hud);
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    hud.scheduleHideDelayed(std::chrono::milliseconds(200));
    hud.scheduleHideDelayed(std::chrono::milliseconds(300));
    QVERIFY(hud.hasScheduledHide());
    hud.hide(false);
    QVERIFY(!hud.hasScheduledHide());
    hud.show(QStringLiteral("again"), ProgressHUDMode::text);
    QTest::qWait(600); // bounded wait past both deadlines: the cancelled hides must not arrive
    QCOMPARE(log.count(ProgressHUD::willDisappearNotification), 1);
    QVERIFY(!hud.isHidden());
    hud.hide(false);
}

void ProgressHudTest::eachCompletedHideCallsTheHandlerOnceAndClearsTheLabel()
{
    ProgressHUD hud;
    int calls = 0;
    QString labelDuringHandler;
    hud.setCompletionHandler([&] {
        ++calls;
        labelDuringHandler = hud.statusLabel()->text();
    });
    hud.show(QStringLiteral("first"), ProgressHUDMode::info);
    hud.hide(false);
    QCOMPARE(calls, 1);
    QCOMPARE(labelDuringHandler, QStringLiteral("first")); // cleared only after the handler
    QVERIFY(hud.statusLabel()->text().isEmpty());

    hud.show(QStringLiteral("second"), ProgressHUDMode::success);
    hud.hide(true);
    QCOMPARE(calls, 1);
    QTRY_COMPARE_WITH_TIMEOUT(calls, 2, deadlineMs);
    QVERIFY(hud.statusLabel()->text().isEmpty());
    QTest::qWait(300); // nothing completes twice
    QCOMPARE(calls, 2);

    hud.hide(false); // a hide while hidden still completes
    QCOMPARE(calls, 3);
}

void ProgressHudTest::showDuringFadeOutIsFollowedByTheHide()
{
    ProgressHUD hud;
    NotificationLog log(hud);
    hud.show(QStringLiteral("first"), ProgressHUDMode::text);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);
    hud.hide(true);
    hud.show(QStringLiteral("second"), ProgressHUDMode::text);
    QTRY_COMPARE_WITH_TIMEOUT(log.count(ProgressHUD::didDisappearNotification), 1, deadlineMs);
    QVERIFY(hud.isHidden());
    QVERIFY(!hud.hudWindow()->isVisible());
    QCOMPARE(log.count(ProgressHUD::willAppearNotification), 2);
}

void ProgressHudTest::mouseDown_data()
{
    QTest::addColumn<ProgressHUDMaskType>("mask");
    QTest::addColumn<bool>("dismissible");
    QTest::addColumn<int>("containerPresses");
    QTest::newRow("no mask passes the click on") << ProgressHUDMaskType(ProgressHUDMaskType::none) << false << 1;
    QTest::newRow("clear mask keeps it") << ProgressHUDMaskType(ProgressHUDMaskType::clear) << false << 0;
    QTest::newRow("black mask keeps it") << ProgressHUDMaskType(ProgressHUDMaskType::black) << false << 0;
    QTest::newRow("custom mask keeps it") << ProgressHUDMaskType::makeCustom(QColor(255, 0, 0, 80)) << false << 0;
    QTest::newRow("dismissible hides") << ProgressHUDMaskType(ProgressHUDMaskType::none) << true << 1;
}

void ProgressHudTest::mouseDown()
{
    QFETCH(ProgressHUDMaskType, mask);
    QFETCH(bool, dismissible);
    QFETCH(int, containerPresses);
    RecordingContainer container;
    container.resize(400, 300);
    container.show();
    QVERIFY(QTest::qWaitForWindowExposed(&container));
    ProgressHUD hud;
    hud.setMaskType(mask);
    hud.setDismissible(dismissible);
    hud.setContainerView(&container);
    NotificationLog log(hud);
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);

    QTest::mouseClick(&hud, Qt::LeftButton, {}, QPoint(200, 200));
    // The hide, if any, comes after the click has been handled, not inside it.
    QCOMPARE(log.names.last(), QString(ProgressHUD::didReceiveMouseDownNotification));
    QCOMPARE(log.count(ProgressHUD::didReceiveMouseDownNotification), 1);
    QCOMPARE(container.presses, containerPresses);
    if (dismissible) {
        QTRY_COMPARE_WITH_TIMEOUT(log.count(ProgressHUD::didDisappearNotification), 1, deadlineMs);
        QVERIFY(hud.isHidden());
    } else {
        QTest::qWait(300);
        QVERIFY(!hud.isHidden());
        QCOMPARE(log.count(ProgressHUD::willDisappearNotification), 0);
        hud.hide(false);
    }
}

void ProgressHudTest::changingModeRemovesSpinnerViewButNotItsTimer()
{
    ProgressHUD hud;
    hud.show(QString(), ProgressHUDMode::indeterminate);
    QPointer<QWidget> spinnerView = hud.indicator();
    QVERIFY(qobject_cast<LayerHostView *>(spinnerView.data()));
    QCOMPARE(spinnerView->size(), QSize(60, 60));
    ProgressIndicatorLayer *layer = hud.progressIndicator();
    QVERIFY(layer->isRunning());

    hud.show(QStringLiteral("Copied Text!"), ProgressHUDMode::success);
    QVERIFY(!spinnerView);
    QVERIFY(!hud.indicator());
    QCOMPARE(hud.progressIndicator(), layer);
    QVERIFY(layer->hasAnimationTimer());

    hud.hide(false);
    QVERIFY(!layer->isRunning());
    QVERIFY(!layer->hasAnimationTimer());
}

void ProgressHudTest::customViewIsReturnedToItsOwner()
{
    auto view = std::make_unique<QWidget>();
    view->resize(80, 30);
    ProgressHUD hud;
    hud.show(QStringLiteral("custom"), ProgressHUDMode::makeCustom(view.get()));
    QCOMPARE(hud.indicator(), view.get());
    QCOMPARE(view->parentWidget(), &hud);
    QCOMPARE(view->size(), QSize(80, 30));
    hud.hide(false);
    QVERIFY(!view->parentWidget());
    QVERIFY(!hud.indicator());

    // Destroying the HUD while the view is installed gives it back too (it would be deleted twice otherwise).
    auto shortLived = std::make_unique<ProgressHUD>();
    shortLived->show(QStringLiteral("custom"), ProgressHUDMode::makeCustom(view.get()));
    shortLived.reset();
    QVERIFY(!view->parentWidget());
}

void ProgressHudTest::deletedContainerLeavesTheHudUsable()
{
    ProgressHUD hud;
    NotificationLog log(hud);
    auto container = std::make_unique<QWidget>();
    container->resize(300, 200);
    hud.setContainerView(container.get());
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    container.reset();
    QVERIFY(hud.isHidden());
    QCOMPARE(log.count(ProgressHUD::didDisappearNotification), 1);
    QVERIFY(!hud.containerView());
    hud.show(QStringLiteral("back in the window"), ProgressHUDMode::text);
    QCOMPARE(hud.parentWidget(), hud.hudWindow());
    hud.hide(false);
}

QTEST_MAIN(ProgressHudTest)
#include "progress_hud_test.moc"
