#include "hud/layer_host_view.h"

#include <QPainter>

LayerHostView::LayerHostView(const QRect &frame, QWidget *parent) : QWidget(parent)
{
    setGeometry(frame);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_TransparentForMouseEvents); // clicks belong to the HUD under it
}

void LayerHostView::setLayer(ProgressIndicatorLayer *layer)
{
    if (m_layer)
        disconnect(m_layer, nullptr, this, nullptr);
    m_layer = layer;
    if (m_layer)
        connect(m_layer, &FinSpinner::needsDisplay, this, qOverload<>(&QWidget::update));
    update();
}

void LayerHostView::paintEvent(QPaintEvent *)
{
    if (!m_layer)
        return;
    QPainter painter(this);
    m_layer->paint(painter, QRectF(rect()));
}
