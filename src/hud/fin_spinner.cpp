#include "hud/fin_spinner.h"

#include <QLoggingCategory>
#include <QPainter>
#include <QTimer>

#include <algorithm>

FinGeometry finGeometry(QSizeF bounds)
{
    const qreal w = bounds.width();
    const qreal h = bounds.height();
    const qreal m = std::min(w, h);
    FinGeometry geometry;
    geometry.size = QSizeF(0.095 * m, 0.3 * m);
    geometry.cornerRadius = geometry.size.width() / 2;
    // The turning point lies 0.63 fin heights below the fin's lower edge.
    geometry.anchorPoint = QPointF(0.5, m > 0 ? ((m - 0.3 * m) * -0.9) / m : 0.0);
    geometry.position = QPointF(w * 0.5, h * 0.5);
    return geometry;
}

double OpacityFade::valueAt(qint64 nowMs) const
{
    if (durationMs <= 0 || nowMs >= startMs + durationMs)
        return to;
    if (nowMs <= startMs)
        return from;
    const double t = static_cast<double>(nowMs - startMs) / static_cast<double>(durationMs);
    return from + (to - from) * t;
}

FinSpinner::FinSpinner(qint64 numFins, double fadeDownOpacity, QObject *parent)
    : QObject(parent), m_fadeDownOpacity(fadeDownOpacity), m_numFins(std::max<qint64>(numFins, 0))
{
    m_clock.start();
}

FinSpinner::~FinSpinner() = default;

void FinSpinner::setHidden(bool hidden)
{
    m_isHidden = hidden;
    setNeedsDisplay();
}

void FinSpinner::setNumFins(qint64 numFins)
{
    if (numFins < 0)
        qWarning("a spinner needs zero or more fins, not %lld; it gets none", static_cast<long long>(numFins));
    m_numFins = std::max<qint64>(numFins, 0);
    createFinLayers();
}

void FinSpinner::createFinLayers()
{
    m_fins.clear();
    m_geometry = finGeometry(m_bounds.size());
    for (qint64 i = 0; i < m_numFins; ++i)
        m_fins.push_back(Fin{OpacityFade{m_fadeDownOpacity, m_fadeDownOpacity, 0, 0}});
    setNeedsDisplay();
}

void FinSpinner::setBounds(const QRectF &bounds)
{
    m_bounds = bounds;
    m_geometry = finGeometry(bounds.size());
    setNeedsDisplay();
}

double FinSpinner::finOpacity(qsizetype i) const
{
    if (i < 0 || i >= finCount())
        return 0.0;
    return m_fins[static_cast<size_t>(i)].opacity.valueAt(nowMs());
}

void FinSpinner::startTimer()
{
    stopTimer();
    m_animationTimer = std::make_unique<QTimer>();
    // The first step comes on the next turn of the event loop, the others every 50 ms. A main-thread timer also
    // fires inside the nested loops of open menus and drags.
    m_animationTimer->setTimerType(Qt::PreciseTimer);
    QObject::connect(m_animationTimer.get(), &QTimer::timeout, this, [this] {
        if (m_animationTimer->interval() != stepIntervalMs)
            m_animationTimer->setInterval(stepIntervalMs);
        advancePosition();
    });
    m_animationTimer->start(0);
}

void FinSpinner::stopTimer()
{
    m_animationTimer.reset();
}

void FinSpinner::startAnimation()
{
    setHidden(false);
    setRunning(true);
    setFposition(numFins() - 1);
    setNeedsDisplay();
    startTimer();
}

void FinSpinner::stopAnimation()
{
    setRunning(false);
    stopTimer();
    setNeedsDisplay();
}

void FinSpinner::advancePosition()
{
    if (m_fins.empty())
        return;
    ++m_fposition;
    if (m_fposition >= static_cast<qint64>(m_fins.size()))
        m_fposition = 0;
    // Lit at once, then faded down by the fin's 0.7-second opacity animation.
    Fin &fin = m_fins[static_cast<size_t>(m_fposition)];
    fin.opacity = OpacityFade{1.0, m_fadeDownOpacity, nowMs(), fadeDurationMs};
    setNeedsDisplay();
}

void FinSpinner::applyLayerTransform(QPainter &painter, const QRectF &hostArea) const
{
    // The layer sits with the centre of its bounds on the host's bottom-left corner (y-up), as a layer whose
    // position is (0, 0); bounds of (−s/2, −s/2, s, s) thus put the layer's (s/2, s/2) on the host's centre.
    painter.translate(hostArea.left(), hostArea.bottom());
    painter.scale(1, -1);
    painter.translate(-m_bounds.center());
}

void FinSpinner::paintFins(QPainter &painter, const QRectF &hostArea, const QColor &color) const
{
    if (m_isHidden || m_fins.empty())
        return;
    const qint64 now = nowMs();
    const FinGeometry &g = m_geometry;
    const QRectF fin(-g.anchorPoint.x() * g.size.width(), -g.anchorPoint.y() * g.size.height(), g.size.width(),
                     g.size.height());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    applyLayerTransform(painter, hostArea);
    for (size_t i = 0; i < m_fins.size(); ++i) {
        const double opacity = m_fins[i].opacity.valueAt(now);
        if (opacity <= 0)
            continue;
        painter.save();
        painter.translate(g.position);
        // Fin 0 points up; fin i is turned clockwise by i steps (negative angles in a y-up space).
        painter.rotate(-360.0 * static_cast<double>(i) / static_cast<double>(m_fins.size()));
        painter.setOpacity(opacity);
        painter.drawRoundedRect(fin, g.cornerRadius, g.cornerRadius);
        painter.restore();
    }
    painter.restore();
}
