// Selection overlays on an X server of the test's own, driven by mouse
// events through the window system as the user's pointer would: drawing,
// moving and finishing a selection, the action menu, one selection across
// screens, cancelling, and screens that come or go. No main.qml is loaded,
// so the controller closes the selection itself when asked to.
#include "AppController.h"
#include "PrivateDisplayMain.h"
#include "QHotkey.h"
#include "RegionSelect.h"
#include "UIController.h"

#include <QApplication>
#include <QQuickItem>
#include <QQuickWidget>
#include <QQuickWindow>
#include <QScreen>
#include <QtTest>

#include <optional>

class TestRegionSelect : public QObject
{
    Q_OBJECT

    AppController* controller = nullptr;
    UIController* ui = nullptr;
    QWidget* backdrop = nullptr;
    std::optional<LogCapture> log; // made once the test library has installed its own handler

    RegionSelect* open(Common::RunState state, int index = 0, QRect geometry = QRect())
    {
        if (geometry.isNull())
            geometry = QGuiApplication::primaryScreen()->geometry();
        ui->showScreenDialog(state, index, geometry.x(), geometry.y(), geometry.width(), geometry.height());
        RegionSelect* overlay = ui->regionSelects().value(index).data();
        return QTest::qWaitForWindowExposed(overlay) ? overlay : nullptr;
    }

    static void drag(RegionSelect* overlay, const QList<QPoint>& path, Qt::MouseButton button = Qt::LeftButton)
    {
        QWindow* window = overlay->windowHandle();
        QTest::mousePress(window, button, {}, path.first());
        for (const QPoint& p : path.mid(1))
            QTest::mouseMove(window, p);
        QTest::mouseRelease(window, button, {}, path.last());
    }

    static QVariant sceneValue(RegionSelect* overlay, const char* name)
    {
        return overlay->scene()->rootObject()->property(name);
    }

private slots:
    void initTestCase()
    {
        log.emplace();
        controller = new AppController();
        ui = new UIController(controller);
        controller->setInterfacePort(ui);
        // A white desktop, so that the snapshot shows what the overlay dims.
        backdrop = new QWidget();
        backdrop->setStyleSheet("background: white");
        backdrop->setGeometry(QGuiApplication::primaryScreen()->geometry());
        backdrop->show();
        QVERIFY(QTest::qWaitForWindowExposed(backdrop));
    }

    void cleanupTestCase()
    {
        controller->setInterfacePort(nullptr);
        delete ui;
        delete controller;
        delete backdrop;
    }

    void init()
    {
        ui->hideScreenDialogs();
        controller->setVideoState(Common::Idle);
        // Without a compositor the desktop repaints itself once the overlays
        // went; the next snapshot must show it, not what covered it.
        QTRY_COMPARE(QGuiApplication::primaryScreen()->grabWindow(0).toImage().pixel(108, 104), qRgb(255, 255, 255));
    }

