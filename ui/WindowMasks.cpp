#include "WindowMasks.h"

namespace WindowMasks {

namespace {
QRegion corner(int left, int top, int radius)
{
    return QRegion(QRect(left, top, 2 * radius, 2 * radius), QRegion::Ellipse);
}
} // namespace

QRegion roundedRect(const QSize& size, int radius)
{
    const QRect all(QPoint(0, 0), size);
    const int r = radius;
    QRegion region(all.adjusted(r, 0, -r, 0));
    region += all.adjusted(0, r, 0, -r);
    region += corner(all.left(), all.top(), r);
    region += corner(all.left() + all.width() - 2 * r, all.top(), r);
    region += corner(all.left(), all.top() + all.height() - 2 * r, r);
    region += corner(all.left() + all.width() - 2 * r, all.top() + all.height() - 2 * r, r);
    return region;
}

QRegion imageEditor(const QSize& size, int radius, const QRect& panel)
{
    const QRect body(QPoint(0, 0), size);
    const int r = radius;
    const int w = panel.width();
    QRegion region(body.adjusted(r + w, 0, -r, 0));
    region += body.adjusted(w, r, 0, -r);
    region += panel.adjusted(r, 0, 0, 0);
    region += panel.adjusted(0, r, 0, -r);
    region += corner(panel.left(), panel.top(), r);
    region += corner(panel.left(), panel.top() + panel.height() - 2 * r, r);
    region += corner(body.left() + w, body.top(), r);
    region += corner(body.left() + body.width() - 2 * r, body.top(), r);
    region += corner(body.left() + body.width() - 2 * r, body.top() + body.height() - 2 * r, r);
    region += corner(body.left() + w, body.top() + body.height() - 2 * r, r);
    return region;
}

QRegion ring(const QSize& size, int lineWidth)
{
    const QRect all(QPoint(0, 0), size);
    return QRegion(all) - QRegion(all.adjusted(lineWidth, lineWidth, -lineWidth, -lineWidth));
}

} // namespace WindowMasks
