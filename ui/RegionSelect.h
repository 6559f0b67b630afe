#pragma once

#include "Common.h"

#include <QCursor>
#include <QPixmap>
#include <QPoint>
#include <QRect>
#include <QWidget>

class AppController;
class QQuickWidget;
class UIController;

// The selection overlay of one screen: a frameless window over the whole
// screen that shows a frozen snapshot of it, darkens all but the selection
// and lets the user draw, move and resize one rectangle. A small QML scene
// (ScreenWidget.qml) above the picture carries the help text and the action
// menu. The choice goes to UIController::captureImage for a still image or to
// AppController::showVideoRecordingDialog for a recording.
class RegionSelect : public QWidget
{
    Q_OBJECT

public:
    // Smallest usable selection, both inclusive.
    static constexpr int kMinWidth = 16;
    static constexpr int kMinHeight = 8;
    static constexpr int kEdgeGrab = 4; // a point is on an edge below this distance
    static constexpr int kMenuWidth = 344;
    static constexpr int kMenuHeight = 60;
    static constexpr int kMenuRoom = 65; // room below the selection that the menu needs
    static constexpr int kMenuGap = 5;

    RegionSelect(AppController* appController, UIController* ui, Common::RunState runState, int screenIndex, int x,
                 int y, int width, int height);
    ~RegionSelect() override;

    // Opens the overlay for another pass: new run state and geometry, a fresh
    // snapshot and no selection.
    void reopen(Common::RunState runState, int x, int y, int width, int height);

    int screenIndex() const { return m_screenIndex; }
    QRect selection() const { return m_selection; }
    QRect actionMenuRect() const { return m_actionMenuRect; }
    bool actionMenuVisible() const;
    QQuickWidget* scene() const { return m_sceneWidget; }
    QPixmap snapshot() const { return m_snapshot; }

public slots:
    void closeSelector();
    void hideScreenDialog();
    void hideDialog();
    void runScreen();
    void runRec();
    void reload();
    void closeClicked();
    void currentScreenIndexChanged(int screenIndex);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void press(const QPoint& point);
    void release(Qt::MouseButton button);
    void hover(const QPoint& point);
    // A new selection of no size at a point of the overlay.
    void startSelection(const QPoint& point);
    // The drag mode an edge, a corner or the inside of the selection gives at a point.
    int dragModeAt(const QPoint& point) const;
    void applyDrag(const QPoint& point);
    // Keeps the selection on the overlay.
    void bound();
    void placeActionMenu();
    void setActionMenuVisible(bool visible);
    // Writes the selection and the menu rectangle to the scene.
    void publish();
    void takeSnapshot();
    void setGeometryAndLimits(int x, int y, int width, int height);
    bool usable() const { return m_selection.width() >= kMinWidth && m_selection.height() >= kMinHeight; }

    QRect m_windowGeometry;
    QRect m_selection;
    QRect m_actionMenuRect;
    QPoint m_anchor;
    QPoint m_lastPosition;
    int m_dragMode = 0;
    QPoint m_moveOffset;
    QPoint m_unusedPoint;
    bool m_newSelection = true;
    QPixmap m_snapshot;
    QCursor m_crossCursor;
    AppController* m_appController; // not owned
    UIController* m_ui;             // not owned
    QObject* m_root = nullptr;
    QQuickWidget* m_sceneWidget = nullptr;
    int m_screenIndex;
    int m_runState;
    // Releases are handled where they arrive first, on the scene's widget,
    // which keeps them. Should one come on to the overlay as well, it counts once.
    bool m_releaseHandledOnScene = false;
};
