#include "WebCamViewModel.h"

#include <QGuiApplication>
#include <QScreen>

#include <cstdlib>

namespace ViewModel {

void WebCam::updateMenuPos(int videoRectX, int videoRectY, int videoRectWidth, int videoRectHeight, int menuWidth,
                           int menuHeight, int dotsHeight)
{
    const QScreen* screen =
        QGuiApplication::screenAt(QPoint(videoRectX + videoRectWidth / 2, videoRectY + videoRectHeight / 2));
    if (!screen)
        return;
    const QRect g = screen->geometry();

    if (std::abs(g.y() - videoRectY) > menuHeight)
        setMenuYPos(videoRectY - menuHeight);
    else if (menuHeight < g.height() + g.y() - videoRectY - videoRectHeight)
        setMenuYPos(videoRectY + dotsHeight);
    else
        setMenuYPos(videoRectY);

    const int centred = videoRectX + (videoRectWidth - menuWidth) / 2;
    const int limit = g.x() + g.width() - menuWidth;
    setMenuXPos(centred >= limit ? limit : centred);
}

void WebCam::setSize(SizeEnum size)
{
    if (m_size == size)
        return;
    m_size = size;
    emit sizeChanged();
}

void WebCam::setMenuXPos(int x)
{
    if (m_menuXPos == x)
        return;
    m_menuXPos = x;
    emit menuXPosChanged();
}

void WebCam::setMenuYPos(int y)
{
    if (m_menuYPos == y)
        return;
    m_menuYPos = y;
    emit menuYPosChanged();
}

void WebCam::setMirrorWebcam(bool mirror)
{
    if (m_mirrorWebcam == mirror)
        return;
    m_mirrorWebcam = mirror;
    emit mirrorWebcamChanged();
}

} // namespace ViewModel
