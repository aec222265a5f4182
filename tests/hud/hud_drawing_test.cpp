#include "hud/hud_window.h"
#include "hud/progress_hud.h"

#include <QLabel>
#include <QPainter>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>

// Renders the HUD into premultiplied images and checks its pixels against the geometry of the panel and glyphs,
// worked out here from the drawing rules (in y-down image coordinates).
class HudDrawingTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void panelColourAndCorners_data();
    void panelColourAndCorners();
    void glyphStrokesOnlyWhereExpected_data();
    void glyphStrokesOnlyWhereExpected();
    void blackMaskDarkensAroundThePanel();
    void windowShapeCoversExactlyThePanel();

private:
    void showInContainer(ProgressHUD &hud, const QString &status, ProgressHUDMode mode);
    std::unique_ptr<QWidget> m_container;
};

namespace {

constexpr QSize containerSize(400, 300);

QImage render(QWidget &widget, qreal ratio)
{
    QImage image(widget.size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    widget.render(&image);
    return image;
}

// The panel, read back from the pixels: the bounding box of everything that is not transparent.
QRect paintedBox(const QImage &image)
{
    QRect box;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qAlpha(image.pixel(x, y)) > 0)
                box |= QRect(x, y, 1, 1);
    return box;
}

// Bottom position in a 400 × 300 container: the panel is centred horizontally and its y-up bottom edge is
// round((H − h) / 2) − H / 5; in image coordinates its top edge is H minus that minus h.
QRectF expectedPanel(QSizeF size)
{
    const double bottomUp = std::round((300 - size.height()) / 2) - 60;
    return {std::round((400 - size.width()) / 2), 300 - bottomUp - size.height(), size.width(), size.height()};
}

bool near(int value, double expected, double tolerance = 1.0)
{
    return std::abs(value - expected) <= tolerance;
}

QString describe(QRgb p)
{
    return QStringLiteral("(%1,%2,%3,%4)").arg(qRed(p)).arg(qGreen(p)).arg(qBlue(p)).arg(qAlpha(p));
}

// How far a point lies outside the ink of a stroke (0 inside) and how deep inside it lies (negative outside).
struct InkDistance {
    double outside;
    double depth;
};
using Ink = std::function<InkDistance(QPointF)>;

Ink segment(QPointF a, QPointF b, double halfWidth, bool roundCaps)
{
    return [=](QPointF p) {
        const QPointF d = b - a;
        const double length = std::hypot(d.x(), d.y());
        const QPointF unit = d / length;
        const QPointF r = p - a;
        const double u = r.x() * unit.x() + r.y() * unit.y();
        const double v = std::abs(r.x() * -unit.y() + r.y() * unit.x());
        if (roundCaps) {
            const double along = std::clamp(u, 0.0, length);
            const double distance = std::hypot(u - along, v);
            return InkDistance{std::max(0.0, distance - halfWidth), halfWidth - distance};
        }
        const double beyond = std::max({0.0, -u, u - length});
        return InkDistance{std::hypot(beyond, std::max(0.0, v - halfWidth)), std::min({u, length - u, halfWidth - v})};
    };
}

// An arc in y-up degrees, clockwise from `from` to `to`, drawn with round caps.
Ink arc(QPointF centre, double radius, double from, double to, double halfWidth)
{
    const auto pointAt = [=](double degrees) {
        const double t = degrees * std::numbers::pi / 180;
        return QPointF(centre.x() + radius * std::cos(t), centre.y() - radius * std::sin(t));
    };
    return [=](QPointF p) {
        double angle = std::atan2(centre.y() - p.y(), p.x() - centre.x()) * 180 / std::numbers::pi;
        while (angle > from)
            angle -= 360;
        while (angle < from - 360)
            angle += 360;
        double distance;
        if (angle >= to) {
            distance = std::abs(std::hypot(p.x() - centre.x(), p.y() - centre.y()) - radius);
        } else {
            const QPointF a = pointAt(from) - p;
            const QPointF b = pointAt(to) - p;
            distance = std::min(std::hypot(a.x(), a.y()), std::hypot(b.x(), b.y()));
        }
        return InkDistance{std::max(0.0, distance - halfWidth), halfWidth - distance};
    };
}

Ink unite(QList<Ink> parts)
{
    return [parts](QPointF p) {
        InkDistance result{1e9, -1e9};
        for (const Ink &part : parts) {
            const InkDistance d = part(p);
            result.outside = std::min(result.outside, d.outside);
            result.depth = std::max(result.depth, d.depth);
        }
        return result;
    };
}

bool insideRoundedRect(QPointF p, const QRectF &r, double radius)
{
    if (!r.contains(p))
        return false;
    const double cx = std::clamp(p.x(), r.left() + radius, r.right() - radius);
    const double cy = std::clamp(p.y(), r.top() + radius, r.bottom() - radius);
    return std::hypot(p.x() - cx, p.y() - cy) <= radius;
}

} // namespace

void HudDrawingTest::init()
{
    m_container = std::make_unique<QWidget>();
    m_container->resize(containerSize);
    m_container->show();
}

