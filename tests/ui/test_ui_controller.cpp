// The interface controller on an X server of the test's own: its published
// state and setters, the recording time texts, the camera size, the server's
// QML snippet, the still image handed to the editor, the overlay map, the
// selected rectangle in physical pixels and the window masks. Run once as is
// and once with QT_SCALE_FACTOR=2 (the rectangle case only).
#include "AppController.h"
#include "DimensionsBase.h"
#include "InterfaceRegistration.h"
#include "PrivateDisplayMain.h"
#include "RegionSelect.h"
#include "ScreenshotImageProvider.h"
#include "SettingsManager.h"
#include "UIController.h"
#include "WindowMasks.h"

#include <QApplication>
#include <QMetaProperty>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQmlContext>
#include <QScreen>
#include <QWindow>
#include <QtTest>

#include <optional>

class TestUiController : public QObject
{
    Q_OBJECT

    AppController* controller = nullptr;
    UIController* ui = nullptr;
    std::optional<LogCapture> log; // made once the test library has installed its own handler

private slots:
    void initTestCase()
    {
        log.emplace();
        registerInterfaceTypes();
        controller = new AppController();
        ui = new UIController(controller);
        controller->setInterfacePort(ui);
    }

    void cleanupTestCase()
    {
        controller->setInterfacePort(nullptr);
        delete ui;
        delete controller;
    }

