#pragma once

#include <QPixmap>
#include <QPointer>
#include <QRegion>
#include <QWidget>

#include <optional>

class QScreen;

// The HUD's own window: frameless, above other windows, covering one screen, never taking the keyboard focus.
// Where the screen composes it is translucent; where it does not, it paints a snapshot of the screen taken just
// before it appeared, so that the panel still blends over what lies below. Its shape is the panel when clicks
// should pass through, the whole screen otherwise.
class HudWindow : public QWidget {
    Q_OBJECT
public:
    explicit HudWindow(QScreen *screen);
    ~HudWindow() override;

    // Shows the window over its screen (raising it when it is shown already).
    void showWindow();
    // Hides the window and forgets the snapshot.
    void closeWindow();

    // The panel's rectangle in window coordinates; empty keeps every click in the window.
    void setPanelShape(std::optional<QRectF> panel, qreal cornerRadius);

    bool isComposited() const { return m_composited; }
    QRegion currentShape() const { return m_shape; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void applyShape();

    QPointer<QScreen> m_screen;
    bool m_composited = true;
    QPixmap m_snapshot;
    std::optional<QRectF> m_panel;
    qreal m_cornerRadius = 0;
    QRegion m_shape;
};