    void dragSelectsPaintsAndOpensTheMenu()
    {
        RegionSelect* overlay = open(Common::NONE);
        QVERIFY(overlay && overlay->scene()->rootObject());
        QCOMPARE(overlay->windowTitle(), QString("regionSelect0"));
        QTRY_VERIFY(!overlay->snapshot().isNull());
        drag(overlay, {{100, 100}, {150, 140}, {300, 250}});
        QCOMPARE(overlay->selection(), QRect(100, 100, 201, 151));
        QCOMPARE(overlay->actionMenuRect(), QRect(100, 256, 344, 60));
        const QVariantList published{
            sceneValue(overlay, "selectRectangleX"), sceneValue(overlay, "selectRectangleWidth"),
            sceneValue(overlay, "actionMenuRectangleY"), sceneValue(overlay, "actionMenuVisible")};
        QCOMPARE(published, (QVariantList{100, 201, 256, true}));
        QVERIFY(overlay->scene()->rootObject()->findChild<QQuickItem*>("actionMenu")->isVisible());

        // The snapshot, dimmed outside the selection, clear inside, with the red dashed frame.
        const QImage shot = overlay->grab().toImage();
        QVERIFY(qAbs(qRed(shot.pixel(50, 50)) - 127) <= 2 && qRed(shot.pixel(50, 50)) == qBlue(shot.pixel(50, 50)));
        QCOMPARE(shot.pixel(200, 200), qRgb(255, 255, 255));
        int red = 0;
        for (int x = 100; x <= 300; ++x)
            red += qRed(shot.pixel(x, 100)) > 200 && qGreen(shot.pixel(x, 100)) < 80;
        QVERIFY2(red > 50 && red < 190, qPrintable(QString::number(red))); // dashed

        // Resting on a button shows its tip above it, after a moment.
        QWindow* window = overlay->windowHandle();
        auto* tip = overlay->scene()->rootObject()->findChild<QQuickWindow*>("screenToolTip");
        QTest::mouseMove(window, QPoint(100 + 10 + 21, 256 + 21)); // the camera button
        QVERIFY(!tip->isVisible());
        QTRY_VERIFY(tip->isVisible());
        QCOMPARE(tip->property("text").toString(), QString("Take a screenshot"));
        QCOMPARE(tip->geometry().bottom() + 1, 256 + 9 + 5);

        // A press on the menu leaves it open; its reload button drops the selection.
        QTest::mouseClick(window, Qt::LeftButton, {}, QPoint(100 + 310, 256 + 30)); // the size text
        QCOMPARE(overlay->selection(), QRect(100, 100, 201, 151));
        QVERIFY(overlay->actionMenuVisible());
        QTest::mouseClick(window, Qt::LeftButton, {}, QPoint(100 + 10 + 2 * 49 + 21, 256 + 21));
        QTRY_COMPARE(overlay->selection(), QRect());
        QVERIFY(!overlay->actionMenuVisible() && overlay->isVisible() && !tip->isVisible());
    }

    void moveKeepsTheSizeAndStopsAtTheEdge()
    {
        RegionSelect* overlay = open(Common::NONE);
        QVERIFY(overlay);
        drag(overlay, {{100, 100}, {-50, -30}}); // a new one, drawn off the screen
        QCOMPARE(overlay->selection(), QRect(0, 0, 101, 101));
        drag(overlay, {{200, 200}, {400, 300}});
        QCOMPARE(overlay->selection(), QRect(200, 200, 201, 101));
        drag(overlay, {{300, 250}, {250, 260}, {50, 250}, {-100, 250}});
        QCOMPARE(overlay->selection(), QRect(0, 200, 201, 101));
        QVERIFY(overlay->actionMenuVisible()); // hidden while moving, back on release
        // The right edge, dragged beyond the left one, stops short of it.
        drag(overlay, {{201, 230}, {100, 230}, {-50, 230}});
        QCOMPARE(overlay->selection(), QRect(0, 200, 101, 101));
    }

    void menuPlacement_data()
    {
        QTest::addColumn<QPoint>("from");
        QTest::addColumn<QPoint>("to");
        QTest::addColumn<QRect>("menu");
        QTest::newRow("below the selection") << QPoint(100, 100) << QPoint(300, 250) << QRect(100, 256, 344, 60);
        QTest::newRow("inside, near the bottom") << QPoint(100, 600) << QPoint(300, 680) << QRect(100, 616, 344, 60);
        QTest::newRow("kept on the screen's right")
            << QPoint(1100, 100) << QPoint(1200, 200) << QRect(936, 206, 344, 60);
    }

    void menuPlacement()
    {
        QFETCH(QPoint, from);
        QFETCH(QPoint, to);
        QFETCH(QRect, menu);
        RegionSelect* overlay = open(Common::NONE);
        QVERIFY(overlay);
        drag(overlay, {from, to});
        QCOMPARE(overlay->actionMenuRect(), menu);
    }

