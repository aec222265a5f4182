#include "hud/display_time.h"
#include "hud/hud_layout.h"

#include <QTest>

#include <optional>

Q_DECLARE_METATYPE(std::optional<QRectF>)

// Expected values below are worked out by hand from the layout rules (y-up points, 1280 × 800 unless stated).
class HudLayoutTest : public QObject {
    Q_OBJECT
private slots:
    void layout_data();
    void layout();
    void topLeftOriginFlipsOnce();
    void regionOfARectangle();
    void regionCutsRoundedCorners();
    void displayTime_data();
    void displayTime();
};

namespace {
HudLayoutInput input(QSizeF bounds, ProgressHUDMode::Kind mode, std::optional<QSizeF> indicator, QSizeF text,
                     ProgressHUDPosition position = ProgressHUDPosition::bottom)
{
    return {bounds, mode, indicator, text, position};
}
} // namespace

void HudLayoutTest::layout_data()
{
    QTest::addColumn<HudLayoutInput>("in");
    QTest::addColumn<QRectF>("panel");
    QTest::addColumn<QRectF>("label");
    QTest::addColumn<std::optional<QRectF>>("indicator");
    QTest::addColumn<qreal>("offset");

    const QSizeF screen(1280, 800);
    const QSizeF text(60, 20);
    // text: panel 106 × 56 centred; its centre (240) is H/5 = 160 below the container's centre (400).
    QTest::newRow("text mode sits a fifth of the height below the centre")
        << input(screen, ProgressHUDMode::text, std::nullopt, text) << QRectF(587, 212, 106, 56)
        << QRectF(605, 230, 70, 20) << std::optional<QRectF>() << 160.0;
    QTest::newRow("top moves the panel a fifth of the height above the centre")
        << input(screen, ProgressHUDMode::text, std::nullopt, text, ProgressHUDPosition::top)
        << QRectF(587, 532, 106, 56) << QRectF(605, 550, 70, 20) << std::optional<QRectF>() << -160.0;
    QTest::newRow("center leaves the panel centred")
        << input(screen, ProgressHUDMode::text, std::nullopt, text, ProgressHUDPosition::center)
        << QRectF(587, 372, 106, 56) << QRectF(605, 390, 70, 20) << std::optional<QRectF>() << 0.0;
    // success: height 60 + 4 + 20 + 4 + 36 = 124; the glyph adds no width; label 14 above the bottom edge.
    QTest::newRow("success reserves the glyph area above the text")
        << input(screen, ProgressHUDMode::success, std::nullopt, QSizeF(100, 20)) << QRectF(567, 178, 146, 124)
        << QRectF(585, 192, 110, 20) << std::optional<QRectF>() << 160.0;
    // indeterminate without text: 96 × 100, the spinner view 22 above the bottom edge.
    QTest::newRow("indeterminate without text is 96 by 100")
        << input(screen, ProgressHUDMode::indeterminate, QSizeF(60, 60), QSizeF()) << QRectF(592, 190, 96, 100)
        << QRectF(640, 204, 0, 0) << std::optional<QRectF>(QRectF(610, 212, 60, 60)) << 160.0;
    // indeterminate with text: spinner above the label with three paddings between them.
    QTest::newRow("indeterminate with text stacks spinner over label")
        << input(screen, ProgressHUDMode::indeterminate, QSizeF(60, 60), text) << QRectF(587, 178, 106, 124)
        << QRectF(605, 192, 70, 20) << std::optional<QRectF>(QRectF(610, 224, 60, 60)) << 160.0;
    // maxWidth = 400 − 72 = 328: the label is cut to it and the panel is W − 36 wide.
    QTest::newRow("label wider than maxWidth gets exactly maxWidth")
        << input(QSizeF(400, 300), ProgressHUDMode::text, std::nullopt, QSizeF(400, 20)) << QRectF(18, 62, 364, 56)
        << QRectF(36, 80, 328, 20) << std::optional<QRectF>() << 60.0;
    // A custom view keeps its size and widens the panel when it is wider than the label.
    QTest::newRow("custom view widens the panel")
        << input(screen, ProgressHUDMode::custom, QSizeF(200, 30), text) << QRectF(522, 193, 236, 94)
        << QRectF(605, 207, 70, 20) << std::optional<QRectF>(QRectF(540, 239, 200, 30)) << 160.0;
    // 768 / 5 = 153.6: the offset is not rounded, the rest is.
    QTest::newRow("fractional offset is kept")
        << input(QSizeF(1366, 768), ProgressHUDMode::text, std::nullopt, text) << QRectF(630, 202.4, 106, 56)
        << QRectF(648, 220.4, 70, 20) << std::optional<QRectF>() << 153.6;
}

