#pragma once

#include "Common.h"
#include "InterfacePort.h"
#include "UIControllerSignals.h"

#include <QImage>
#include <QMap>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QSharedPointer>
#include <QString>
#include <QStringList>

class AppController;
class QQmlApplicationEngine;
class QScreen;
class QWindow;
class RegionSelect;
class ScreenshotImageProvider;

// Stands between the native side and the QML interface: owns the QML engine
// and its scene, publishes the native objects to QML, holds the state QML
// binds to, keeps one RegionSelect overlay per screen and applies window
// masks. Native requests become signals that main.qml answers.
//
// It is the interface the capture controller talks to (InterfacePort); the
// port calls that share a name with a signal emit that signal.
class UIController : public UIControllerSignals, public InterfacePort
{
    Q_OBJECT
    Q_PROPERTY(QString xmlMessage READ xmlMessage WRITE setXmlMessage NOTIFY xmlMessageChanged)
    Q_PROPERTY(QStringList webcamsModel READ webcamsModel WRITE setWebcamsModel NOTIFY webcamsModelChanged)
    Q_PROPERTY(int currentWebcam READ currentWebcam WRITE setCurrentWebcam NOTIFY currentWebcamChanged)
    Q_PROPERTY(QStringList proxysModel READ proxysModel NOTIFY proxysModelChanged)
    Q_PROPERTY(LoginState loginState READ loginState WRITE setLoginState NOTIFY loginStateChanged)
    Q_PROPERTY(bool quality4KVisible READ quality4KVisible WRITE setQuality4KVisible NOTIFY quality4KVisibleChanged)
    Q_PROPERTY(bool enableUpdateApp READ enableUpdateApp WRITE setEnableUpdateApp NOTIFY enableUpdateAppChanged)
    Q_PROPERTY(InterfacePort::UpdateAppStatus updateAppStatus READ updateAppStatus WRITE setUpdateAppStatus NOTIFY
                   updateAppStatusChanged)
    Q_PROPERTY(QString version READ version WRITE setVersion NOTIFY versionChanged)
    Q_PROPERTY(QString recTime READ recTime WRITE setRecTime NOTIFY recTimeChanged)
    Q_PROPERTY(QString shortRecTime READ shortRecTime WRITE setShortRecTime NOTIFY shortRecTimeChanged)
    // The product's contact page, for the settings window's menu.
    Q_PROPERTY(QString contactUrl READ contactUrl CONSTANT)
    Q_PROPERTY(bool dwmIsCompositionEnabled READ dwmIsCompositionEnabled WRITE setDwmIsCompositionEnabled NOTIFY
                   dwmIsCompositionEnabledChanged)

public:
    enum LoginState {
        LOGIN = 0,
        NOLOGIN = 1,
        OFFLINE = 2,
    };
    Q_ENUM(LoginState)

    using RegionSelectMap = QMap<int, QSharedPointer<RegionSelect>>;

    explicit UIController(AppController* appController, QObject* parent = nullptr);
    ~UIController() override;

    bool present() const override { return true; }

    QString xmlMessage() const { return m_xmlMessage; }
    QStringList webcamsModel() const { return m_webcamsModel; }
    int currentWebcam() const override { return m_currentWebcam; }
    QStringList proxysModel() const { return m_proxysModel; }
    LoginState loginState() const { return m_loginState; }
    bool quality4KVisible() const { return m_quality4KVisible; }
    bool enableUpdateApp() const { return m_enableUpdateApp; }
    UpdateAppStatus updateAppStatus() const { return m_updateAppStatus; }
    QString version() const { return m_version; }
    QString recTime() const { return m_recTime; }
    QString shortRecTime() const { return m_shortRecTime; }
    bool dwmIsCompositionEnabled() const override { return m_dwmIsCompositionEnabled; }
    QString contactUrl() const;

    QQmlApplicationEngine* engine() const { return m_engine.data(); }
    // Owned by the engine; replaced with it.
    ScreenshotImageProvider* screenshotProvider() const { return m_imageProvider; }
    const RegionSelectMap& regionSelects() const { return m_regionSelects; }

    // The state as the controller sets it (port calls).
    void setLoginState(int state) override;
    void clearScreenshots() override;

    // Port calls that emit the signal of the same name.
    void showFirstDialogSignal() override { emit UIControllerSignals::showFirstDialogSignal(); }
    void hideFirstDialog() override { emit UIControllerSignals::hideFirstDialog(); }
    void showSettingsSignal() override { emit UIControllerSignals::showSettingsSignal(); }
    void showScreenPermissionDialog() override { emit UIControllerSignals::showScreenPermissionDialog(); }
    void showVideoPermissionDialog() override { emit UIControllerSignals::showVideoPermissionDialog(); }
    void showAudioPermissionDialog() override { emit UIControllerSignals::showAudioPermissionDialog(); }
    void hideScreenDialogSignal() override { emit UIControllerSignals::hideScreenDialogSignal(); }
    // main.qml shows the recording frame, which starts the recording. An odd
    // width or height loses its last pixel.
    bool showVideoRecordingDialogSignal(int x, int y, int width, int height, int screenIndex) override;
    void uploadedFileId(uint file_id) override { emit UIControllerSignals::uploadedFileId(file_id); }
    void updateGallery(uint file_id) override { emit UIControllerSignals::updateGallery(file_id); }
    void updateUserState(ulong user_state) override { emit UIControllerSignals::updateUserState(user_state); }
    void updateGalleryGotShareURL(QString link, uint file_id) override
    {
        emit UIControllerSignals::updateGalleryGotShareURL(link, file_id);
    }
    // The page has handed its credentials over, or the program ends: the sign-in dialog closes.
    void closeCredentials() override { emit UIControllerSignals::closeCredentialsDialog(); }
    void closeCredentialsDialog() override { emit UIControllerSignals::closeCredentialsDialog(); }

