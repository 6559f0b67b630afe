#pragma once

#include "ViewModelBase.h"

namespace ViewModel {

// The recording panel: on which side of the recorded area it goes and where,
// kept on the screen that holds the area's centre.
class Video : public Base
{
    Q_OBJECT
    Q_PROPERTY(SideEnum side READ side WRITE setSide NOTIFY sideChanged)
    Q_PROPERTY(int menuXPos READ menuXPos WRITE setMenuXPos NOTIFY menuXPosChanged)
    Q_PROPERTY(int menuYPos READ menuYPos WRITE setMenuYPos NOTIFY menuYPosChanged)

public:
    enum SideEnum { TOP = 0, BOTTOM = 1, INSIDE = 2 };
    Q_ENUM(SideEnum)

    using Base::Base;

    // Places a panel of menuWidth x menuHeight beside the area: below it when
    // there is room, else above, else inside; never past the right screen edge.
    Q_INVOKABLE void updateMenuPos(int videoRectX, int videoRectY, int videoRectWidth, int videoRectHeight,
                                   int menuWidth, int menuHeight);

    Q_INVOKABLE void editor() {}
    Q_INVOKABLE void video() {}
    Q_INVOKABLE void gallery() {}
    Q_INVOKABLE void settings() {}

    SideEnum side() const { return m_side; }
    int menuXPos() const { return m_menuXPos; }
    int menuYPos() const { return m_menuYPos; }

    // Stored and signalled on every call: the panel re-reads its side each time.
    void setSide(SideEnum side);
    void setMenuXPos(int x);
    void setMenuYPos(int y);

signals:
    void sideChanged();
    void menuXPosChanged();
    void menuYPosChanged();

private:
    SideEnum m_side = BOTTOM;
    int m_menuXPos = 0;
    int m_menuYPos = 0;
};

} // namespace ViewModel
