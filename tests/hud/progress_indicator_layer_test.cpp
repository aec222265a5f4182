#include "hud/layer_host_view.h"
#include "hud/progress_indicator_layer.h"
#include "hud/spinning_progress_indicator_layer.h"

#include <QElapsedTimer>
#include <QPainter>
#include <QTest>

#include <cmath>
#include <numbers>

class ProgressIndicatorLayerTest : public QObject {
    Q_OBJECT
private slots:
    void finGeometry_data();
    void finGeometry();
    void stepsLightFinsInTurnAndNewBoundsDoNotAnimate();
    void fadeRunsLinearlyOverSevenTenths_data();
    void fadeRunsLinearlyOverSevenTenths();
    void litFinsPointWhereTheyShould();
    void restartingKeepsOneTimer();
    void spinningPie_data();
    void spinningPie();
};

void ProgressIndicatorLayerTest::finGeometry_data()
{
    QTest::addColumn<QSizeF>("bounds");
    QTest::addColumn<QSizeF>("finSize");
    QTest::addColumn<qreal>("cornerRadius");
    QTest::addColumn<QPointF>("position");
    QTest::newRow("side 60: fins 5.7 by 18") << QSizeF(60, 60) << QSizeF(5.7, 18) << 2.85 << QPointF(30, 30);
    QTest::newRow("side 120 doubles them") << QSizeF(120, 120) << QSizeF(11.4, 36) << 5.7 << QPointF(60, 60);
    QTest::newRow("the shorter side counts") << QSizeF(100, 60) << QSizeF(5.7, 18) << 2.85 << QPointF(50, 30);
}

void ProgressIndicatorLayerTest::finGeometry()
{
    QFETCH(QSizeF, bounds);
    QFETCH(QSizeF, finSize);
    QFETCH(qreal, cornerRadius);
    QFETCH(QPointF, position);
    const FinGeometry g = ::finGeometry(bounds);
    QCOMPARE(g.size, finSize);
    QCOMPARE(g.cornerRadius, cornerRadius);
    QCOMPARE(g.anchorPoint, QPointF(0.5, -0.63));
    QCOMPARE(g.position, position);
}

void ProgressIndicatorLayerTest::stepsLightFinsInTurnAndNewBoundsDoNotAnimate()
{
    ProgressIndicatorLayer layer(Qt::black, 60);
    QCOMPARE(layer.finCount(), 12);
    for (qsizetype i = 0; i < layer.finCount(); ++i)
        QCOMPARE(layer.finOpacity(i), 0.0);
    layer.startAnimation();
    QCOMPARE(layer.fposition(), 11);
    layer.stopAnimation(); // before the timer's first step
    layer.advancePosition();
    QCOMPARE(layer.fposition(), 0);
    QVERIFY(layer.finOpacity(0) > 0.5);
    QCOMPARE(layer.finOpacity(1), 0.0);

    // New bounds move and resize the fins without recreating them or starting a fade.
    const double litOpacity = layer.finOpacity(0);
    layer.setBounds(QRectF(0, 0, 120, 120));
    QCOMPARE(layer.finCount(), 12);
    QCOMPARE(layer.fposition(), 0);
    QCOMPARE(layer.geometry().size, QSizeF(11.4, 36));
    QCOMPARE(layer.geometry().position, QPointF(60, 60));
    QCOMPARE(layer.finOpacity(1), 0.0);
    QVERIFY(layer.finOpacity(0) <= litOpacity);

    for (int step = 1; step <= 11; ++step)
        layer.advancePosition();
    QCOMPARE(layer.fposition(), 11);
    layer.advancePosition(); // the thirteenth step lights fin 0 again
    QCOMPARE(layer.fposition(), 0);
}

void ProgressIndicatorLayerTest::fadeRunsLinearlyOverSevenTenths_data()
{
    QTest::addColumn<qint64>("now");
    QTest::addColumn<double>("opacity");
    QTest::newRow("before the start: lit") << qint64(900) << 1.0;
    QTest::newRow("halfway: 0.5") << qint64(1350) << 0.5;
    QTest::newRow("after 0.7 s: down") << qint64(1700) << 0.0;
    QTest::newRow("long after: down") << qint64(5000) << 0.0;
}

void ProgressIndicatorLayerTest::fadeRunsLinearlyOverSevenTenths()
{
    QFETCH(qint64, now);
    QFETCH(double, opacity);
    QCOMPARE((OpacityFade{1.0, 0.0, 1000, FinSpinner::fadeDurationMs}.valueAt(now)), opacity);
}

