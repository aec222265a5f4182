#include "hud/hud_window.h"
#include "hud/progress_hud.h"

#include <QLabel>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <numbers>

// Renders the HUD into premultiplied images and checks its pixels against the panel and glyph geometry,
// worked out here from the drawing rules (y-down image coordinates, 400 × 300 container).
class HudDrawingTest : public QObject {
    Q_OBJECT
private slots:
    void init()
    {
        m_container = std::make_unique<QWidget>();
        m_container->resize(400, 300);
        m_container->show();
    }
    void cleanup() { m_container.reset(); }
    void panelColourAndCorners_data();
    void panelColourAndCorners();
    void glyphStrokesOnlyWhereExpected_data();
    void glyphStrokesOnlyWhereExpected();
    void blackMaskDarkensAroundThePanel();
    void windowShapeCoversExactlyThePanel();

private:
    void showInContainer(ProgressHUD &hud, const QString &status, ProgressHUDMode mode)
    {
        hud.setContainerView(m_container.get());
        hud.show(status, std::move(mode));
        QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, 5000);
    }
    std::unique_ptr<QWidget> m_container;
};

namespace {

QImage render(QWidget &widget, qreal ratio)
{
    QImage image(widget.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    widget.render(&image);
    return image;
}

// The bounding box of everything that is not transparent.
QRect paintedBox(const QImage &image)
{
    QRect box;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > 0)
                box |= QRect(x, y, 1, 1);
    return box;
}

// Bottom position: centred horizontally, y-up bottom edge at round((H − h) / 2) − H / 5, flipped to y-down.
QRectF expectedPanel(QSizeF size)
{
    const double bottomUp = std::round((300 - size.height()) / 2) - 60;
    return {std::round((400 - size.width()) / 2), 300 - bottomUp - size.height(), size.width(), size.height()};
}

bool near(int value, double expected)
{
    return std::abs(value - expected) <= 1.0;
}

QString describe(QRgb p)
{
    return QStringLiteral("(%1,%2,%3,%4)").arg(qRed(p)).arg(qGreen(p)).arg(qBlue(p)).arg(qAlpha(p));
}

QPointF polar(QPointF centre, double radius, double degrees) // y-up degrees
{
    const double t = degrees * std::numbers::pi / 180;
    return {centre.x() + radius * std::cos(t), centre.y() - radius * std::sin(t)};
}

struct Stroke {
    QPointF a, b;
    double halfWidth;
    bool roundCaps;
};
// How far a point lies outside the ink (0 inside) and how deep inside it lies (negative outside).
struct Ink {
    double outside, depth;
};

Ink inkAt(const QList<Stroke> &strokes, QPointF p)
{
    Ink result{1e9, -1e9};
    for (const Stroke &s : strokes) {
        const QPointF d = s.b - s.a, r = p - s.a;
        const double length = std::hypot(d.x(), d.y());
        const double u = (r.x() * d.x() + r.y() * d.y()) / length;
        const double v = std::abs(r.y() * d.x() - r.x() * d.y()) / length;
        Ink ink;
        if (s.roundCaps) {
            const double distance = std::hypot(u - std::clamp(u, 0.0, length), v);
            ink = {std::max(0.0, distance - s.halfWidth), s.halfWidth - distance};
        } else {
            ink = {std::hypot(std::max({0.0, -u, u - length}), std::max(0.0, v - s.halfWidth)),
                   std::min({u, length - u, s.halfWidth - v})};
        }
        result = {std::min(result.outside, ink.outside), std::max(result.depth, ink.depth)};
    }
    return result;
}

// A round-capped arc clockwise from `from` to `to` degrees, as a polyline of 3° steps (chord error < 0.02).
QList<Stroke> arc(QPointF centre, double radius, double from, double to, double halfWidth)
{
    const int n = std::max(1, int(std::ceil((from - to) / 3)));
    QList<Stroke> strokes;
    for (int i = 0; i < n; ++i)
        strokes.append({polar(centre, radius, from - (from - to) * i / n),
                        polar(centre, radius, from - (from - to) * (i + 1) / n), halfWidth, true});
    return strokes;
}

bool insideRoundedRect(QPointF p, const QRectF &r, double radius)
{
    const double cx = std::clamp(p.x(), r.left() + radius, r.right() - radius);
    const double cy = std::clamp(p.y(), r.top() + radius, r.bottom() - radius);
    return r.contains(p) && std::hypot(p.x() - cx, p.y() - cy) <= radius;
}

} // namespace

