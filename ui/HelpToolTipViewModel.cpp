#include "HelpToolTipViewModel.h"

#include <QGuiApplication>
#include <QScreen>

#include <cstdlib>

namespace ViewModel {

void HelpToolTip::updateMenuPos(int videoRectX, int videoRectY, int videoRectWidth, int videoRectHeight, int menuWidth,
                                int menuHeight)
{
    // The lookup point is deliberately half of position plus size on each
    // axis, not the anchor's centre.
    const QScreen* screen =
        QGuiApplication::screenAt(QPoint((videoRectX + videoRectWidth) / 2, (videoRectY + videoRectHeight) / 2));
    if (!screen)
        return;
    const QRect g = screen->geometry();

    if (std::abs(g.y() - videoRectY) > menuHeight) {
        setMenuYPos(videoRectY - menuHeight);
        setSide(TOP);
    } else if (menuHeight < g.height() + g.y() - videoRectY - videoRectHeight) {
        setMenuYPos(videoRectY + videoRectHeight);
        setSide(BOTTOM);
    }

    if (menuWidth / 2 > g.width() + g.x() - videoRectX) {
        setMenuXPos(g.x() + g.width() - menuWidth);
        setPointXPos(videoRectX + menuWidth - g.x() - g.width());
    } else if (menuWidth / 2 > std::abs(g.x() - videoRectX)) {
        setMenuXPos(g.x());
        setPointXPos(std::abs(g.x() - videoRectX));
    } else {
        setMenuXPos(videoRectX - (menuWidth - videoRectWidth) / 2);
        setPointXPos((menuWidth - videoRectWidth) / 2);
    }
}

void HelpToolTip::setSide(SideEnum side)
{
    if (m_side == side)
        return;
    m_side = side;
    emit sideChanged();
}

void HelpToolTip::setMenuXPos(int x)
{
    if (m_menuXPos == x)
        return;
    m_menuXPos = x;
    emit menuXPosChanged();
}

void HelpToolTip::setMenuYPos(int y)
{
    if (m_menuYPos == y)
        return;
    m_menuYPos = y;
    emit menuYPosChanged();
}

void HelpToolTip::setPointXPos(int x)
{
    if (m_pointXPos == x)
        return;
    m_pointXPos = x;
    emit pointXPosChanged();
}

} // namespace ViewModel
