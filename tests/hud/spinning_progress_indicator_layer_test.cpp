#include "hud/spinning_progress_indicator_layer.h"

#include <QPainter>
#include <QTest>

#include <cmath>
#include <numbers>

class SpinningProgressIndicatorLayerTest : public QObject {
    Q_OBJECT
private slots:
    void startsEmptyAndDrawsNothing();
    void pie_data();
    void pie();
};

namespace {
// Paints the layer (bounds −30 … 30, so centred) into a 60 × 60 image that starts red.
QImage paint(const SpinningProgressIndicatorLayer &layer)
{
    QImage image(60, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::red);
    QPainter painter(&image);
    layer.paint(painter, QRectF(0, 0, 60, 60));
    return image;
}

// The image pixel at a y-up angle (degrees) and distance from the centre.
QRgb at(const QImage &image, double degrees, double radius)
{
    const double t = degrees * std::numbers::pi / 180;
    return image.pixel(int(std::floor(30 + radius * std::cos(t))), int(std::floor(30 - radius * std::sin(t))));
}
} // namespace

void SpinningProgressIndicatorLayerTest::startsEmptyAndDrawsNothing()
{
    SpinningProgressIndicatorLayer layer;
    QCOMPARE(layer.numFins(), 0);
    QCOMPARE(layer.finCount(), 0);
    QVERIFY(!layer.foreColor());
    QVERIFY(!layer.isDeterminate());
    QCOMPARE(layer.maxValue(), 0.0);
    QCOMPARE(layer.doubleValue(), 0.0);
    layer.advancePosition(); // no fins: nothing to step
    QCOMPARE(layer.fposition(), 0);
    layer.setBounds(QRectF(-30, -30, 60, 60));
    const QImage image = paint(layer);
    // Cleared and left empty.
    for (int y = 0; y < 60; y += 7)
        for (int x = 0; x < 60; x += 7)
            QCOMPARE(qAlpha(image.pixel(x, y)), 0);
}

void SpinningProgressIndicatorLayerTest::pie_data()
{
    QTest::addColumn<double>("value");
    QTest::addColumn<bool>("upperRightFilled");
    QTest::newRow("a quarter fills twelve to three o'clock") << 1.0 << true;
    QTest::newRow("zero draws only the outline") << 0.0 << false;
}

void SpinningProgressIndicatorLayerTest::pie()
{
    QFETCH(double, value);
    QFETCH(bool, upperRightFilled);
    SpinningProgressIndicatorLayer layer;
    layer.setBounds(QRectF(-30, -30, 60, 60));
    layer.setForeColor(QColor(Qt::black));
    layer.setDeterminate(true);
    layer.setMaxValue(4);
    layer.setDoubleValue(value);
    const QImage image = paint(layer);

    // Line width 0.01 × 60 + 1 = 1.6; outline radius (60 − 1.6) / 2.1 ≈ 27.8; pie radius 27.8 − 3.2 ≈ 24.6.
    for (double degrees : {10.0, 45.0, 80.0})
        QCOMPARE(qAlpha(at(image, degrees, 12)) == 255, upperRightFilled);
    for (double degrees : {100.0, 180.0, 270.0, 350.0})
        QCOMPARE(qAlpha(at(image, degrees, 12)), 0);
    QCOMPARE(qAlpha(at(image, 45, 26.2)), 0); // the gap between pie and outline
    for (double degrees : {0.0, 90.0, 180.0, 270.0})
        QVERIFY(qAlpha(at(image, degrees, 27.8)) > 100);
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0); // cleared outside the outline
}

QTEST_MAIN(SpinningProgressIndicatorLayerTest)
#include "spinning_progress_indicator_layer_test.moc"
