#include "hud/spinning_progress_indicator_layer.h"

#include <QPainter>
#include <QTest>

#include <cmath>
#include <numbers>

class SpinningProgressIndicatorLayerTest : public QObject {
    Q_OBJECT
private slots:
    void pie_data();
    void pie();
};

void SpinningProgressIndicatorLayerTest::pie_data()
{
    QTest::addColumn<bool>("determinate");
    QTest::addColumn<double>("value");
    QTest::newRow("a quarter fills twelve to three o'clock") << true << 1.0;
    QTest::newRow("zero draws only the outline") << true << 0.0;
    QTest::newRow("a new layer has no fins and draws nothing") << false << 0.0;
}

void SpinningProgressIndicatorLayerTest::pie()
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

QTEST_MAIN(SpinningProgressIndicatorLayerTest)
#include "spinning_progress_indicator_layer_test.moc"
