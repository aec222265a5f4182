#pragma once

#include <QColor>
#include <QElapsedTimer>
#include <QObject>
#include <QRectF>
#include <QSizeF>

#include <memory>
#include <vector>

class QPainter;
class QTimer;

// Size and placement of each fin for a layer of the given bounds (points, y-up, as the layer draws).
struct FinGeometry {
    QSizeF size;         // 0.095 m × 0.3 m, m the shorter side
    qreal cornerRadius;  // half the fin width
    QPointF anchorPoint; // unit coordinates in the fin; the fin turns about this point
    QPointF position;    // where the anchor point sits: the centre of the bounds
};
[[nodiscard]] FinGeometry finGeometry(QSizeF bounds);

// An opacity change that animates from one value to another over a fixed time, starting at `startMs`.
struct OpacityFade {
    double from = 0;
    double to = 0;
    qint64 startMs = 0;
    qint64 durationMs = 0;
    [[nodiscard]] double valueAt(qint64 nowMs) const;
};

// The fins of a spinner and their stepping: one fin lit at a time, fading out behind it. Owns its one timer.
// Main thread only; the owner paints it with paintFins() into the view that hosts it.
class FinSpinner : public QObject {
    Q_OBJECT
public:
    static constexpr int stepIntervalMs = 50;
    static constexpr qint64 fadeDurationMs = 700;

    ~FinSpinner() override;

    bool isRunning() const { return m_isRunning; }
    qint64 fposition() const { return m_fposition; }
    qint64 numFins() const { return m_numFins; }
    double fadeDownOpacity() const { return m_fadeDownOpacity; }
    bool hasAnimationTimer() const { return m_animationTimer != nullptr; }
    bool isHidden() const { return m_isHidden; }
    void setHidden(bool hidden);

    QRectF bounds() const { return m_bounds; }
    // Re-applies the fin geometry without re-creating the fins or animating anything.
    void setBounds(const QRectF &bounds);
    const FinGeometry &geometry() const { return m_geometry; }

    // Opacity of fin i as it shows now, fades included.
    double finOpacity(qsizetype i) const;
    qsizetype finCount() const { return static_cast<qsizetype>(m_fins.size()); }

    // Shows the layer and steps from the last fin, so that the first step lights fin 0 (twelve o'clock).
    void startAnimation();
    // Stops stepping; the fins keep their opacities and the layer stays visible.
    void stopAnimation();
    // One step: lights the next fin at once and lets it fade down to fadeDownOpacity.
    void advancePosition();

    // Paints the fins into the host view's rectangle `hostArea` (y-down widget coordinates).
    void paintFins(QPainter &painter, const QRectF &hostArea, const QColor &color) const;

signals:
    void needsDisplay();

protected:
    explicit FinSpinner(qint64 numFins, double fadeDownOpacity, QObject *parent);
    void createFinLayers();
    void startTimer();
    void stopTimer();
    void setNumFins(qint64 numFins);
    void setRunning(bool running) { m_isRunning = running; }
    void setFposition(qint64 position) { m_fposition = position; }
    void setNeedsDisplay() { emit needsDisplay(); }
    // Maps the painter from the host's y-down rectangle to the layer's own y-up coordinates.
    void applyLayerTransform(QPainter &painter, const QRectF &hostArea) const;
    qint64 nowMs() const { return m_clock.elapsed(); }

private:
    struct Fin {
        OpacityFade opacity;
    };

    bool m_isRunning = false;
    bool m_isHidden = false;
    std::unique_ptr<QTimer> m_animationTimer;
    qint64 m_fposition = 0;
    double m_fadeDownOpacity = 0.0;
    qint64 m_numFins = 0;
    std::vector<Fin> m_fins;
    QRectF m_bounds;
    FinGeometry m_geometry{};
    QElapsedTimer m_clock;
};