    // The script run in the sign-in page once it has loaded: the web channel's
    // page script, so that the page can reach the native side; empty for a blank page.
    Q_INVOKABLE QString credentialsApiScript(QString uri);

    Q_INVOKABLE QPoint cursorPos() const;
    Q_INVOKABLE QString getImagePath() const;
    Q_INVOKABLE QString getAppPath() const;
    Q_INVOKABLE double camera_size_percentage() const;
    Q_INVOKABLE bool checkSelectedVideoRectangle(int width, int height) const;
    Q_INVOKABLE QRect selectedRectangle() const override { return m_selectedRectangle; }

public slots:
    void qmlApplicationEngineInit() override;
    void loadMainUI() override;

    void setXmlMessage(QString xmlMessage) override;
    void setWebcamsModel(QStringList cams) override;
    void setCurrentWebcam(int index) override;
    void setLoginState(UIController::LoginState state);
    void setQuality4KVisible(bool visible) override;
    void setEnableUpdateApp(bool enable) override;
    void setDwmIsCompositionEnabled(bool enabled) override;
    void setUpdateAppStatus(InterfacePort::UpdateAppStatus status) override;
    void setVersion(QString version) override;
    void setRecTime(QString time) override;
    void setShortRecTime(QString time) override;
    void updateVolumeTiming(qlonglong t, double v) override;

    // Opens the sign-in web dialog on the account page `uri`, after clearing
    // the web views' cookies when asked to, so that no earlier session signs in by itself.
    void showCredentials(QString uri, QString title, bool clear_cookies = false) override;

    // Window masks, for dialogs with rounded corners while no compositor draws transparency.
    void setDialogMask(QObject* windowDialog, int radius);
    void setImgEditorDialogMask(QObject* windowDialog, int radius, int x, int y, int w, int h);
    void setRecordingFrameMask(QObject* window, int lineWidth);
    void clearMaskRecordingRectangle() override;

    // The selection overlays, one per screen.
    void showScreenDialog(Common::RunState runState, int screenIndex, int x, int y, int width, int height) override;
    void hideScreenDialogs();
    void setCurrentScreenIndex(int screenIndex);
    void setSelectedRectangle(int x, int y, int width, int height, int screenIndex) override;
    void captureImage(int x, int y, int width, int height, int index);
    void showImageEditorDialog(QImage* ImgData, QString* ImgName, uint file_id);

    void setOverrideCursor();
    void restoreOverrideCursor();
    void copyBlackHoleDriverToDisk();
    void installBlackHole2ch();

signals:
    void xmlMessageChanged();
    void webcamsModelChanged();
    void currentWebcamChanged();
    void proxysModelChanged();
    void loginStateChanged();
    void quality4KVisibleChanged();
    void enableUpdateAppChanged();
    void updateAppStatusChanged();
    void versionChanged();
    void recTimeChanged();
    void shortRecTimeChanged();
    void dwmIsCompositionEnabledChanged();

    void showImageEditorDialogSignal(QString ImgName, int width, int height, uint fid, float devicePixelRatio);
    // Declared for the screenshot flow, which calls the controller directly.
    void InformNewImageSaved(QString& imgname, bool to_share, uint file_id);
    void currentScreenIndexChangedSignal(int screenIndex);
    void removeFromGallery(uint file_id);
    void refreshGallery();

private:
    // The window of the scene's QML object, or null.
    static QWindow* windowOf(QObject* object, const char* caller);
    // A screen came or went: open overlays close, and overlays whose index no
    // longer names the same screen are dropped.
    void screensChanged();
    // When main.qml could not be loaded, nobody answers hideScreenDialogSignal:
    // the selection is then closed here, so the overlays never stay on screen.
    void closeSelectionWithoutScene();

    QSharedPointer<QQmlApplicationEngine> m_engine;
    AppController* m_appController; // not owned
    QString m_outputTemplate = QStringLiteral("%d.%m.%Y_%H.%M.%S_REC.mp4");
    QString m_xmlMessage;
    QStringList m_webcamsModel;
    int m_currentWebcam = 0;
    QStringList m_proxysModel;
    LoginState m_loginState = NOLOGIN;
    bool m_quality4KVisible = true;
    bool m_enableUpdateApp = true;
    UpdateAppStatus m_updateAppStatus = NoNewVersion;
    QString m_version = QStringLiteral("1.0.75");
    QString m_recTime = QStringLiteral("00:00");
    QString m_shortRecTime = QStringLiteral("00:00");
    QRect m_selectedRectangle;
    ScreenshotImageProvider* m_imageProvider = nullptr; // owned by the engine
    int m_currentScreenIndex = 0;
    RegionSelectMap m_regionSelects;
    bool m_dwmIsCompositionEnabled = false;
    qlonglong m_lastShownSecond = -1;
    // The screens the overlays were made for, by index.
    QMap<int, QPointer<QScreen>> m_overlayScreens;
};
