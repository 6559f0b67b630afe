#pragma once

#include "ViewModelBase.h"

namespace ViewModel {

// A tool tip that stays on its screen: above or below its anchor, its body
// pushed back from the screen's side edges while its pointer stays under the
// anchor (pointXPos, from the body's left edge).
class HelpToolTip : public Base
{
    Q_OBJECT
    Q_PROPERTY(SideEnum side READ side WRITE setSide NOTIFY sideChanged)
    Q_PROPERTY(int menuXPos READ menuXPos WRITE setMenuXPos NOTIFY menuXPosChanged)
    Q_PROPERTY(int menuYPos READ menuYPos WRITE setMenuYPos NOTIFY menuYPosChanged)
    Q_PROPERTY(int pointXPos READ pointXPos WRITE setPointXPos NOTIFY pointXPosChanged)

public:
    enum SideEnum { TOP = 0, BOTTOM = 1 };
    Q_ENUM(SideEnum)

    using Base::Base;

    // Places a tool tip of menuWidth x menuHeight for the anchor rectangle.
    Q_INVOKABLE void updateMenuPos(int videoRectX, int videoRectY, int videoRectWidth, int videoRectHeight,
                                   int menuWidth, int menuHeight);

    SideEnum side() const { return m_side; }
    int menuXPos() const { return m_menuXPos; }
    int menuYPos() const { return m_menuYPos; }
    int pointXPos() const { return m_pointXPos; }

    void setSide(SideEnum side);
    void setMenuXPos(int x);
    void setMenuYPos(int y);
    void setPointXPos(int x);

signals:
    void sideChanged();
    void menuXPosChanged();
    void menuYPosChanged();
    void pointXPosChanged();

private:
    SideEnum m_side = TOP;
    int m_menuXPos = 0;
    int m_menuYPos = 0;
    int m_pointXPos = 0;
};

} // namespace ViewModel