void HudDrawingTest::cleanup()
{
    m_container.reset();
}

void HudDrawingTest::showInContainer(ProgressHUD &hud, const QString &status, ProgressHUDMode mode)
{
    hud.setContainerView(m_container.get());
    hud.show(status, std::move(mode));
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, 5000);
}

void HudDrawingTest::panelColourAndCorners_data()
{
    QTest::addColumn<ProgressHUDStyle>("style");
    QTest::addColumn<qreal>("ratio");
    QTest::addColumn<int>("expectedColour"); // premultiplied channel value of the panel
    QTest::newRow("light panel is white at 0.9") << ProgressHUDStyle(ProgressHUDStyle::light) << 1.0 << 230;
    QTest::newRow("light panel at device pixel ratio 2") << ProgressHUDStyle(ProgressHUDStyle::light) << 2.0 << 230;
    QTest::newRow("dark panel is black at 0.9") << ProgressHUDStyle(ProgressHUDStyle::dark) << 1.0 << 0;
    QTest::newRow("custom background is used")
        << ProgressHUDStyle::makeCustom(Qt::white, QColor(0, 0, 255)) << 1.0 << -1;
}

void HudDrawingTest::panelColourAndCorners()
{
    QFETCH(ProgressHUDStyle, style);
    QFETCH(qreal, ratio);
    QFETCH(int, expectedColour);

    ProgressHUD hud;
    hud.setStyle(style);
    showInContainer(hud, QStringLiteral("No Text"), ProgressHUDMode::text);
    const QImage image = render(hud, ratio);

    const QRectF panel = expectedPanel(hud.panelSize());
    const QRect box = paintedBox(image);
    QCOMPARE(box, QRectF(panel.topLeft() * ratio, panel.size() * ratio).toAlignedRect());

    // Corners are cut by the radius of 15; the middle of each edge is panel.
    QCOMPARE(qAlpha(image.pixel(box.topLeft())), 0);
    QCOMPARE(qAlpha(image.pixel(box.bottomRight())), 0);
    QCOMPARE(qAlpha(image.pixel(box.left() + int(2 * ratio), box.top() + int(2 * ratio))), 0);
    const QRgb edge = image.pixel(box.left() + box.width() / 2, box.top() + int(2 * ratio));
    QVERIFY2(near(qAlpha(edge), 229.5), qPrintable(describe(edge)));

    // Between the panel's top edge and the label: the fill colour only.
    const QRgb body = image.pixel(box.left() + int(2 * ratio), box.center().y());
    QVERIFY2(near(qAlpha(body), 229.5), qPrintable(describe(body)));
    if (expectedColour >= 0) {
        QVERIFY2(near(qRed(body), expectedColour == 230 ? 229.5 : expectedColour), qPrintable(describe(body)));
        QCOMPARE(qRed(body), qGreen(body));
        QCOMPARE(qRed(body), qBlue(body));
    } else {
        QVERIFY2(qRed(body) == 0 && qGreen(body) == 0 && near(qBlue(body), 229.5), qPrintable(describe(body)));
    }
}