void ProgressIndicatorLayerTest::litFinsPointWhereTheyShould()
{
    ProgressIndicatorLayer layer(Qt::black, 60);
    LayerHostView view(QRect(0, 0, 60, 60));
    view.setLayer(&layer);
    layer.startAnimation();
    layer.stopAnimation();
    for (int i = 0; i < 4; ++i) // fins 0 … 3: twelve to three o'clock
        layer.advancePosition();

    QImage image(60, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    view.render(&image);
    // 20 points from the centre lies inside a lit fin (11.34 … 29.34); unlit fins are invisible.
    const auto alphaAt = [&](int x, int y) { return qAlpha(image.pixel(x, y)); };
    QVERIFY(alphaAt(30, 10) > 200); // fin 0, twelve o'clock
    QVERIFY(alphaAt(40, 13) > 200); // fin 1, one o'clock
    QVERIFY(alphaAt(49, 30) > 200); // fin 3, three o'clock
    QCOMPARE(alphaAt(30, 49), 0);   // fin 6, six o'clock
    QCOMPARE(alphaAt(10, 30), 0);   // fin 9, nine o'clock
    QCOMPARE(alphaAt(30, 30), 0);   // the hub stays empty
    QCOMPARE(alphaAt(2, 2), 0);     // beyond the reach of any fin
}

void ProgressIndicatorLayerTest::restartingKeepsOneTimer()
{
    ProgressIndicatorLayer layer(Qt::black, 60);
    int steps = 0;
    connect(&layer, &FinSpinner::needsDisplay, this, [&] { ++steps; });
    layer.startAnimation();
    layer.stopAnimation();
    QVERIFY(!layer.hasAnimationTimer());
    for (int i = 0; i < 3; ++i)
        layer.startAnimation();
    QVERIFY(layer.hasAnimationTimer());
    steps = 0;
    QElapsedTimer clock;
    clock.start();
    QTest::qWait(500);
    // One 50 ms timer steps at most once per interval (a late loop skips steps, never doubles them).
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(steps >= 1 && steps <= elapsed / FinSpinner::stepIntervalMs + 2,
             qPrintable(QStringLiteral("%1 steps in %2 ms").arg(steps).arg(elapsed)));
    layer.stopAnimation();
}

void ProgressIndicatorLayerTest::spinningPie_data()
{
    QTest::addColumn<bool>("determinate");
    QTest::addColumn<double>("value");
    QTest::newRow("a quarter fills twelve to three o'clock") << true << 1.0;
    QTest::newRow("zero draws only the outline") << true << 0.0;
    QTest::newRow("a new layer has no fins and draws nothing") << false << 0.0;
}

void ProgressIndicatorLayerTest::spinningPie()
{
    QFETCH(bool, determinate);
    QFETCH(double, value);
    SpinningProgressIndicatorLayer layer;
    layer.setBounds(QRectF(-30, -30, 60, 60));
    if (determinate) {
        layer.setForeColor(QColor(Qt::black));
        layer.setDeterminate(true);
        layer.setMaxValue(4);
        layer.setDoubleValue(value);
    } else {
        QCOMPARE(layer.finCount(), 0);
        layer.advancePosition(); // no fins: nothing to step
        QCOMPARE(layer.fposition(), 0);
    }
    // Painted over red, centred in 60 × 60; the layer clears what it does not draw.
    QImage image(60, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::red);
    QPainter painter(&image);
    layer.paint(painter, QRectF(0, 0, 60, 60));
    const auto alphaAt = [&image](double degrees, double radius) { // y-up degrees from the centre
        const double t = degrees * std::numbers::pi / 180;
        return qAlpha(
            image.pixel(int(std::floor(30 + radius * std::cos(t))), int(std::floor(30 - radius * std::sin(t)))));
    };

    // Line width 0.01 × 60 + 1 = 1.6; outline radius (60 − 1.6) / 2.1 ≈ 27.8; pie radius 27.8 − 3.2 ≈ 24.6.
    for (double degrees : {10.0, 45.0, 80.0})
        QCOMPARE(alphaAt(degrees, 12) == 255, value > 0);
    for (double degrees : {100.0, 180.0, 270.0, 350.0})
        QCOMPARE(alphaAt(degrees, 12), 0);
    QCOMPARE(alphaAt(45, 26.2), 0); // the gap between pie and outline
    for (double degrees : {0.0, 90.0, 180.0, 270.0})
        QCOMPARE(alphaAt(degrees, 27.8) > 100, determinate);
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
}

QTEST_MAIN(ProgressIndicatorLayerTest)
#include "progress_indicator_layer_test.moc"