void HudDrawingTest::panelColourAndCorners_data()
{
    QTest::addColumn<ProgressHUDStyle>("style");
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<QRgb>("fill"); // premultiplied, alpha 0.9
    QTest::newRow("light is white") << ProgressHUDStyle(ProgressHUDStyle::light) << 1.0 << qRgba(230, 230, 230, 230);
    QTest::newRow("light at ratio 2") << ProgressHUDStyle(ProgressHUDStyle::light) << 2.0 << qRgba(230, 230, 230, 230);
    QTest::newRow("dark is black") << ProgressHUDStyle(ProgressHUDStyle::dark) << 1.0 << qRgba(0, 0, 0, 230);
    QTest::newRow("custom background") << ProgressHUDStyle::makeCustom(Qt::white, QColor(0, 0, 255)) << 1.0
                                       << qRgba(0, 0, 230, 230);
}

void HudDrawingTest::panelColourAndCorners()
{
    QFETCH(ProgressHUDStyle, style);
    QFETCH(qreal, ratio);
    QFETCH(QRgb, fill);
    ProgressHUD hud;
    hud.setStyle(style);
    showInContainer(hud, QStringLiteral("No Text"), ProgressHUDMode::text);
    const QImage image = render(hud, ratio);
    const QRectF panel = expectedPanel(hud.panelSize());
    const QRect box = paintedBox(image);
    QCOMPARE(box, QRectF(panel.topLeft() * ratio, panel.size() * ratio).toAlignedRect());

    // Corners are cut by the radius of 15; the middle of the top edge and the body beside the label are fill.
    const int two = int(2 * ratio);
    QCOMPARE(qAlpha(image.pixel(box.topLeft())), 0);
    QCOMPARE(qAlpha(image.pixel(box.bottomRight())), 0);
    QCOMPARE(qAlpha(image.pixel(box.left() + two, box.top() + two)), 0);
    for (const QRgb p : {image.pixel(box.left() + box.width() / 2, box.top() + two),
                         image.pixel(box.left() + two, box.center().y())}) {
        const bool ok = near(qRed(p), qRed(fill) * 229.5 / 230) && near(qGreen(p), qGreen(fill) * 229.5 / 230) &&
                        near(qBlue(p), qBlue(fill) * 229.5 / 230) && near(qAlpha(p), 229.5);
        QVERIFY2(ok, qPrintable(describe(p)));
    }
}

void HudDrawingTest::glyphStrokesOnlyWhereExpected_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<double>("progress");
    QTest::addColumn<qreal>("ratio");
    QTest::newRow("success check mark") << int(ProgressHUDMode::success) << 0.0 << 1.0;
    QTest::newRow("success at ratio 2") << int(ProgressHUDMode::success) << 0.0 << 2.0;
    QTest::newRow("error cross with butt caps") << int(ProgressHUDMode::error) << 0.0 << 1.0;
    QTest::newRow("info circle and letter") << int(ProgressHUDMode::info) << 0.0 << 1.0;
    QTest::newRow("info at ratio 2") << int(ProgressHUDMode::info) << 0.0 << 2.0;
    QTest::newRow("determinate quarter ring") << int(ProgressHUDMode::determinate) << 0.25 << 1.0;
    QTest::newRow("determinate at zero: mark at twelve") << int(ProgressHUDMode::determinate) << 0.0 << 1.0;
}

