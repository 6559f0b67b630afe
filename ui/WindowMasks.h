#pragma once

#include <QRect>
#include <QRegion>
#include <QSize>

// Window shapes for a server without a compositing manager, where a window
// can't be transparent and its outline has to be cut by a mask. All in the
// window's own coordinates.
namespace WindowMasks {

// A rectangle of `size` with corners rounded by `radius`.
QRegion roundedRect(const QSize& size, int radius);

// The image editor: a body with a tool `panel` standing out at its left,
// each with rounded corners.
QRegion imageEditor(const QSize& size, int radius, const QRect& panel);

// The frame of `lineWidth` around the edge of `size`, open in the middle.
QRegion ring(const QSize& size, int lineWidth);

} // namespace WindowMasks
