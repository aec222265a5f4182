#pragma once

#include "hud/fin_spinner.h"

#include <optional>

// A fin spinner that can also show a determinate value as a pie inside a circular outline. It starts empty:
// no fins, no colour, not determinate; its owner configures it through the setters.
class SpinningProgressIndicatorLayer : public FinSpinner {
    Q_OBJECT
public:
    explicit SpinningProgressIndicatorLayer(QObject *parent = nullptr);
    ~SpinningProgressIndicatorLayer() override;

    bool isDeterminate() const { return m_isDeterminate; }
    void setDeterminate(bool determinate);
    double maxValue() const { return m_maxValue; }
    void setMaxValue(double maxValue);
    double doubleValue() const { return m_doubleValue; }
    void setDoubleValue(double value);
    std::optional<QColor> foreColor() const { return m_foreColor; }
    void setForeColor(std::optional<QColor> color);
    // Re-creates the fins; a negative count is taken as none.
    using FinSpinner::setNumFins;

    // Clears the host rectangle, then draws the fins, or in determinate mode the outline and the pie.
    void paint(QPainter &painter, const QRectF &hostArea) const;

private:
    void paintDeterminate(QPainter &painter, const QRectF &hostArea) const;

    bool m_isDeterminate = false;
    double m_maxValue = 0;
    double m_doubleValue = 0;
    std::optional<QColor> m_foreColor;
};