    // The sign-in page gets the web channel's script, carried in the program;
    // a blank page gets none. A dialog without an address is never asked for.
    void signInDialogRequests()
    {
        QSignalSpy shown(ui, &UIController::showCredentialsDialog);
        LogCapture::clear();
        QVERIFY(ui->credentialsApiScript("about:blank").isEmpty());
        QVERIFY(ui->credentialsApiScript("http://127.0.0.1/account#signIn").contains("var QWebChannel = function"));
        QVERIFY(!LogCapture::contains("Couldn't load Qt's QWebChannel API!"));
        ui->showCredentials(QString(), "Log-In");
        QVERIFY(LogCapture::contains("[UIC]: showCredentials: empty URI, aborting"));
        ui->showCredentials("http://127.0.0.1/account#signIn", "Log-In");
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown.first(), QVariantList({"http://127.0.0.1/account#signIn", "Log-In"}));
    }

    // Each setter logs its name and signals a real change only; the login state signals every time.
    void settersSignalRealChanges_data()
    {
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("signalsForTwoWrites");
        QTest::newRow("xmlMessage") << QByteArray("xmlMessage") << QVariant("Text {}") << 1;
        QTest::newRow("webcamsModel") << QByteArray("webcamsModel") << QVariant(QStringList{"Cam"}) << 1;
        QTest::newRow("currentWebcam") << QByteArray("currentWebcam") << QVariant(-1) << 1;
        QTest::newRow("loginState") << QByteArray("loginState") << QVariant(int(UIController::LOGIN)) << 2;
        QTest::newRow("quality4KVisible") << QByteArray("quality4KVisible") << QVariant(false) << 1;
        QTest::newRow("enableUpdateApp") << QByteArray("enableUpdateApp") << QVariant(false) << 1;
        QTest::newRow("updateAppStatus") << QByteArray("updateAppStatus")
                                         << QVariant(int(InterfacePort::NewVersionAvaliable)) << 1;
        QTest::newRow("version") << QByteArray("version") << QVariant("5.0.31") << 1;
        QTest::newRow("recTime") << QByteArray("recTime") << QVariant("00:01") << 1;
        QTest::newRow("shortRecTime") << QByteArray("shortRecTime") << QVariant("00:01") << 1;
        QTest::newRow("dwmIsCompositionEnabled") << QByteArray("dwmIsCompositionEnabled") << QVariant(true) << 1;
    }

    void settersSignalRealChanges()
    {
        QFETCH(QByteArray, property);
        QFETCH(QVariant, value);
        QFETCH(int, signalsForTwoWrites);
        const QMetaProperty meta = ui->metaObject()->property(ui->metaObject()->indexOfProperty(property));
        QSignalSpy changed(ui, meta.notifySignal());
        LogCapture::clear();
        QVERIFY(meta.write(ui, value) && meta.write(ui, value));
        QCOMPARE(changed.count(), signalsForTwoWrites);
        const QVariant now = meta.read(ui);
        QCOMPARE(meta.isEnumType() ? QVariant(now.toInt()) : now, value);
        const QString setter = "set" + QString(property).left(1).toUpper() + QString(property).mid(1);
        QCOMPARE(LogCapture::lineCount("[UIC]: " + setter), 2);
    }

    void initialStateAndScene()
    {
        UIController fresh(controller);
        QCOMPARE(fresh.proxysModel(), (QStringList{"Default", "Socks5", "HTTP", "Cache HTTP"}));
        QCOMPARE(fresh.loginState(), UIController::NOLOGIN);
        QCOMPARE(fresh.version(), QString("1.0.75"));
        QVERIFY(fresh.quality4KVisible() && fresh.enableUpdateApp() && fresh.recTime() == "00:00");
        // The published objects and the registered types, as QML reaches them.
        QVERIFY(fresh.engine()->importPathList().contains("qrc:/qml/Common"));
        QQmlComponent component(fresh.engine());
        component.setData("import QtQuick\nimport DimensionsBase.Internals 1.0\nimport UIController 1.0\n"
                          "QtObject { property DimensionsBase made: DimensionsBase {}\n"
                          "property var got: [Dimensions.x(3), Dimensions.y(250), "
                          "uiController.loginState === UIController.NOLOGIN, UpdateAppStatus.NewVersionAvaliable, "
                          "uiController.updateAppStatus === UpdateAppStatus.NoNewVersion, "
                          "uiController.recTime, applicationDirPath.length > 0, keysequence !== null, "
                          "process !== null, settingsManager !== null, appController !== null, made !== null] }",
                          QUrl("qrc:/test.qml"));
        std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object, qPrintable(component.errorString()));
        QCOMPARE(object->property("got").toList(),
                 (QVariantList{2, 100, true, 8, true, "00:00", true, true, true, true, true, true}));
        // Without a scene the recording frame's mask can't be found.
        LogCapture::clear();
        fresh.clearMaskRecordingRectangle();
        QCOMPARE(LogCapture::lineCount("[UIC]: Error load main.qml"), 1);
    }

    void recordingTimeTexts()
    {
        ui->setRecTime("00:00");
        ui->setShortRecTime("00:00");
        QSignalSpy changed(ui, &UIController::recTimeChanged);
        const QList<std::tuple<qlonglong, QString, QString>> steps{
            {59, "00:59", "00:59"},        {3599, "59:59", "59:59"},      {3600, "01:00:00", "01:00"},
            {86399, "23:59:59", "23:59"},  {86400, "2:00:00:00", "2:00"}, // the calendar day
            {90061, "2:01:01:01", "2:01"}, {-5, "2:01:01:01", "2:01"},    // refused
        };
        for (const auto& [t, full, brief] : steps) {
            ui->updateVolumeTiming(t, 0.5);
            QCOMPARE(ui->recTime(), full);
            QCOMPARE(ui->shortRecTime(), brief);
        }
        QCOMPARE(changed.count(), 6);
        ui->updateVolumeTiming(90061, 0.0); // the second shown already
        QCOMPARE(changed.count(), 6);
    }

    void cameraSizeIsClamped_data()
    {
        QTest::addColumn<double>("stored");
        QTest::addColumn<double>("percentage");
        QTest::newRow("below") << 3.0 << 5.0;
        QTest::newRow("lowest") << 5.0 << 5.0;
        QTest::newRow("inside") << 20.5 << 20.5;
        QTest::newRow("above") << 250.0 << 100.0;
    }

    void cameraSizeIsClamped()
    {
        QFETCH(double, stored);
        QFETCH(double, percentage);
        SettingsManager::instance()->writeSetting("camera_size_percentage", stored);
        QCOMPARE(ui->camera_size_percentage(), percentage);
    }

    void serverSnippetIsRewritten()
    {
        const QString sent = "import Common.Singletons 1.0\nText { font { family: interMedium.name\n"
                             "pixelSize: 12 }\nonLinkActivated: skinsController.showGallery() }";
        const QString stored =
            "import Singletons 1.0\nText { font { \npixelSize: 12 }\nonLinkActivated: uiController.showGallery() }";
        QSignalSpy changed(ui, &UIController::xmlMessageChanged);
        ui->setXmlMessage(sent);
        QCOMPARE(ui->xmlMessage(), stored);
        // Texts that rewrite to the stored one change nothing.
        ui->setXmlMessage(stored);
        ui->setXmlMessage(sent);
        QCOMPARE(changed.count(), 1);
    }

    void stillGoesToTheEditor_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QString>("ratioText");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QVariantList>("request");
        QTest::newRow("small, no ratio") << QSize(100, 80) << QString() << "17.11.2025_19.41.26_REC.png"
                                         << QVariantList{"17.11.2025_19.41.26_REC", 350, 200, 7u, 1.0f};
        QTest::newRow("large, ratio 2") << QSize(800, 600) << "2"
                                        << "a.b.png" << QVariantList{"a.b", 800, 600, 7u, 2.0f};
    }

    void stillGoesToTheEditor()
    {
        QFETCH(QSize, size);
        QFETCH(QString, ratioText);
        QFETCH(QString, name);
        QFETCH(QVariantList, request);
        QImage image(size, QImage::Format_ARGB32);
        image.fill(Qt::red);
        if (!ratioText.isEmpty())
            image.setText("devicePixelRatio", ratioText);
        QFile::remove(ui->getImagePath());
        QSignalSpy editor(ui, &UIController::showImageEditorDialogSignal);
        ui->showImageEditorDialog(&image, &name, 7);
        QCOMPARE(editor.count(), 1);
        QCOMPARE(editor.first(), request);
        QCOMPARE(QImage(ui->getImagePath()).size(), size);
    }

    void overlayMapKeepsOneOverlayPerScreen()
    {
        const QRect g = QGuiApplication::primaryScreen()->geometry();
        ui->showScreenDialog(Common::NONE, 0, g.x(), g.y(), g.width(), g.height());
        RegionSelect* first = ui->regionSelects().value(0).data();
        QVERIFY(QTest::qWaitForWindowExposed(first));
        QCOMPARE(first->windowTitle(), QString("regionSelect0"));
        const qint64 snapshotKey = first->snapshot().cacheKey();
        // Again while it shows (the hot key pressed twice): the open pass goes on.
        ui->showScreenDialog(Common::NONE, 0, g.x(), g.y(), g.width(), g.height());
        QCOMPARE(first->snapshot().cacheKey(), snapshotKey);
        ui->clearScreenshots(); // kept while the selection is open
        QVERIFY(!ui->screenshotProvider()->snapshot(0).isNull());
        ui->hideScreenDialogs();
        QVERIFY(!first->isVisible());
        // Again after it closed: the same overlay, reopened with a fresh snapshot.
        LogCapture::clear();
        ui->showScreenDialog(Common::SCREENSHOT, 0, g.x(), g.y(), g.width(), g.height());
        QCOMPARE(ui->regionSelects().size(), 1);
        QCOMPARE(ui->regionSelects().value(0).data(), first);
        QVERIFY(first->isVisible() && first->snapshot().cacheKey() != snapshotKey);
        QCOMPARE(LogCapture::lineCount("[UIC]: Updating RegionSelect at index 0"), 1);
        ui->hideScreenDialogs();
    }

    // Only the offset from the screen's origin is scaled by the snapshot's ratio.
    void selectedRectangle_data()
    {
        QTest::addColumn<QRect>("logical");
        QTest::addColumn<QRect>("atRatio1");
        QTest::addColumn<QRect>("atRatio2");
        QTest::newRow("inside") << QRect(100, 50, 350, 200) << QRect(100, 50, 350, 200) << QRect(200, 100, 700, 400);
        QTest::newRow("negative x") << QRect(-10, 4, 20, 10) << QRect(-10, 4, 20, 10) << QRect(-20, 8, 40, 20);
        QTest::newRow("odd size, logged only")
            << QRect(1, 1, 351, 201) << QRect(1, 1, 351, 201) << QRect(2, 2, 702, 402);
    }

    void selectedRectangle()
    {
        QFETCH(QRect, logical);
        QFETCH(QRect, atRatio1);
        QFETCH(QRect, atRatio2);
        const double ratio = QGuiApplication::primaryScreen()->devicePixelRatio();
        QVERIFY(ratio == 1.0 || ratio == 2.0);
        // With the screen's snapshot in the provider, and without one.
        for (const bool withSnapshot : {true, false}) {
            if (withSnapshot)
                QCOMPARE(ui->screenshotProvider()->requestPixmap(0).devicePixelRatio(), ratio);
            else
                ui->screenshotProvider()->clear();
            LogCapture::clear();
            ui->setSelectedRectangle(logical.x(), logical.y(), logical.width(), logical.height(), 0);
            QCOMPARE(ui->selectedRectangle(), ratio == 2.0 ? atRatio2 : atRatio1);
            QCOMPARE(LogCapture::count("[SC_SR]"), 21);
            QCOMPARE(LogCapture::count("ERROR!!! width not divisible by 2"), logical.width() % 2);
        }
        QVERIFY(!ui->checkSelectedVideoRectangle(351, 200) && !ui->checkSelectedVideoRectangle(350, 201));
        QVERIFY(ui->checkSelectedVideoRectangle(350, 200));
    }

    void masksFollowTheWindow()
    {
        QWindow window;
        window.setGeometry(100, 100, 200, 100);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        for (const QSize size : {QSize(200, 100), QSize(300, 150)}) {
            window.resize(size);
            QTRY_COMPARE(window.geometry().size(), size);
            ui->setDialogMask(&window, 10);
            const QRegion mask = window.mask();
            QCOMPARE(mask.boundingRect(), QRect(QPoint(0, 0), size));
            QVERIFY(!mask.contains(QPoint(0, 0)) && !mask.contains(QPoint(size.width() - 1, size.height() - 1)));
            QVERIFY(mask.contains(QPoint(size.width() / 2, 0)) && mask.contains(QPoint(0, size.height() / 2)));
            QVERIFY(!mask.contains(QPoint(1, 1)) && mask.contains(QPoint(6, 6)));
        }
        // The recording frame keeps its edge only; the editor its body and the panel at its left.
        ui->setRecordingFrameMask(&window, 4);
        QVERIFY(window.mask().contains(QPoint(1, 75)) && window.mask().contains(QPoint(150, 147)));
        QVERIFY(!window.mask().contains(QPoint(150, 75)) && !window.mask().contains(QPoint(4, 4)));
        ui->setImgEditorDialogMask(&window, 5, 0, 40, 30, 60);
        QCOMPARE(window.mask(), WindowMasks::imageEditor(QSize(300, 150), 5, QRect(0, 40, 30, 60)));
        QVERIFY(window.mask().contains(QPoint(15, 70)) && !window.mask().contains(QPoint(15, 10)));
        ui->setDialogMask(nullptr, 10); // ignored
    }
};

ORLUNE_TEST_MAIN_ON_PRIVATE_DISPLAY(TestUiController)

#include "test_ui_controller.moc"