void HudDrawingTest::glyphStrokesOnlyWhereExpected()
{
    QFETCH(int, mode);
    QFETCH(double, progress);
    QFETCH(qreal, ratio);
    ProgressHUD hud;
    hud.setProgress(progress);
    showInContainer(hud, QStringLiteral("Copied Text!"), ProgressHUDMode::Kind(mode));
    const QImage image = render(hud, ratio);
    const QRectF panel = expectedPanel(hud.panelSize());
    QCOMPARE(paintedBox(image), QRectF(panel.topLeft() * ratio, panel.size() * ratio).toAlignedRect());

    // The 60 × 60 glyph frame is centred 54 below the panel's top edge; y-up fractions count from its bottom.
    const QRectF f(panel.center().x() - 30, panel.top() + 24, 60, 60);
    const auto up = [&f](double fx, double fy) { return QPointF(f.left() + 60 * fx, f.bottom() - 60 * fy); };
    const auto fromTop = [&f](double a, double b) { return QPointF(f.left() + a, f.top() + b); };
    const auto beyond = [](QPointF end, QPointF other, double by) {
        const QPointF d = end - other;
        return end + d * (by / std::hypot(d.x(), d.y()));
    };
    QList<Stroke> strokes;
    QList<QPointF> mustBeInk, mustBePanel;
    QRectF exempt = QRectF(hud.statusLabel()->geometry()).adjusted(-1, -1, 1, 1);
    QRectF exemptDisc; // a disc, given by its bounding square
    switch (mode) {
    case ProgressHUDMode::success: {
        const QPointF a = up(0.05833, 0.48377), b = up(0.31429, 0.19167), c = up(0.93333, 0.80833);
        strokes = {{a, b, 2, true}, {b, c, 2, true}};
        // The mitred corner reaches 2 / sin(43°) ≈ 2.9 from the vertex, beyond the round model.
        exemptDisc = QRectF(b - QPointF(4, 4), QSizeF(8, 8));
        mustBeInk << beyond(a, b, 1.2); // a round cap reaches past the end point
        break;
    }
    case ProgressHUDMode::error: {
        const QPointF a = fromTop(8, 52), b = fromTop(52, 8);
        strokes = {{a, b, 2, false}, {fromTop(52, 52), fromTop(8, 8), 2, false}};
        mustBePanel << beyond(a, b, 2.5); // a butt cap stops at the end point
        break;
    }
    case ProgressHUDMode::info:
        strokes = arc(f.center(), 29, 360, 0, 1);
        // The letter: a dot and a stem, 24.5 … 36 across and 10 … 45 down from the frame's top-left corner.
        exempt |= QRectF(fromTop(24, 9.5), fromTop(36.5, 45.5)).adjusted(-1, -1, 1, 1);
        mustBeInk << fromTop(30.3, 12.75) << fromTop(30.3, 35) << fromTop(30.3, 44.5) << fromTop(1.2, 30);
        mustBePanel << fromTop(20, 35) << fromTop(40, 20) << fromTop(30.3, 18.5);
        break;
    case ProgressHUDMode::determinate:
        strokes = arc(f.center(), 30, 90, std::min(90 - 360 * progress, 90 - 2 * std::numbers::pi), 2);
        mustBeInk << polar(f.center(), 30, 87);
        mustBePanel << polar(f.center(), 30, 135) << polar(f.center(), 30, 225) << polar(f.center(), 30, -45);
        (progress >= 0.25 ? mustBeInk : mustBePanel) << polar(f.center(), 30, 45);
        if (progress >= 0.25)
            mustBeInk << polar(f.center(), 30, 5);
        break;
    }
    const auto pixelAt = [&](QPointF p) { return image.pixel(int(p.x() * ratio), int(p.y() * ratio)); };
    for (const QPointF &p : mustBeInk)
        QVERIFY2(qRed(pixelAt(p)) < 110 && qAlpha(pixelAt(p)) > 240, qPrintable(describe(pixelAt(p))));
    for (const QPointF &p : mustBePanel)
        QVERIFY2(qRed(pixelAt(p)) > 200, qPrintable(describe(pixelAt(p))));

    // Every pixel of the panel is either the fill colour or, where the strokes are, the foreground.
    int inkPixels = 0;
    const QRectF inner = panel.adjusted(1.5, 1.5, -1.5, -1.5);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QPointF p((x + 0.5) / ratio, (y + 0.5) / ratio);
            if (!insideRoundedRect(p, inner, 13.5) || exempt.contains(p) ||
                (!exemptDisc.isNull() && insideRoundedRect(p, exemptDisc, 4)))
                continue;
            const QRgb pixel = image.pixel(x, y);
            const Ink ink = inkAt(strokes, p);
            const QString where = QStringLiteral("(%1, %2): %3").arg(p.x()).arg(p.y()).arg(describe(pixel));
            if (ink.outside > 1.0) {
                if (!near(qRed(pixel), 229.5) || !near(qAlpha(pixel), 229.5))
                    QFAIL(qPrintable(QStringLiteral("stray paint at ") + where));
            } else if (ink.depth > 0.75) { // curves are flattened before filling: a few percent of coverage
                ++inkPixels;
                if (qRed(pixel) > 20 || qAlpha(pixel) < 250)
                    QFAIL(qPrintable(QStringLiteral("missing ink at ") + where));
            }
        }
    }
    QVERIFY2(inkPixels >= 5, qPrintable(QString::number(inkPixels)));
}

