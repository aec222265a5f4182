#pragma once

#include "hud/fin_spinner.h"

// The HUD's spinner: twelve fins in a circle, stepped every 0.05 s, each fading out over 0.7 s after it was lit.
// The HUD creates one per appearance and hosts it in a square view of the same side (LayerHostView).
class ProgressIndicatorLayer : public FinSpinner {
    Q_OBJECT
public:
    static constexpr qint64 defaultNumFins = 12;

    // Bounds (−side/2, −side/2, side, side), so that the fins turn about the centre of a host of that side.
    ProgressIndicatorLayer(const QColor &color, qreal side, QObject *parent = nullptr);
    ~ProgressIndicatorLayer() override;

    QColor color() const { return m_color; }

    void paint(QPainter &painter, const QRectF &hostArea) const { paintFins(painter, hostArea, m_color); }

private:
    QColor m_color;
};
