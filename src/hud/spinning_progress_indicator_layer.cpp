#include "hud/spinning_progress_indicator_layer.h"

#include "hud/hud_drawing.h"

#include <QPainter>

#include <algorithm>
#include <numbers>

SpinningProgressIndicatorLayer::SpinningProgressIndicatorLayer(QObject *parent) : FinSpinner(0, 0.0, parent) {}

SpinningProgressIndicatorLayer::~SpinningProgressIndicatorLayer()
{
    m_foreColor.reset();
    setRunning(false);
    stopTimer();
}

void SpinningProgressIndicatorLayer::setDeterminate(bool determinate)
{
    m_isDeterminate = determinate;
    setNeedsDisplay();
}

void SpinningProgressIndicatorLayer::setMaxValue(double maxValue)
{
    m_maxValue = maxValue;
    setNeedsDisplay();
}

void SpinningProgressIndicatorLayer::setDoubleValue(double value)
{
    m_doubleValue = value;
    setNeedsDisplay();
}

void SpinningProgressIndicatorLayer::setForeColor(std::optional<QColor> color)
{
    m_foreColor = std::move(color);
    setNeedsDisplay();
}

void SpinningProgressIndicatorLayer::paint(QPainter &painter, const QRectF &hostArea) const
{
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_Clear);
    painter.fillRect(hostArea, Qt::transparent);
    painter.restore();
    if (!m_foreColor)
        return; // without a colour neither the content nor the fins show
    if (m_isDeterminate)
        paintDeterminate(painter, hostArea);
    // The fins are sublayers: they show over the layer's own drawing in either mode.
    paintFins(painter, hostArea, *m_foreColor);
}

void SpinningProgressIndicatorLayer::paintDeterminate(QPainter &painter, const QRectF &hostArea) const
{

    const QSizeF size = bounds().size();
    const qreal m = std::min(size.width(), size.height());
    const QPointF c(size.width() * 0.5, size.height() * 0.5);
    const qreal lineWidth = 0.01 * m + 1.0;
    const qreal r = (m - lineWidth) / 2.1;

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    applyLayerTransform(painter, hostArea);
    painter.setPen(QPen(*m_foreColor, lineWidth));
    painter.setBrush(Qt::NoBrush);
    QPainterPath outline;
    outline.addEllipse(c, r, r);
    painter.drawPath(outline);

    if (m_doubleValue > 0 && m_maxValue > 0) {
        const qreal pieRadius = r - 2 * lineWidth;
        QPainterPath pie;
        pie.setFillRule(Qt::WindingFill);
        pie.moveTo(c);
        pie.lineTo(c.x(), c.y() + pieRadius);
        appendArc(pie, c, pieRadius, 90, 90 - 360 * (m_doubleValue / m_maxValue), true);
        pie.closeSubpath();
        painter.setPen(Qt::NoPen);
        painter.setBrush(*m_foreColor);
        painter.drawPath(pie);
    }
    painter.restore();
}
