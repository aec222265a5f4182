#include "hud/progress_indicator_layer.h"

ProgressIndicatorLayer::ProgressIndicatorLayer(const QColor &color, qreal side, QObject *parent)
    : FinSpinner(defaultNumFins, 0.0, parent), m_color(color)
{
    setBounds(QRectF(-side / 2, -side / 2, side, side));
    createFinLayers();
    if (isRunning())
        startTimer();
}

ProgressIndicatorLayer::~ProgressIndicatorLayer()
{
    setRunning(false);
    stopTimer();
}
