#pragma once

#include <QColor>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>

class QPainter;

// Drawing of the HUD's panel and glyphs. Every function here works in y-up points: the caller flips the painter
// once with flipToYUp(), so that the coordinates below read as on a sheet of graph paper.

// Makes y grow upwards from the bottom edge of a device of that height.
void flipToYUp(QPainter &painter, qreal height);

// Appends a circular arc in y-up degrees (0 at three o'clock, 90 at twelve); a line joins it to a non-empty path.
// Clockwise runs towards smaller angles; equal angles give no arc, angles a full turn apart a whole circle.
void appendArc(QPainterPath &path, QPointF centre, qreal radius, qreal startDegrees, qreal endDegrees, bool clockwise);

[[nodiscard]] QPainterPath roundedPanelPath(const QRectF &panel, qreal radius);

void drawDeterminateRing(QPainter &painter, QPointF centre, qreal spinnerSize, qreal progress, const QColor &color);
void drawSuccessGlyph(QPainter &painter, const QRectF &frame, const QColor &color);
void drawErrorGlyph(QPainter &painter, const QRectF &frame, const QColor &color);
void drawInfoGlyph(QPainter &painter, const QRectF &frame, const QColor &color);