void HudLayoutTest::layout()
{
    QFETCH(HudLayoutInput, in);
    QFETCH(QRectF, panel);
    QFETCH(QRectF, label);
    QFETCH(std::optional<QRectF>, indicator);
    QFETCH(qreal, offset);

    const HudLayout layout = layoutHud(in);
    QCOMPARE(layout.panel, panel);
    QCOMPARE(layout.labelFrame, label);
    QCOMPARE(layout.indicatorFrame.has_value(), indicator.has_value());
    if (indicator)
        QCOMPARE(*layout.indicatorFrame, *indicator);
    QCOMPARE(layout.offset, offset);
    // The glyph frame is centred 0.9 × spinnerSize below the panel's top edge.
    QCOMPARE(layout.glyphFrame.size(), QSizeF(60, 60));
    QCOMPARE(layout.glyphFrame.center(), QPointF(panel.center().x(), panel.bottom() - 54));
}

void HudLayoutTest::topLeftOriginFlipsOnce()
{
    QCOMPARE(toTopLeftOrigin(QRectF(5, 0, 10, 20), 100), QRectF(5, 80, 10, 20));
}

void HudLayoutTest::regionOfARectangle()
{
    const QRectF whole(10, 20, 40, 30);
    QCOMPARE(roundedRectRegion(whole, 0, RegionCoverage::pixelCentre), QRegion(10, 20, 40, 30));
    QCOMPARE(roundedRectRegion(whole, 0, RegionCoverage::anyCoverage), QRegion(10, 20, 40, 30));
    QVERIFY(roundedRectRegion(QRectF(), 5, RegionCoverage::anyCoverage).isEmpty());
    // x 10.5 … 50.5, y 20.25 … 50.25: centres 10.5 and 50.5 lie on the edges; rows 20 … 49 have theirs inside.
    const QRectF fractional(10.5, 20.25, 40, 30);
    QCOMPARE(roundedRectRegion(fractional, 0, RegionCoverage::anyCoverage).boundingRect(), QRect(10, 20, 41, 31));
    QCOMPARE(roundedRectRegion(fractional, 0, RegionCoverage::pixelCentre).boundingRect(), QRect(10, 20, 41, 30));
}

void HudLayoutTest::regionCutsRoundedCorners()
{
    const QRectF rect(0, 0, 100, 60);
    const QRegion centres = roundedRectRegion(rect, 15, RegionCoverage::pixelCentre);
    const QRegion any = roundedRectRegion(rect, 15, RegionCoverage::anyCoverage);
    QCOMPARE(centres.boundingRect(), QRect(0, 0, 100, 60));
    QVERIFY(!centres.contains(QPoint(99, 59)));
    // Row 0 at y = 0.5: the corner circle is 15 − √(15² − 14.5²) ≈ 11.16 in from each side.
    QVERIFY(!centres.contains(QPoint(10, 0)));
    QVERIFY(centres.contains(QPoint(11, 0)));
    QVERIFY(centres.contains(QPoint(88, 0)));
    QVERIFY(!centres.contains(QPoint(89, 0)));
    // Any coverage uses the row's widest line (y = 1): 15 − √(15² − 14²) ≈ 9.61 in, so pixel 9 is touched.
    QVERIFY(any.contains(QPoint(9, 0)));
    QVERIFY(!any.contains(QPoint(8, 0)));
    QVERIFY((centres - any).isEmpty());
}

void HudLayoutTest::displayTime_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<double>("seconds");

    QTest::newRow("short text is raised to 2.0 (12 × 0.06 + 0.5 = 1.22)") << QStringLiteral("Copied Text!") << 2.0;
    QTest::newRow("empty text is raised to 2.0") << QString() << 2.0;
    QTest::newRow("90 characters are lowered to 5.0 (5.9)") << QString(90, QLatin1Char('x')) << 5.0;
    QTest::newRow("50 characters give 3.5") << QString(50, QLatin1Char('x')) << 3.5;
    QTest::newRow("75 characters give exactly the upper bound") << QString(75, QLatin1Char('x')) << 5.0;
    // 40 clusters: "e" + combining acute is one character on screen, two UTF-16 units.
    QTest::newRow("combining marks count once") << QStringLiteral("e\u0301").repeated(40) << 2.9;
    // 40 clusters of a family emoji: man ZWJ woman ZWJ girl, eight UTF-16 units each.
    QTest::newRow("emoji sequences count once")
        << QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467").repeated(40) << 2.9;
}

void HudLayoutTest::displayTime()
{
    QFETCH(QString, status);
    QFETCH(double, seconds);
    QVERIFY2(qAbs(::displayTime(status) - seconds) < 1e-9, qPrintable(QString::number(::displayTime(status))));
}

QTEST_MAIN(HudLayoutTest)
#include "hud_layout_test.moc"