void HudDrawingTest::glyphStrokesOnlyWhereExpected_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<double>("progress");
    QTest::addColumn<qreal>("ratio");
    QTest::newRow("success check mark") << int(ProgressHUDMode::success) << 0.0 << 1.0;
    QTest::newRow("success check mark at ratio 2") << int(ProgressHUDMode::success) << 0.0 << 2.0;
    QTest::newRow("error cross with butt caps") << int(ProgressHUDMode::error) << 0.0 << 1.0;
    QTest::newRow("info circle and letter") << int(ProgressHUDMode::info) << 0.0 << 1.0;
    QTest::newRow("info at ratio 2") << int(ProgressHUDMode::info) << 0.0 << 2.0;
    QTest::newRow("determinate quarter ring from twelve to three") << int(ProgressHUDMode::determinate) << 0.25 << 1.0;
    QTest::newRow("determinate at zero shows the mark at twelve") << int(ProgressHUDMode::determinate) << 0.0 << 1.0;
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
    // The glyph frame (60 × 60) is centred 54 below the panel's top edge; y-up fractions count from its bottom.
    const QRectF f(panel.center().x() - 30, panel.top() + 54 - 30, 60, 60);
    const auto up = [&f](double fx, double fy) { return QPointF(f.left() + 60 * fx, f.bottom() - 60 * fy); };
    const auto fromTop = [&f](double a, double b) { return QPointF(f.left() + a, f.top() + b); };

    Ink ink;
    QList<QPointF> mustBeInk;
    QList<QPointF> mustBePanel;
    QRectF exempt = QRectF(hud.statusLabel()->geometry()).adjusted(-1, -1, 1, 1);
    QList<QPair<QPointF, double>> exemptDiscs;
    switch (mode) {
    case ProgressHUDMode::success: {
        const QPointF a = up(0.05833, 0.48377), b = up(0.31429, 0.19167), c = up(0.93333, 0.80833);
        ink = unite({segment(a, b, 2, true), segment(b, c, 2, true)});
        // The corner is mitred: its tip reaches 2 / sin(43°) ≈ 2.9 from the vertex, beyond the round model.
        exemptDiscs << QPair<QPointF, double>(b, 4.0);
        // A round cap reaches 1.5 beyond the end point.
        const QPointF unit = (a - b) / std::hypot((a - b).x(), (a - b).y());
        mustBeInk << a + unit * 1.2;
        break;
    }
    case ProgressHUDMode::error: {
        const QPointF a = fromTop(8, 52), b = fromTop(52, 8), c = fromTop(52, 52), d = fromTop(8, 8);
        ink = unite({segment(a, b, 2, false), segment(c, d, 2, false)});
        // A butt cap stops at the end point.
        const QPointF unit = (a - b) / std::hypot((a - b).x(), (a - b).y());
        mustBePanel << a + unit * 2.5;
        break;
    }
    case ProgressHUDMode::info: {
        const QPointF centre = f.center();
        ink = [centre](QPointF p) {
            const double distance = std::abs(std::hypot(p.x() - centre.x(), p.y() - centre.y()) - 29);
            return InkDistance{std::max(0.0, distance - 1), 1 - distance};
        };
        // The letter: a dot and a stem, 24.5 … 36 across and 10 … 45 down from the frame's top-left corner.
        exempt = exempt.united(QRectF(fromTop(24, 9.5), fromTop(36.5, 45.5)).adjusted(-1, -1, 1, 1));
        mustBeInk << fromTop(30.3, 12.75) << fromTop(30.3, 35) << fromTop(30.3, 44.5) << fromTop(1.2, 30);
        mustBePanel << fromTop(20, 35) << fromTop(40, 20) << fromTop(30.3, 18.5);
        break;
    }
    case ProgressHUDMode::determinate: {
        const QPointF centre = f.center();
        const double end = 90 - 360 * progress;
        ink = unite({arc(centre, 30, 90, std::min(end, 90 - 2 * std::numbers::pi), 2)});
        const auto onRing = [&](double degrees) {
            const double t = degrees * std::numbers::pi / 180;
            return QPointF(centre.x() + 30 * std::cos(t), centre.y() - 30 * std::sin(t));
        };
        mustBeInk << onRing(87);
        if (progress >= 0.25)
            mustBeInk << onRing(45) << onRing(5);
        mustBePanel << onRing(135) << onRing(225) << onRing(-45);
        if (progress < 0.25)
            mustBePanel << onRing(45);
        break;
    }
    default:
        QFAIL("no glyph for this mode");
    }

    const auto pixelAt = [&](QPointF logical) {
        return image.pixel(int(std::floor(logical.x() * ratio)), int(std::floor(logical.y() * ratio)));
    };
    for (const QPointF &p : mustBeInk) {
        const QRgb pixel = pixelAt(p);
        QVERIFY2(qRed(pixel) < 110 && qAlpha(pixel) > 240, qPrintable(describe(pixel)));
    }
    for (const QPointF &p : mustBePanel) {
        const QRgb pixel = pixelAt(p);
        QVERIFY2(qRed(pixel) > 200, qPrintable(describe(pixel)));
    }

    // Every pixel of the panel is either the fill colour or, where the strokes are, the foreground.
    int inkPixels = 0;
    const QRectF inner = panel.adjusted(1.5, 1.5, -1.5, -1.5);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QPointF p((x + 0.5) / ratio, (y + 0.5) / ratio);
            if (!insideRoundedRect(p, inner, 13.5) || exempt.contains(p))
                continue;
            if (std::any_of(exemptDiscs.cbegin(), exemptDiscs.cend(), [p](const QPair<QPointF, double> &disc) {
                    return std::hypot(p.x() - disc.first.x(), p.y() - disc.first.y()) < disc.second;
                }))
                continue;
            const QRgb pixel = image.pixel(x, y);
            const InkDistance d = ink(p);
            if (d.outside > 1.0) {
                if (!near(qRed(pixel), 229.5) || !near(qAlpha(pixel), 229.5))
                    QFAIL(qPrintable(
                        QStringLiteral("stray paint at (%1, %2): %3").arg(p.x()).arg(p.y()).arg(describe(pixel))));
            } else if (d.depth > 0.75) {
                // Curves are flattened before they are filled: allow a few percent of coverage in the core.
                ++inkPixels;
                if (qRed(pixel) > 20 || qAlpha(pixel) < 250)
                    QFAIL(qPrintable(
                        QStringLiteral("missing ink at (%1, %2): %3").arg(p.x()).arg(p.y()).arg(describe(pixel))));
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
    // Black at 0.6 everywhere; the panel blends over it (alpha 0.9 + 0.6 × 0.1 = 0.96).
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
    QVERIFY(window && window->isVisible());
    QCOMPARE(hud.parentWidget(), window);
    QCOMPARE(hud.geometry(), window->rect());

    // A grab paints the window as the backing store would, children and their opacity effect included.
    const QImage image = window->grab().toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const QRegion shape = window->mask();
    QVERIFY(!shape.isEmpty());
    // Everything painted lies inside the shape, and the shape adds nothing beyond the painted box.
    const QRect box = paintedBox(image);
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
