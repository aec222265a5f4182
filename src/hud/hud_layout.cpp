#include "hud/hud_layout.h"

#include <QList>

#include <algorithm>
#include <cmath>

HudLayout layoutHud(const HudLayoutInput &in)
{
    const qreal width = in.bounds.width();
    const qreal height = in.bounds.height();
    const qreal maxWidth = width - 4 * in.margin;

    const qreal areaW = in.indicatorSize ? std::min(maxWidth, in.indicatorSize->width()) : 0.0;
    qreal areaH = 0;
    if (in.mode == ProgressHUDMode::determinate || in.mode == ProgressHUDMode::info ||
        in.mode == ProgressHUDMode::success || in.mode == ProgressHUDMode::error)
        areaH = in.spinnerSize;
    else if (in.indicatorSize)
        areaH = in.indicatorSize->height();

    // An empty or invalid size is no text.
    const qreal textW = std::max(in.textSize.width(), 0.0);
    const qreal textH = std::max(in.textSize.height(), 0.0);
    const qreal labelW = std::min(maxWidth, textW > 0 ? textW + 10 : textW);
    const bool hasArea = areaH > 0;
    const bool hasBoth = hasArea && textH > 0;

    HudLayout layout;
    switch (in.position) {
    case ProgressHUDPosition::top:
        layout.offset = height / -5.0;
        break;
    case ProgressHUDPosition::center:
        layout.offset = 0;
        break;
    case ProgressHUDPosition::bottom:
        layout.offset = height / 5.0;
        break;
    }

    qreal contentH = areaH;
    if (hasArea)
        contentH += in.padding;
    contentH += textH;
    if (hasBoth)
        contentH += in.padding;
    const qreal hudH = contentH + 2 * in.margin;
    const qreal panelY = std::round((height - hudH) * 0.5) - layout.offset;
    const qreal base = in.margin + panelY;

    if (in.indicatorSize) {
        qreal y = base;
        if (hasArea)
            y += in.padding;
        if (hasBoth)
            y += textH + in.padding;
        layout.indicatorFrame = QRectF(std::round((width - areaW) * 0.5), y, areaW, areaH);
    }
    layout.labelFrame = QRectF(std::round((width - labelW) * 0.5), hasArea ? base - in.padding : base, labelW, textH);

    const qreal hudW = 2 * in.margin + std::max(std::max(areaW, 0.0), labelW);
    layout.panel = QRectF(std::round((width - hudW) * 0.5), panelY, hudW, hudH);

    const qreal s = in.spinnerSize;
    const QPointF centre(layout.panel.x() + hudW * 0.5, layout.panel.y() + hudH - 0.9 * s);
    layout.glyphFrame = QRectF(centre.x() - s / 2, centre.y() - s / 2, s, s);
    return layout;
}

namespace {

// Horizontal extent of the rounded rectangle on the horizontal line at y.
std::pair<qreal, qreal> extentAt(const QRectF &rect, qreal radius, qreal y)
{
    const qreal r = std::clamp(radius, 0.0, std::min(rect.width(), rect.height()) / 2);
    qreal dy = 0;
    if (y < rect.top() + r)
        dy = rect.top() + r - y;
    else if (y > rect.bottom() - r)
        dy = y - (rect.bottom() - r);
    const qreal inset = r - std::sqrt(std::max(0.0, r * r - dy * dy));
    return {rect.left() + inset, rect.right() - inset};
}

} // namespace

QRegion roundedRectRegion(const QRectF &rect, qreal radius, RegionCoverage coverage)
{
    if (rect.isEmpty())
        return {};
    QList<QRect> rows;
    const int firstRow = static_cast<int>(std::floor(rect.top()));
    const int endRow = static_cast<int>(std::ceil(rect.bottom()));
    for (int row = firstRow; row < endRow; ++row) {
        int left = 0;
        int right = 0; // exclusive
        if (coverage == RegionCoverage::anyCoverage) {
            // The widest line of the rectangle inside this pixel row.
            const qreal straightTop = rect.top() + radius;
            const qreal straightBottom = rect.bottom() - radius;
            const qreal y = std::clamp(std::clamp((straightTop + straightBottom) / 2, qreal(row), qreal(row + 1)),
                                       rect.top(), rect.bottom());
            const auto [l, r] = extentAt(rect, radius, y);
            left = static_cast<int>(std::floor(l));
            right = static_cast<int>(std::ceil(r));
        } else {
            const qreal y = row + 0.5;
            if (y < rect.top() || y > rect.bottom())
                continue;
            const auto [l, r] = extentAt(rect, radius, y);
            left = static_cast<int>(std::ceil(l - 0.5));
            right = static_cast<int>(std::floor(r - 0.5)) + 1;
        }
        if (right > left) {
            if (!rows.isEmpty() && rows.last().left() == left && rows.last().right() == right - 1 &&
                rows.last().bottom() == row - 1)
                rows.last().setBottom(row);
            else
                rows.append(QRect(left, row, right - left, 1));
        }
    }
    QRegion region;
    region.setRects(rows.constData(), static_cast<int>(rows.size()));
    return region;
}