void HudDrawingTest::blackMaskDarkensAroundThePanel()
{
    ProgressHUD hud;
    hud.setMaskType(ProgressHUDMaskType::black);
    showInContainer(hud, QStringLiteral("No Text"), ProgressHUDMode::text);
    const QImage image = render(hud, 1.0);
    // Black at 0.6 over the whole container; the panel blends over it (alpha 0.9 + 0.6 × 0.1 = 0.96).
    QCOMPARE(paintedBox(image), QRect(0, 0, 400, 300));
    const QRgb far = image.pixel(5, 5);
    QVERIFY2(qRed(far) == 0 && near(qAlpha(far), 153), qPrintable(describe(far)));
    const QRgb body = image.pixel(200, int(expectedPanel(hud.panelSize()).top()) + 2);
    QVERIFY2(near(qRed(body), 229.5) && near(qAlpha(body), 244.8), qPrintable(describe(body)));
}

void HudDrawingTest::windowShapeCoversExactlyThePanel()
{
    ProgressHUD hud;
    hud.show(QStringLiteral("Copied Text!"), ProgressHUDMode::success);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, 5000);
    HudWindow *window = hud.hudWindow();
    QVERIFY(window->isVisible());
    QCOMPARE(hud.parentWidget(), window);
    QCOMPARE(hud.geometry(), window->rect());
    QCOMPARE(window->geometry(), QGuiApplication::screens().first()->geometry());

    // A grab paints the window as the backing store would; the shape is exactly the painted pixels' outline.
    const QImage image = window->grab().toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QRegion shape = window->mask();
    const QRect box = paintedBox(image);
    QVERIFY(!box.isEmpty());
    QCOMPARE(shape.boundingRect(), box);
    for (int y = box.top(); y <= box.bottom(); ++y)
        for (int x = box.left(); x <= box.right(); ++x)
            if (qAlpha(image.pixel(x, y)) > 0 && !shape.contains(QPoint(x, y)))
                QFAIL(qPrintable(QStringLiteral("painted pixel (%1, %2) outside the shape").arg(x).arg(y)));
    QVERIFY(!shape.contains(box.topLeft()));

    // A mask claims the whole window, so that no click passes through.
    hud.setMaskType(ProgressHUDMaskType::clear);
    hud.layoutContents();
    QVERIFY(window->mask().isEmpty());
    hud.hide(false);
    QVERIFY(!window->isVisible());
}

QTEST_MAIN(HudDrawingTest)
#include "hud_drawing_test.moc"
