#pragma once

#include "ViewModelBase.h"

#include <QPointer>
#include <QScreen>

namespace ViewModel {

// The floating menu: where it sticks to a screen edge while dragged, when it
// turns between a vertical and a horizontal bar, and the free drag position.
// Start values come from the bubble_* settings; the dialog writes them back.
class Flying : public Base
{
    Q_OBJECT
    Q_PROPERTY(OrientationEnum orientation READ orientation WRITE setOrientation NOTIFY orientationChanged)
    Q_PROPERTY(SideEnum side READ side WRITE setSide NOTIFY sideChanged)
    Q_PROPERTY(bool isHStuck READ isHStuck WRITE setIsHStuck NOTIFY isHStuckChanged)
    Q_PROPERTY(bool isVStuck READ isVStuck WRITE setIsVStuck NOTIFY isVStuckChanged)
    Q_PROPERTY(int hStuck READ hStuck WRITE setHStuck NOTIFY hStuckChanged)
    Q_PROPERTY(int vStuck READ vStuck WRITE setVStuck NOTIFY vStuckChanged)
    Q_PROPERTY(int sizeAnimationDuration READ sizeAnimationDuration WRITE setSizeAnimationDuration NOTIFY
                   sizeAnimationDurationChanged)
    Q_PROPERTY(int previousX READ previousX WRITE setPreviousX NOTIFY previousXChanged)
    Q_PROPERTY(int previousY READ previousY WRITE setPreviousY NOTIFY previousYChanged)
    Q_PROPERTY(bool isPinned READ isPinned WRITE setIsPinned NOTIFY isPinnedChanged)

public:
    enum OrientationEnum { VERTICAL = 0, HORIZONTAL = 1 };
    Q_ENUM(OrientationEnum)
    enum SideEnum { NONE = 0, TOP = 1, BOTTOM = 2, LEFT = 3, RIGHT = 4 };
    Q_ENUM(SideEnum)

    // Reads the start values from the program's settings.
    explicit Flying(QObject* parent = nullptr);

    // One pointer move of a drag; the window rectangle, and the moved mouse
    // coordinate (window-local) in dx or dy with the other 0.
    Q_INVOKABLE void canStuck(int x, int y, int width, int height, int dx, int dy);
    // Holds a stuck window at its edge after a size or screen change.
    Q_INVOKABLE void updateStuck(int x, int y, int width, int height);
    // The free drag position, bounded to the virtual desktop.
    Q_INVOKABLE int getXPos(int x, int width, int dx) const;
    Q_INVOKABLE int getYPos(int y, int height, int dy) const;

    Q_INVOKABLE void editor() {}
    Q_INVOKABLE void video() {}
    Q_INVOKABLE void gallery() {}
    Q_INVOKABLE void settings() {}

    OrientationEnum orientation() const { return m_orientation; }
    SideEnum side() const { return m_side; }
    bool isHStuck() const { return m_isHStuck; }
    bool isVStuck() const { return m_isVStuck; }
    int hStuck() const { return m_hStuck; }
    int vStuck() const { return m_vStuck; }
    int sizeAnimationDuration() const { return m_sizeAnimationDuration; }
    int previousX() const { return m_previousX; }
    int previousY() const { return m_previousY; }
    bool isPinned() const { return m_isPinned; }

    void setOrientation(OrientationEnum orientation);
    void setSide(SideEnum side);
    void setIsHStuck(bool stuck);
    void setIsVStuck(bool stuck);
    void setHStuck(int x);
    void setVStuck(int y);
    void setSizeAnimationDuration(int ms);
    void setPreviousX(int x);
    void setPreviousY(int y);
    void setIsPinned(bool pinned);

signals:
    void orientationChanged();
    void sideChanged();
    void isHStuckChanged();
    void isVStuckChanged();
    void hStuckChanged();
    void vStuckChanged();
    void sizeAnimationDurationChanged();
    void previousXChanged();
    void previousYChanged();
    void isPinnedChanged();

private:
    // The screen under the probe point of the window: the middle of its
    // leading edge (left edge for a horizontal bar, top edge for a vertical one).
    QScreen* probeScreen(int x, int y, int width, int height);

    OrientationEnum m_orientation = VERTICAL;
    SideEnum m_side = NONE;
    bool m_isHStuck = false;
    bool m_isVStuck = false;
    int m_hStuck = 0;
    int m_vStuck = 0;
    int m_sizeAnimationDuration = 50;
    int m_previousX = 0;
    int m_previousY = 0;
    bool m_isPinned = true;
    QPointer<QScreen> m_screen; // last screen found under the window
};

} // namespace ViewModel
