#pragma once

#include "ViewModelBase.h"

namespace ViewModel {

// The webcam overlay: its size choice, mirroring, and where its small menu
// goes, above the round window when the screen leaves room there.
class WebCam : public Base
{
    Q_OBJECT
    Q_PROPERTY(SizeEnum size READ size WRITE setSize NOTIFY sizeChanged)
    Q_PROPERTY(int menuXPos READ menuXPos WRITE setMenuXPos NOTIFY menuXPosChanged)
    Q_PROPERTY(int menuYPos READ menuYPos WRITE setMenuYPos NOTIFY menuYPosChanged)
    Q_PROPERTY(bool mirrorWebcam READ mirrorWebcam WRITE setMirrorWebcam NOTIFY mirrorWebcamChanged)

public:
    enum SizeEnum { CUSTOM = 0, SMALL = 1, LARGE = 2, FULL = 3 };
    Q_ENUM(SizeEnum)
    // Where the window sat in the frame when it was saved, per axis.
    enum CameraCornerEnum {
        CORNER_TOP_LEFT = 0,
        CORNER_MIDDLE_CENTER = 1,
        CORNER_BOTTOM_RIGHT = 2,
        CORNER_SOMEWHERE = 3
    };
    Q_ENUM(CameraCornerEnum)

    using Base::Base;

    // The menu of the window (x, y, w, h): above it when there is room, else
    // below its dots handle, else at its top; centred, short of the right edge.
    Q_INVOKABLE void updateMenuPos(int videoRectX, int videoRectY, int videoRectWidth, int videoRectHeight,
                                   int menuWidth, int menuHeight, int dotsHeight);

    SizeEnum size() const { return m_size; }
    int menuXPos() const { return m_menuXPos; }
    int menuYPos() const { return m_menuYPos; }
    bool mirrorWebcam() const { return m_mirrorWebcam; }

    void setSize(SizeEnum size);
    void setMenuXPos(int x);
    void setMenuYPos(int y);
    void setMirrorWebcam(bool mirror);

signals:
    void sizeChanged();
    void menuXPosChanged();
    void menuYPosChanged();
    void mirrorWebcamChanged();

private:
    SizeEnum m_size = CUSTOM;
    int m_menuXPos = 0;
    int m_menuYPos = 0;
    bool m_mirrorWebcam = false;
};

} // namespace ViewModel
