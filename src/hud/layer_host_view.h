#pragma once

#include "hud/progress_indicator_layer.h"

#include <QPointer>
#include <QWidget>

// A plain view that shows a spinner layer it does not own; it repaints whenever the layer asks to.
class LayerHostView : public QWidget {
    Q_OBJECT
public:
    explicit LayerHostView(const QRect &frame, QWidget *parent = nullptr);
    void setLayer(ProgressIndicatorLayer *layer);
    ProgressIndicatorLayer *layer() const { return m_layer; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QPointer<ProgressIndicatorLayer> m_layer;
};
