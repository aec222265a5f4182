#include "hud/hud_window.h"

#include "hud/compositing.h"
#include "hud/hud_layout.h"

#include <QGuiApplication>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>

HudWindow::HudWindow(QScreen *screen) : m_screen(screen)
{
    // Unmanaged (override-redirect) on X11: no window manager places, decorates or focuses it.
    setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                   Qt::X11BypassWindowManagerHint);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("Scrivlet HUD"));
    if (m_screen)
        setGeometry(m_screen->geometry());
}

HudWindow::~HudWindow() = default;

void HudWindow::showWindow()
{
    if (!isVisible()) {
        if (m_screen) {
            setScreen(m_screen);
            setGeometry(m_screen->geometry());
        }
        m_composited = isScreenComposited();
        m_snapshot = QPixmap();
        if (!m_composited && m_screen) {
            // Without a compositor nothing blends our pixels with the screen: blend with a picture of it.
            const QRect area = m_screen->geometry();
            m_snapshot = m_screen->grabWindow(0, 0, 0, area.width(), area.height());
        }
        applyShape();
    }
    show();
    raise();
}

void HudWindow::closeWindow()
{
    hide();
    m_snapshot = QPixmap();
}

void HudWindow::setPanelShape(std::optional<QRectF> panel, qreal cornerRadius)
{
    if (panel == m_panel && cornerRadius == m_cornerRadius)
        return;
    m_panel = panel;
    m_cornerRadius = cornerRadius;
    applyShape();
}

void HudWindow::applyShape()
{
    QRegion shape;
    if (m_panel) {
        // Composited: keep every pixel the antialiased edge touches. Otherwise the shape itself is the edge.
        shape = roundedRectRegion(*m_panel, m_cornerRadius,
                                  m_composited ? RegionCoverage::anyCoverage : RegionCoverage::pixelCentre);
        if (shape.isEmpty())
            shape = QRegion(0, 0, 1, 1); // an empty mask would mean "no mask"
    }
    if (shape == m_shape)
        return;
    m_shape = shape;
    if (m_shape.isEmpty())
        clearMask();
    else
        setMask(m_shape);
}

void HudWindow::paintEvent(QPaintEvent *event)
{
    if (m_snapshot.isNull())
        return;
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    const QRectF target = event->rect();
    const qreal ratio = m_snapshot.devicePixelRatio();
    painter.drawPixmap(target, m_snapshot, QRectF(target.topLeft() * ratio, target.size() * ratio));
}
