#include "VideoViewModel.h"

#include <QGuiApplication>
#include <QScreen>

#include <cstdlib>

namespace ViewModel {

void Video::updateMenuPos(int videoRectX, int videoRectY, int videoRectWidth, int videoRectHeight, int menuWidth,
                          int menuHeight)
{
    const QScreen* screen =
        QGuiApplication::screenAt(QPoint(videoRectX + videoRectWidth / 2, videoRectY + videoRectHeight / 2));
    if (!screen)
        return;
    const QRect g = screen->geometry();

    SideEnum side;
    const int roomBelow = g.height() + g.y() - videoRectY - videoRectHeight;
    if (menuHeight < roomBelow) {
        setMenuYPos(videoRectY + videoRectHeight);
        side = BOTTOM;
    } else if (std::abs(g.y() - videoRectY) > menuHeight) {
        setMenuYPos(videoRectY - menuHeight);
        side = TOP;
    } else {
        setMenuYPos(videoRectY);
        side = INSIDE;
    }
    setSide(side);

    const int roomRight = g.width() + g.x() - videoRectX;
    setMenuXPos(menuWidth < roomRight ? videoRectX : g.x() + g.width() - menuWidth);
}

void Video::setSide(SideEnum side)
{
    m_side = side;
    emit sideChanged();
}

void Video::setMenuXPos(int x)
{
    if (m_menuXPos == x)
        return;
    m_menuXPos = x;
    emit menuXPosChanged();
}

void Video::setMenuYPos(int y)
{
    if (m_menuYPos == y)
        return;
    m_menuYPos = y;
    emit menuYPosChanged();
}

} // namespace ViewModel
