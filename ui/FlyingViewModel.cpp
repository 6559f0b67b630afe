#include "FlyingViewModel.h"

#include "SettingsKeys.h"
#include "SettingsManager.h"

#include <QDebug>
#include <QGuiApplication>

#include <cstdlib>

namespace ViewModel {

namespace {
// How close to an edge the bar must come before it turns or sticks.
constexpr int edgeCloseness = 30;
// The room that must remain along the screen for a turn to make sense.
constexpr double turnToHorizontalRoom = 1.2;
constexpr double turnToVerticalRoom = 1.4;
// A stuck bar comes free only after a pull of this many times its size.
constexpr double releasePull = 1.5;

// The virtual desktop as the drag bounds it: the primary screen's virtual geometry.
QRect virtualGeometry()
{
    const QScreen* primary = QGuiApplication::primaryScreen();
    return primary ? primary->virtualGeometry() : QRect();
}

int bounded(int p, int low, int high)
{
    if (p < low)
        return low;
    if (p > high)
        return high;
    return p;
}
} // namespace

Flying::Flying(QObject* parent)
    : Base(parent)
{
    ISettingsReader* settings = SettingsManager::instance();
    m_orientation = settings->readSettingBool(SettingsKey::bubble_horizontal) ? HORIZONTAL : VERTICAL;
    const int side = settings->readSettingInt(SettingsKey::bubble_side);
    if (side >= NONE && side <= RIGHT)
        m_side = static_cast<SideEnum>(side);
    else
        qWarning() << "[UIC]: bubble_side out of range, taken as NONE:" << side;
    // The persisted stuck flags become the held coordinates 0 or 1; the bar
    // itself starts free and sticks again at the first drag near an edge.
    m_hStuck = settings->readSettingBool(SettingsKey::bubble_ishstuck) ? 1 : 0;
    m_vStuck = settings->readSettingBool(SettingsKey::bubble_isvstuck) ? 1 : 0;
    m_isPinned = settings->readSettingBool(SettingsKey::bubble_pin);
}

QScreen* Flying::probeScreen(int x, int y, int width, int height)
{
    const QPoint probe = m_orientation == HORIZONTAL ? QPoint(x, y + height / 2) : QPoint(x + width / 2, y);
    QScreen* screen = QGuiApplication::screenAt(probe);
    if (screen)
        m_screen = screen;
    return screen;
}

void Flying::canStuck(int x, int y, int width, int height, int dx, int dy)
{
    const QScreen* screen = probeScreen(x, y, width, height);
    if (!screen)
        return;
    const QRect g = screen->geometry();

    // A free bar near the top or bottom turns horizontal, near the left or
    // right vertical. The vertical tests use y and the screen height alone.
    if (!m_isHStuck && !m_isVStuck) {
        if (m_orientation == VERTICAL && g.width() + g.x() - x > turnToHorizontalRoom * height) {
            if (y < edgeCloseness || g.height() - y - height < edgeCloseness) {
                setSizeAnimationDuration(0);
                setOrientation(HORIZONTAL);
            }
        } else if (m_orientation == HORIZONTAL && g.height() - y > turnToVerticalRoom * width) {
            if (std::abs(g.x() - x) < edgeCloseness || g.width() + g.x() - x - width < edgeCloseness) {
                setSizeAnimationDuration(0);
                setOrientation(VERTICAL);
            }
        }
    }

    // A vertical bar sticks left or right, a horizontal one top or bottom.
    // The order matters: a vertical bar never reaches the vertical release.
    if (!m_isHStuck) {
        if (m_orientation == VERTICAL && width <= g.width() + g.x() - x) {
            if (width / 2 > std::abs(g.x() - x)) {
                setIsHStuck(true);
                setSide(LEFT);
                setHStuck(g.x());
            } else {
                return;
            }
        } else if (m_orientation == VERTICAL) {
            setIsHStuck(true);
            setSide(RIGHT);
            setHStuck(g.x() + g.width() - width);
        } else if (m_isVStuck) {
            if (std::abs(dy) > releasePull * height)
                setIsVStuck(false);
        } else if (height <= g.height() + g.y() - y) {
            if (height / 2 > std::abs(g.y() - y)) {
                setIsVStuck(true);
                setSide(TOP);
                setVStuck(g.y());
            } else {
                return;
            }
        } else {
            setIsVStuck(true);
            setSide(BOTTOM);
            setVStuck(g.y() + g.height() - height);
        }
    }

    if (m_isHStuck && std::abs(dx) > releasePull * width)
        setIsHStuck(false);
}

void Flying::updateStuck(int x, int y, int width, int height)
{
    const QScreen* screen = probeScreen(x, y, width, height);
    if (!screen)
        return;
    const QRect g = screen->geometry();
    if (m_isHStuck) {
        if (m_side == RIGHT)
            setHStuck(g.x() + g.width() - width);
        else if (m_side == LEFT)
            setHStuck(g.x());
    } else if (m_isVStuck) {
        if (m_side == BOTTOM)
            setVStuck(g.y() + g.height() - height);
        else if (m_side == TOP)
            setVStuck(g.y());
    }
}

int Flying::getXPos(int x, int width, int dx) const
{
    const int p = x - m_previousX + dx;
    const QRect v = virtualGeometry();
    return v.isNull() ? p : bounded(p, v.x(), v.x() + v.width() - width);
}

int Flying::getYPos(int y, int height, int dy) const
{
    const int p = y - m_previousY + dy;
    const QRect v = virtualGeometry();
    return v.isNull() ? p : bounded(p, v.y(), v.y() + v.height() - height);
}

void Flying::setOrientation(OrientationEnum orientation)
{
    if (m_orientation == orientation)
        return;
    m_orientation = orientation;
    emit orientationChanged();
}

void Flying::setSide(SideEnum side)
{
    if (m_side == side)
        return;
    m_side = side;
    emit sideChanged();
}

void Flying::setIsHStuck(bool stuck)
{
    if (m_isHStuck == stuck)
        return;
    m_isHStuck = stuck;
    emit isHStuckChanged();
}

void Flying::setIsVStuck(bool stuck)
{
    if (m_isVStuck == stuck)
        return;
    m_isVStuck = stuck;
    emit isVStuckChanged();
}

void Flying::setHStuck(int x)
{
    if (m_hStuck == x)
        return;
    m_hStuck = x;
    emit hStuckChanged();
}

void Flying::setVStuck(int y)
{
    if (m_vStuck == y)
        return;
    m_vStuck = y;
    emit vStuckChanged();
}

void Flying::setSizeAnimationDuration(int ms)
{
    if (m_sizeAnimationDuration == ms)
        return;
    m_sizeAnimationDuration = ms;
    emit sizeAnimationDurationChanged();
}

void Flying::setPreviousX(int x)
{
    if (m_previousX == x)
        return;
    m_previousX = x;
    emit previousXChanged();
}

void Flying::setPreviousY(int y)
{
    if (m_previousY == y)
        return;
    m_previousY = y;
    emit previousYChanged();
}

void Flying::setIsPinned(bool pinned)
{
    if (m_isPinned == pinned)
        return;
    m_isPinned = pinned;
    emit isPinnedChanged();
}

} // namespace ViewModel
