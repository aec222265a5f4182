#pragma once

#include <QRect>
#include <QSize>

// The settings window's geometry: its fixed content size and the shortcut recorder's frame, designed in y-up points
// from the content's lower left corner and converted once to Qt's coordinates here.
namespace SettingsWindowLayout {

// The recognition language row sits above the rest, which keeps its place counted from the bottom.
inline constexpr QSize contentSize{460, 278};
inline constexpr QRect recorderFrameYUp{194, 170, 150, 26};

// A y-up rectangle in the coordinates of a content of that height, origin at the top left.
constexpr QRect toTopLeftOrigin(const QRect &yUp, int contentHeight)
{
    return {yUp.x(), contentHeight - yUp.y() - yUp.height(), yUp.width(), yUp.height()};
}

constexpr QRect recorderFrame()
{
    return toTopLeftOrigin(recorderFrameYUp, contentSize.height());
}

} // namespace SettingsWindowLayout