    // With a run state the release acts at once, for a rectangle of at least 16 by 8.
    void releaseRunsOnlyUsableRectangles_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<QPoint>("to");
        QTest::addColumn<bool>("runs");
        QTest::newRow("recording 15 x 100") << int(Common::VIDERECORDING) << QPoint(114, 199) << false;
        QTest::newRow("recording 100 x 7") << int(Common::VIDERECORDING) << QPoint(199, 106) << false;
        QTest::newRow("recording 16 x 8") << int(Common::VIDERECORDING) << QPoint(115, 107) << true;
        QTest::newRow("recording 17 x 9, made even") << int(Common::VIDERECORDING) << QPoint(116, 108) << true;
        QTest::newRow("screenshot 15 x 8") << int(Common::SCREENSHOT) << QPoint(114, 107) << false;
        QTest::newRow("screenshot 16 x 8") << int(Common::SCREENSHOT) << QPoint(115, 107) << true;
    }

    void releaseRunsOnlyUsableRectangles()
    {
        QFETCH(int, state);
        QFETCH(QPoint, to);
        QFETCH(bool, runs);
        RegionSelect* overlay = open(Common::RunState(state));
        QVERIFY(overlay);
        QSignalSpy recording(ui, &UIControllerSignals::showVideoRecordingDialogSignal);
        QSignalSpy editor(ui, &UIController::showImageEditorDialogSignal);
        QSignalSpy closed(ui, &UIControllerSignals::hideScreenDialogSignal);
        drag(overlay, {{100, 100}, to});
        QCOMPARE(closed.count(), runs ? 2 : 1); // a run closes, then the release once more
        QVERIFY(!overlay->isVisible() && overlay->selection().isNull() && overlay->snapshot().isNull());
        if (state == Common::VIDERECORDING) {
            QCOMPARE(recording.count(), int(runs));
            QCOMPARE(controller->getVideoState(), runs ? Common::Busy : Common::Idle);
            if (runs)
                QCOMPARE(recording.first(), (QVariantList{100, 100, 16, 8, 0}));
        } else {
            QCOMPARE(editor.count(), int(runs));
            if (runs) {
                QCOMPARE(editor.first().mid(1), (QVariantList{350, 200, 0u, 1.0f}));
                QCOMPARE(QImage(ui->getImagePath()).pixel(8, 4), qRgb(255, 255, 255));
            }
        }
    }

    // From the controller's opening to a right click, which closes the selection.
    void rightClickCancels()
    {
        controller->showScreenDialogs(Common::NONE);
        RegionSelect* overlay = ui->regionSelects().value(0).data();
        QVERIFY(QTest::qWaitForWindowExposed(overlay));
        QVERIFY(controller->escHotkey && !controller->startStopHotkey->isRegistered());
        drag(overlay, {{100, 100}, {300, 300}});
        QSignalSpy closed(ui, &UIControllerSignals::hideScreenDialogSignal);
        QTest::mouseClick(overlay->windowHandle(), Qt::RightButton, {}, QPoint(700, 500));
        QCOMPARE(closed.count(), 1);
        QVERIFY(!overlay->isVisible() && !controller->escHotkey);
    }

    void oneSelectionAcrossScreensAndScreenChanges()
    {
        RegionSelect* left = open(Common::NONE, 0, QRect(0, 0, 640, 720));
        RegionSelect* right = open(Common::NONE, 1, QRect(640, 0, 640, 720));
        QVERIFY(left && right);
        drag(left, {{100, 100}, {300, 300}});
        QCOMPARE(left->selection(), QRect(100, 100, 201, 201));
        QTest::mousePress(right->windowHandle(), Qt::LeftButton, {}, QPoint(50, 60));
        QCOMPARE(left->selection(), QRect());
        QCOMPARE(right->selection().topLeft(), QPoint(50, 60));
        QTest::mouseMove(right->windowHandle(), QPoint(150, 160));
        QTest::mouseRelease(right->windowHandle(), Qt::LeftButton, {}, QPoint(150, 160));
        QCOMPARE(right->selection(), QRect(50, 60, 101, 101));

        // A screen comes while selecting: the selection closes, and the overlay
        // whose index names no screen goes.
        QSignalSpy closed(ui, &UIControllerSignals::hideScreenDialogSignal);
        emit qGuiApp->screenAdded(QGuiApplication::primaryScreen());
        QCOMPARE(closed.count(), 1);
        QCOMPARE(ui->regionSelects().keys(), QList<int>{0});
        QVERIFY(!left->isVisible());
        QVERIFY(open(Common::NONE));
    }
};

ORLUNE_TEST_MAIN_ON_PRIVATE_DISPLAY(TestRegionSelect)

#include "test_region_select.moc"
