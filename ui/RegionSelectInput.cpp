// RegionSelect: the pointer. A press starts, moves or resizes the selection,
// a move drags it, a release finishes the pass, hovering shows what a press
// would do.

#include "RegionSelect.h"

#include "UIController.h"

#include <QDebug>
#include <QHoverEvent>
#include <QMouseEvent>
#include <QQuickWidget>

#include <algorithm>
#include <cstdlib>

bool RegionSelect::event(QEvent* event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
        // Rounded half away from zero.
        press(static_cast<QMouseEvent*>(event)->position().toPoint());
        break;
    case QEvent::MouseButtonRelease:
        if (m_releaseHandledOnScene)
            m_releaseHandledOnScene = false;
        else
            release(static_cast<QMouseEvent*>(event)->button());
        break;
    case QEvent::HoverEnter:
    case QEvent::HoverLeave: return true;
    case QEvent::HoverMove: hover(static_cast<QHoverEvent*>(event)->position().toPoint()); break;
    default: break;
    }
    return QWidget::event(event);
}

bool RegionSelect::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_sceneWidget)
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: m_releaseHandledOnScene = false; break;
    case QEvent::MouseButtonRelease:
        // The scene's widget takes every release, also off the menu, so the
        // overlay sees them only here.
        release(static_cast<QMouseEvent*>(event)->button());
        m_releaseHandledOnScene = true;
        break;
    case QEvent::MouseMove:
        if (m_newSelection && cursor().shape() != m_crossCursor.shape())
            setCursor(m_crossCursor);
        break;
    default: break;
    }
    return false;
}

void RegionSelect::press(const QPoint& point)
{
    if (actionMenuVisible() && m_actionMenuRect.contains(point))
        return; // the menu's own press
    setActionMenuVisible(false);
    if (m_ui)
        m_ui->setCurrentScreenIndex(m_screenIndex);
    if (m_selection.width() > 0 && m_selection.height() > 0) {
        m_lastPosition = point;
        m_dragMode = dragModeAt(point);
        if (m_dragMode == 1) {
            m_moveOffset = point - m_selection.topLeft();
            setCursor(Qt::ClosedHandCursor);
        } else if (m_dragMode == 0) {
            startSelection(point);
            bound();
            m_newSelection = true;
        }
        qDebug() << "[RS]:"
                 << "event"
                 << "selected area is inside pre-defined rectangle";
        return;
    }
    startSelection(point);
}

void RegionSelect::startSelection(const QPoint& point)
{
    m_anchor = QPoint(std::clamp(point.x(), 0, width()), std::clamp(point.y(), 0, height()));
    m_selection = QRect(m_anchor, QSize());
    placeActionMenu();
    publish();
}

int RegionSelect::dragModeAt(const QPoint& p) const
{
    // Each axis is looked at by itself, so a press in line with an edge grabs
    // it even far beyond the selection.
    const bool left = std::abs(p.x() - m_selection.x()) < kEdgeGrab;
    const bool right = std::abs(p.x() - (m_selection.x() + m_selection.width())) < kEdgeGrab;
    const bool top = std::abs(p.y() - m_selection.y()) < kEdgeGrab;
    const bool bottom = std::abs(p.y() - (m_selection.y() + m_selection.height())) < kEdgeGrab;
    if (left)
        return top ? 6 : bottom ? 8 : 2;
    if (right)
        return top ? 7 : bottom ? 9 : 3;
    if (top)
        return 4;
    if (bottom)
        return 5;
    return m_selection.contains(p) ? 1 : 0;
}

void RegionSelect::mouseMoveEvent(QMouseEvent* event)
{
    const QPoint p = event->position().toPoint();
    if (m_newSelection) {
        if (cursor().shape() != m_crossCursor.shape())
            setCursor(m_crossCursor);
        const QPoint clamped(std::clamp(p.x(), 0, width()), std::clamp(p.y(), 0, height()));
        // Anchor and pointer are opposite corners, whichever way the drag goes.
        m_selection = QRect(QPoint(std::min(m_anchor.x(), clamped.x()), std::min(m_anchor.y(), clamped.y())),
                            QPoint(std::max(m_anchor.x(), clamped.x()), std::max(m_anchor.y(), clamped.y())));
        bound();
        placeActionMenu();
        publish();
        m_lastPosition = clamped;
    } else {
        applyDrag(p);
        if (m_selection.width() < 0 || m_selection.height() < 0)
            m_selection = m_selection.normalized();
        bound();
        placeActionMenu();
        publish();
    }
    repaint();
    update();
}

