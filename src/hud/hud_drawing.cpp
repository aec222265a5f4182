#include "hud/hud_drawing.h"

#include <QPainter>
#include <QPen>

#include <cmath>
#include <numbers>

namespace {

constexpr qreal glyphLineWidth = 4.0;
constexpr qreal infoCircleLineWidth = 2.0;
constexpr qreal infoCircleSide = 58.0;

QPen strokePen(const QColor &color, qreal width, Qt::PenCapStyle cap)
{
    QPen pen(color, width, Qt::SolidLine, cap, Qt::MiterJoin);
    return pen;
}

} // namespace

void flipToYUp(QPainter &painter, qreal height)
{
    painter.translate(0, height);
    painter.scale(1, -1);
}

void appendArc(QPainterPath &path, QPointF centre, qreal radius, qreal startDegrees, qreal endDegrees, bool clockwise)
{
    qreal sweep = std::fmod(clockwise ? startDegrees - endDegrees : endDegrees - startDegrees, 360.0);
    if (sweep < 0)
        sweep += 360.0;
    if (sweep == 0 && startDegrees != endDegrees)
        sweep = 360.0;
    if (clockwise)
        sweep = -sweep;
    // QPainterPath measures angles towards negative y; in a y-up space that turns the other way, hence the signs.
    const QRectF box(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
    if (path.elementCount() == 0)
        path.arcMoveTo(box, -startDegrees);
    path.arcTo(box, -startDegrees, -sweep);
}

QPainterPath roundedPanelPath(const QRectF &panel, qreal radius)
{
    const qreal r = radius;
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    path.moveTo(panel.left() + r, panel.top());
    // In y-up terms QRectF::top() is the bottom edge.
    appendArc(path, {panel.right() - r, panel.top() + r}, r, 270, 360, false);
    appendArc(path, {panel.right() - r, panel.bottom() - r}, r, 0, 90, false);
    appendArc(path, {panel.left() + r, panel.bottom() - r}, r, 90, 180, false);
    appendArc(path, {panel.left() + r, panel.top() + r}, r, 180, 270, false);
    path.closeSubpath();
    return path;
}

void drawDeterminateRing(QPainter &painter, QPointF centre, qreal spinnerSize, qreal progress, const QColor &color)
{
    const qreal radius = spinnerSize * 0.5;
    painter.save();
    painter.setBrush(Qt::NoBrush);
    painter.setPen(strokePen(color, glyphLineWidth, Qt::RoundCap));
    QPainterPath ring;
    appendArc(ring, centre, radius, 90, 90 - 360 * progress, true);
    painter.drawPath(ring);
    // A short mark at twelve o'clock: the end angle is 90 − 2π read as degrees.
    QPainterPath mark;
    appendArc(mark, centre, radius, 90, 90 - 2 * std::numbers::pi, true);
    painter.drawPath(mark);
    painter.restore();
}

void drawSuccessGlyph(QPainter &painter, const QRectF &f, const QColor &color)
{
    QPainterPath path;
    path.moveTo(f.left() + f.width() * 0.05833, f.top() + f.height() * 0.48377);
    path.lineTo(f.left() + f.width() * 0.31429, f.top() + f.height() * 0.19167);
    path.lineTo(f.left() + f.width() * 0.93333, f.top() + f.height() * 0.80833);
    painter.save();
    painter.setBrush(Qt::NoBrush);
    painter.setPen(strokePen(color, glyphLineWidth, Qt::RoundCap));
    painter.drawPath(path);
    painter.restore();
}

void drawErrorGlyph(QPainter &painter, const QRectF &f, const QColor &color)
{
    // y-up: QRectF::bottom() is the frame's top edge.
    QPainterPath path;
    path.moveTo(f.left() + 8, f.bottom() - 52);
    path.lineTo(f.left() + 52, f.bottom() - 8);
    path.moveTo(f.left() + 52, f.bottom() - 52);
    path.lineTo(f.left() + 8, f.bottom() - 8);
    painter.save();
    painter.setBrush(Qt::NoBrush);
    painter.setPen(strokePen(color, glyphLineWidth, Qt::FlatCap));
    painter.drawPath(path);
    painter.restore();
}

void drawInfoGlyph(QPainter &painter, const QRectF &f, const QColor &color)
{
    painter.save();
    painter.setBrush(Qt::NoBrush);
    painter.setPen(strokePen(color, infoCircleLineWidth, Qt::FlatCap));
    const QRectF circle(f.left() + std::floor((f.width() - infoCircleSide) * 0.5 + 0.5),
                        f.top() + std::floor((f.height() - infoCircleSide) * 0.5 + 0.5), infoCircleSide,
                        infoCircleSide);
    painter.drawEllipse(circle);

    // The letter is drawn for a 60-point frame, measured down from its top edge.
    const auto at = [&f](qreal a, qreal b) { return QPointF(f.left() + a, f.bottom() - b); };
    QPainterPath letter;
    letter.setFillRule(Qt::WindingFill);
    // Each curve: end point, then the two control points.
    const auto curve = [&](QPointF end, QPointF c1, QPointF c2) { letter.cubicTo(c1, c2, end); };

    letter.moveTo(at(30.31, 10.28));
    curve(at(32.05, 11.0), at(30.99, 10.28), at(31.57, 10.52));
    curve(at(32.77, 12.75), at(32.53, 11.48), at(32.77, 12.07));
    curve(at(32.05, 14.51), at(32.77, 13.43), at(32.53, 14.02));
    curve(at(30.31, 15.24), at(31.57, 15.0), at(30.99, 15.24));
    curve(at(28.55, 14.51), at(29.62, 15.24), at(29.04, 15.0));
    curve(at(27.81, 12.75), at(28.06, 14.02), at(27.81, 13.43));
    curve(at(28.54, 11.0), at(27.81, 12.07), at(28.06, 11.48));
    curve(at(30.31, 10.28), at(29.02, 10.52), at(29.61, 10.28));
    letter.closeSubpath();

    letter.moveTo(at(32.33, 21.98));
    letter.lineTo(at(32.33, 39.95));
    curve(at(32.64, 42.74), at(32.33, 41.35), at(32.43, 42.28));
    curve(at(33.54, 43.78), at(32.84, 43.21), at(33.14, 43.55));
    curve(at(35.73, 44.12), at(33.94, 44.01), at(34.67, 44.12));
    letter.lineTo(at(35.73, 45.0));
    letter.lineTo(at(24.86, 45.0));
    letter.lineTo(at(24.86, 44.12));
    curve(at(27.06, 43.8), at(25.95, 44.12), at(26.68, 44.02));
    curve(at(27.95, 42.75), at(27.43, 43.59), at(27.73, 43.24));
    curve(at(28.28, 39.95), at(28.17, 42.27), at(28.28, 41.33));
    letter.lineTo(at(28.28, 31.33));
    curve(at(28.06, 26.62), at(28.28, 28.9), at(28.21, 27.33));
    curve(at(27.52, 25.53), at(27.95, 26.1), at(27.77, 25.73));
    curve(at(26.52, 25.22), at(27.28, 25.33), at(26.94, 25.22));
    curve(at(24.86, 25.59), at(26.07, 25.22), at(25.51, 25.35));
    letter.lineTo(at(24.52, 24.71));
    letter.lineTo(at(31.26, 21.98));
    letter.lineTo(at(32.33, 21.98));
    letter.closeSubpath();

    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPath(letter);
    painter.restore();
}
