#pragma once

#include "hud/progress_hud_options.h"

#include <QRectF>
#include <QRegion>
#include <QSizeF>

#include <optional>

// Everything one layout pass of the HUD reads. Lengths in points, y growing upwards from the view's bottom edge.
struct HudLayoutInput {
    QSizeF bounds; // the HUD view, which covers its container
    ProgressHUDMode::Kind mode = ProgressHUDMode::indeterminate;
    std::optional<QSizeF> indicatorSize; // bounds of the installed indicator view; absent when there is none
    QSizeF textSize{0, 0};               // the status text measured with the label's font; empty text: 0 × 0
    ProgressHUDPosition position = ProgressHUDPosition::bottom;
    qreal spinnerSize = 60.0;
    qreal margin = 18.0;
    qreal padding = 4.0;
};

// Result of a layout pass, still y-up; toTopLeftOrigin() turns a rectangle into widget coordinates.
struct HudLayout {
    qreal offset = 0;                     // how far the panel sits below (positive) the centre
    std::optional<QRectF> indicatorFrame; // only when an indicator view exists
    QRectF labelFrame;
    QRectF panel;      // the rounded panel; its size is the HUD's `size`
    QRectF glyphFrame; // square of spinnerSize that the ring and the glyphs are drawn into
};

[[nodiscard]] HudLayout layoutHud(const HudLayoutInput &input);

// The one conversion from the layout's y-up points to Qt's y-down coordinates of a view of that height.
[[nodiscard]] inline QRectF toTopLeftOrigin(const QRectF &yUp, qreal viewHeight)
{
    return {yUp.x(), viewHeight - yUp.y() - yUp.height(), yUp.width(), yUp.height()};
}

// Pixels of a rounded rectangle (y-down, logical pixels) for shaping a window.
enum class RegionCoverage {
    anyCoverage, // every pixel the antialiased fill touches: nothing drawn is cut off (composited screens)
    pixelCentre, // pixels whose centre lies inside, as an aliased fill would colour them (no compositor)
};
[[nodiscard]] QRegion roundedRectRegion(const QRectF &rect, qreal radius, RegionCoverage coverage);