void RegionSelect::applyDrag(const QPoint& p)
{
    const int W = width();
    const int H = height();
    QRect& s = m_selection;
    switch (m_dragMode) {
    case 1:
        s.moveTopLeft(QPoint(std::max(0, std::min(W - s.width(), p.x() - m_moveOffset.x())),
                             std::max(0, std::min(H - s.height(), p.y() - m_moveOffset.y()))));
        break;
    case 2:
        if (p.x() < s.right())
            s.setLeft(std::max(p.x(), 0));
        break;
    case 3:
        if (p.x() > s.left())
            s.setRight(std::min(W, p.x()));
        break;
    case 4:
        if (p.y() < s.bottom())
            s.setTop(std::max(p.y(), 0));
        break;
    case 5:
        if (p.y() > s.top())
            s.setBottom(std::min(H, p.y()));
        break;
    case 6:
        if (p.y() < s.bottom() && p.x() < s.right())
            s.setTopLeft(QPoint(std::max(p.x(), 0), std::max(p.y(), 0)));
        break;
    case 7:
        if (p.y() < s.bottom() && p.x() > s.left())
            s.setTopRight(QPoint(std::min(W, p.x()), std::max(p.y(), 0)));
        break;
    case 8:
        if (p.y() > s.top() && p.x() < s.right())
            s.setBottomLeft(QPoint(std::max(p.x(), 0), std::min(H, p.y())));
        break;
    case 9:
        if (p.y() > s.top() && p.x() > s.left())
            s.setBottomRight(QPoint(std::min(W, p.x()), std::min(H, p.y())));
        break;
    default: break;
    }
}

void RegionSelect::bound()
{
    if (m_selection.left() < 0)
        m_selection.setLeft(0);
    if (m_selection.top() < 0)
        m_selection.setTop(0);
    if (m_selection.width() > width())
        m_selection.setWidth(width());
    if (m_selection.height() > height())
        m_selection.setHeight(height());
}

void RegionSelect::placeActionMenu()
{
    const int W = width();
    const int H = height();
    const QRect& s = m_selection;
    // Under the selection where there is room, else inside its lower edge.
    const int top =
        H - s.y() - s.height() >= kMenuRoom ? s.y() + s.height() + kMenuGap : s.y() + s.height() - kMenuRoom;
    QRect menu(s.x(), top, kMenuWidth, kMenuHeight);
    if (menu.x() + menu.width() > W)
        menu.moveLeft(W - menu.width());
    if (menu.y() + menu.height() > H)
        menu.moveTop(H - menu.height());
    if (menu.x() < 0)
        menu.moveLeft(0);
    if (menu.y() < 0)
        menu.moveTop(0);
    m_actionMenuRect = menu;
}

void RegionSelect::release(Qt::MouseButton button)
{
    if (button == Qt::LeftButton) {
        if (m_runState == Common::NONE) {
            if (m_selection.width() < 1 || m_selection.height() < 1) {
                reload();
            } else {
                setActionMenuVisible(true);
                m_newSelection = false;
            }
            return;
        }
        // A rectangle below the smallest size cancels the whole selection.
        if (usable()) {
            if (m_runState == Common::SCREENSHOT)
                runScreen();
            else if (m_runState == Common::VIDERECORDING)
                runRec();
        } else {
            qDebug() << "[RS]:"
                     << "selection" << m_selection.width() << "x" << m_selection.height()
                     << "below the smallest usable size, cancelled";
        }
        hideScreenDialog();
    } else if (button == Qt::RightButton) {
        hideScreenDialog();
    }
}

void RegionSelect::hover(const QPoint& p)
{
    if (m_selection.width() == 0 || m_selection.height() == 0)
        return;
    const bool left = std::abs(p.x() - m_selection.x()) < kEdgeGrab;
    const bool right = std::abs(p.x() - (m_selection.x() + m_selection.width())) < kEdgeGrab;
    const bool top = std::abs(p.y() - m_selection.y()) < kEdgeGrab;
    const bool bottom = std::abs(p.y() - (m_selection.y() + m_selection.height())) < kEdgeGrab;
    const bool positive = m_selection.width() > 0 && m_selection.height() > 0;
    if (actionMenuVisible() && m_actionMenuRect.contains(p))
        setCursor(Qt::ArrowCursor);
    else if ((left && top) || (right && bottom))
        setCursor(Qt::SizeFDiagCursor);
    else if ((left && bottom) || (right && top))
        setCursor(Qt::SizeBDiagCursor);
    else if (left || right)
        setCursor(Qt::SizeHorCursor);
    else if (top || bottom)
        setCursor(Qt::SizeVerCursor);
    else if (positive && m_selection.contains(p))
        setCursor(Qt::OpenHandCursor);
    else if (m_actionMenuRect.contains(p))
        setCursor(Qt::ArrowCursor);
    else
        setCursor(m_crossCursor);
}
