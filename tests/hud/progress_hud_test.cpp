#include "hud/hud_window.h"
#include "hud/layer_host_view.h"
#include "hud/notification_center.h"
#include "hud/progress_hud.h"
#include "hud/progress_indicator_layer.h"

#include <QLabel>
#include <QMouseEvent>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>

// Show and hide, their notifications, scheduled hides, mouse-downs and the indicator views.
class ProgressHudTest : public QObject {
    Q_OBJECT
private slots:
    void constructionLeavesTheHudHiddenAndTheWindowClosed();
    void firstShowCoversTheWindow();
    void animatedShowAndHidePostInOrder();
    void hideDelayedWithZeroHidesInTheSameTurn();
    void hideDelayed_data();
    void hideDelayed();
    void anyHideCancelsScheduledHides();
    void eachCompletedHideCallsTheHandlerOnceAndClearsTheLabel();
    void showDuringFadeOutIsFollowedByTheHide();
    void mouseDown_data();
    void mouseDown();
    void dismissibleClickHides();
    void changingModeRemovesSpinnerViewButNotItsTimer();
    void customViewIsReturnedToItsOwner();
    void deletedContainerLeavesTheHudUsable();
};

namespace {

// Notifications about one HUD, in the order they were posted.
class NotificationLog : public QObject {
public:
    explicit NotificationLog(const ProgressHUD &hud)
    {
        connect(&NotificationCenter::defaultCenter(), &NotificationCenter::posted, this,
                [this, &hud](const QString &name, QObject *object) {
                    if (object == &hud)
                        names << name;
                });
    }
    int count(QLatin1StringView name) const { return static_cast<int>(names.count(QString(name))); }
    QStringList names;
};

// A container that records the mouse presses that reach it.
class RecordingContainer : public QWidget {
public:
    int presses = 0;

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        ++presses;
        event->accept();
    }
};

const QString willAppear = QString(ProgressHUD::willAppearNotification);
const QString didAppear = QString(ProgressHUD::didAppearNotification);
const QString willDisappear = QString(ProgressHUD::willDisappearNotification);
const QString didDisappear = QString(ProgressHUD::didDisappearNotification);
const QString mouseDownName = QString(ProgressHUD::didReceiveMouseDownNotification);

constexpr int deadlineMs = 5000;

} // namespace

void ProgressHudTest::constructionLeavesTheHudHiddenAndTheWindowClosed()
{
    ProgressHUD hud;
    QVERIFY(hud.isHidden());
    QCOMPARE(hud.alphaValue(), 0.0);
    QVERIFY(!hud.parentWidget());
    QVERIFY(hud.hudWindow());
    QVERIFY(!hud.hudWindow()->isVisible());
    QVERIFY(!hud.progressIndicator());
}

void ProgressHudTest::firstShowCoversTheWindow()
{
    ProgressHUD hud;
    hud.show(QStringLiteral("Copied Text!"), ProgressHUDMode::success);
    HudWindow *window = hud.hudWindow();
    QVERIFY(window->isVisible());
    QCOMPARE(hud.parentWidget(), window);
    QCOMPARE(hud.geometry(), window->rect());
    QCOMPARE(window->geometry(), QGuiApplication::screens().first()->geometry());
    QVERIFY(hud.isVisible());
    QVERIFY(hud.progressIndicator());
    QCOMPARE(hud.statusLabel()->text(), QStringLiteral("Copied Text!"));
    hud.hide(false);
    QVERIFY(!window->isVisible());
}

void ProgressHudTest::animatedShowAndHidePostInOrder()
{
    ProgressHUD hud;
    NotificationLog log(hud);
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QCOMPARE(log.names, QStringList{willAppear});
    QVERIFY(hud.alphaValue() < 1.0);
    QTRY_COMPARE_WITH_TIMEOUT(log.count(ProgressHUD::didAppearNotification), 1, deadlineMs);
    QCOMPARE(hud.alphaValue(), 1.0);
    QVERIFY(hud.useAnimation());

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

void ProgressHudTest::hideDelayedWithZeroHidesInTheSameTurn()
{
    ProgressHUD hud;
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);
    NotificationLog log(hud);
    hud.hideDelayed(0.0);
    // No event processing in between: both notifications, the view hidden and the window closed.
    QCOMPARE(log.names, (QStringList{willDisappear, didDisappear}));
    QVERIFY(hud.isHidden());
    QVERIFY(!hud.hudWindow()->isVisible());
    QVERIFY(!hud.useAnimation());
}

void ProgressHudTest::hideDelayed_data()
{
    QTest::addColumn<std::optional<double>>("argument");
    QTest::newRow("one fades out") << std::optional<double>(1.0);
    QTest::newRow("no argument fades out") << std::optional<double>();
}

void ProgressHudTest::hideDelayed()
{
    QFETCH(std::optional<double>, argument);
    ProgressHUD hud;
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);
    NotificationLog log(hud);
    hud.hideDelayed(argument);
    QCOMPARE(log.names, QStringList{willDisappear});
    QVERIFY(hud.useAnimation());
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
    // Bounded wait past both deadlines: the cancelled hides must not arrive.
    QTest::qWait(600);
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
    QTest::addColumn<int>("containerPresses");
    QTest::newRow("no mask passes the click on") << ProgressHUDMaskType(ProgressHUDMaskType::none) << 1;
    QTest::newRow("clear mask keeps it") << ProgressHUDMaskType(ProgressHUDMaskType::clear) << 0;
    QTest::newRow("black mask keeps it") << ProgressHUDMaskType(ProgressHUDMaskType::black) << 0;
    QTest::newRow("custom mask keeps it") << ProgressHUDMaskType::makeCustom(QColor(255, 0, 0, 80)) << 0;
}

void ProgressHudTest::mouseDown()
{
    QFETCH(ProgressHUDMaskType, mask);
    QFETCH(int, containerPresses);
    RecordingContainer container;
    container.resize(400, 300);
    container.show();
    QVERIFY(QTest::qWaitForWindowExposed(&container));
    ProgressHUD hud;
    hud.setMaskType(mask);
    hud.setContainerView(&container);
    NotificationLog log(hud);
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);

    QTest::mouseClick(&hud, Qt::LeftButton, {}, QPoint(200, 200));
    QCOMPARE(log.count(ProgressHUD::didReceiveMouseDownNotification), 1);
    QCOMPARE(container.presses, containerPresses);
    // Not dismissible: a click never hides.
    QTest::qWait(300);
    QVERIFY(!hud.isHidden());
    QCOMPARE(log.count(ProgressHUD::willDisappearNotification), 0);
    hud.hide(false);
}

void ProgressHudTest::dismissibleClickHides()
{
    QWidget container;
    container.resize(400, 300);
    container.show();
    QVERIFY(QTest::qWaitForWindowExposed(&container));
    ProgressHUD hud;
    hud.setDismissible(true);
    hud.setContainerView(&container);
    NotificationLog log(hud);
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);
    QTest::mouseClick(&hud, Qt::LeftButton, {}, QPoint(200, 200));
    // The hide comes after the click has been handled, not inside it.
    QCOMPARE(log.names.last(), mouseDownName);
    QTRY_COMPARE_WITH_TIMEOUT(log.count(ProgressHUD::didDisappearNotification), 1, deadlineMs);
    QVERIFY(hud.isHidden());
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
    QCOMPARE(view->parentWidget(), shortLived.get());
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
