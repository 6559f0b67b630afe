#pragma once

#include "ApiCallsHost.h"
#include "CommonTypes.h"
#include "InterfacePort.h"
#include "Permission.h"
#include "UploadHost.h"

#include <QMutex>
#include <QNetworkInformation>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QStringList>
#include <QSystemTrayIcon>
#include <QTime>
#include <QTimer>

#include <functional>
#include <memory>

class ApiCalls;
class ffmpegMux;
class ffAudioMonitor;
class ffmpegVCodecTest;
class MicDeviceWatcher;
class PlaybackDeviceWatcher;
class QHotkey;
class UploadQueue;
class ISettingsReader;
class ISettingsWriter;
class QMediaDevices;
class QMenu;
class QAction;
class QNetworkAccessManager;
class QNetworkReply;

// The one object of the main thread that owns a capture from the first key
// press to the closed file: the recording state machine, the timers that
// drive background work, the recording session `coder` and the upload worker
// `uploader`. It lives on the entry function's stack for the whole process.
//
// The interface is reached through an InterfacePort that is never null: a
// port that does nothing stands in while no interface is attached, so every
// step that involves the interface is already in place and skipped until then.
//
// It is also the host of the uploader and of the web bridge: their calls
// back into the controller are its own slots of the same names.
class AppController : public QObject, public UploadHost, public ApiCallsHost
{
    Q_OBJECT
    Q_PROPERTY(QStringList micsModel READ getMicsModel WRITE setMicsModel NOTIFY micsModelChanged)
    Q_PROPERTY(int currentMic READ getCurrentMic WRITE setCurrentMic NOTIFY currentMicChanged)
    Q_PROPERTY(QString keySequence READ getKeySequence NOTIFY keySequenceChanged)
    Q_PROPERTY(Common::VideoRecordingState videoState READ getVideoState WRITE setVideoState NOTIFY videoStateChanged)
    Q_PROPERTY(bool hasBlackHole READ getHasBlackHole NOTIFY blackHoleStatusChanged)
    Q_PROPERTY(bool hasBlackHole2ch READ getHasBlackHole2ch NOTIFY blackHoleStatusChanged)
    Q_PROPERTY(bool hasBlackHole16ch READ getHasBlackHole16ch NOTIFY blackHoleStatusChanged)
    Q_PROPERTY(int micLevel READ getMicLevel NOTIFY micLevelChanged)
    Q_PROPERTY(int sysLevel READ getSysLevel NOTIFY sysLevelChanged)
    Q_PROPERTY(bool hasPlaybackAudioDevices READ getHasPlaybackAudioDevices NOTIFY hasPlaybackAudioDevicesChanged)

public:
    explicit AppController(QObject* parent = nullptr);
    ~AppController() override;

    bool eventFilter(QObject* watched, QEvent* event) override;

    // Level in percent (0..100) of a mean sample value (0..1 of full scale).
    static int rmsToLevel(double rms);
    // Level of the recording panel (0..1) of a mean sample value: -45 dB and below is 0.
    static double rmsToVolume(double rms);
    // The session's smoothed processor load: the first sample as it is, then a running 3:1 mean.
    static int smoothCpuLoad(int previous, int sample);
    // Available memory as a percentage of the total; 0 when the total is unknown.
    static qint64 availablePercent(quint64 total, quint64 available);
    // Expands a name template with strftime at the given local time.
    static QByteArray expandTemplate(const QByteArray& pathTemplate, time_t when);
    // Physical memory below 150 MiB (lowRamBytes).
    static bool ramLow();
    static constexpr quint64 lowRamBytes = 157286400;

    // The part of saveFileWithReformatting after the file dialog: the copy
    // with its progress dialog, and the pop-up that tells how it ended.
    void saveFileCopy(const QString& source, const QString& target, bool reformat);

    // The rectangle to record, in screen coordinates, for a start without a
    // selection overlay (the command line, or a caller that chose it itself).
    void setSelectedRectangle(const QRect& rect);
    bool isAutoUploadActive();
    void readFromConfig();

    // The interface: `port` is called from now on (not owned; null detaches).
    void setInterfacePort(InterfacePort* port);
    InterfacePort* interfacePort() const { return port; }
    // Makes the interface controller where runTasks builds the interface; the
    // controller owns what it returns. Without a factory no interface is made.
    using InterfaceFactory = std::function<InterfacePort*(AppController*)>;
    void setInterfaceFactory(InterfaceFactory factory);

    // Read-only views of the state machine and the background work.
    bool isRecording() const; // a session exists, from its start to its done report
    bool isStarting() const { return is_starting; }
    bool isStopping() const { return is_stopping; }
    bool isPollingLevels() const { return levelsTimer.isActive(); }
    bool isPowerOn() const { return powerOn; }
    QRect selectedRect() const { return selRect; }
    // The delay of the uploader's next run, -1 when none is scheduled.
    int uploadTickDelay() const;
    // A run that found automatic upload off or failed asks for another.
    bool isUploadForced() const { return forceUpload; }

    QStringList getMicsModel() const { return adevs; }
    int getCurrentMic() const { return currentMic; }
    QString getKeySequence() const { return keySequence; }
    Common::VideoRecordingState getVideoState() const { return videoState; }
    bool getHasBlackHole() const { return false; }
    bool getHasBlackHole2ch() const { return false; }
    bool getHasBlackHole16ch() const { return false; }
    int getMicLevel() const { return micLevel; }
    int getSysLevel() const { return sysLevel; }
    bool getHasPlaybackAudioDevices() const { return hasPlaybackAudioDevices; }

    // Fields, in the order of their roles; the web bridge, the interface and
    // the uploader read several of them directly.
    QString outputTemplate = QStringLiteral("%d.%m.%Y_%H.%M.%S_REC.mp4");
    bool useStrftime = true;
    bool skipPlayerOnUpload = false;
    QSystemTrayIcon* trayIcon = nullptr;
    QMenu* trayMenu = nullptr; // a widget, so without a parent: deleted with the controller
    QString lastFileName;
    uint lastFileId = 0;
    bool hotkeyRole = false;
    QTimer* skinTimer = nullptr;
    QTimer* updateTimer = nullptr;
    QPointer<ApiCalls> apiCalls;
    bool acceptClose = false;
    QHotkey* startStopHotkey = nullptr;
    QHotkey* secondaryHotkey = nullptr;
    QHotkey* escHotkey = nullptr; // exists only while a selection is on screen
    bool userActualized = false;
    bool forceUpload = false;
    QNetworkAccessManager* serviceNetwork = nullptr;
    QTimer* tickTimer = nullptr;
    QTimer* alevelTimer = nullptr;
    QMutex recordingMutex;
    QRect selRect;
    ffmpegMux* coder = nullptr;
    ffAudioMonitor* alevelMon = nullptr;
    ffmpegVCodecTest* vcodecTest = nullptr; // codec capability table; while null the codec comes from the settings
    UploadQueue* uploader = nullptr;
    QTime nextLevelUpdate;
    QTimer levelsTimer;
    int micLevel = 0;
    int sysLevel = 0;
    bool hasPlaybackAudioDevices = true;
    QStringList adevs, adev_addrs;
    QStringList asysDevs, asysAddrs;
    int currentMic = 0;
    ffAudioMonitor* micMonitor = nullptr;
    bool updatePending = false;
    bool is_stopping = false, is_starting = false;
    bool editingActive = false;
    bool powerOn = true;
    QString keySequence;
    QString savedFilePath;
    Common::VideoRecordingState videoState = Common::Idle;
    QNetworkAccessManager* proxyTestNetwork = nullptr;
    QTimer* proxyTestTimer = nullptr;
    QPointer<QNetworkReply> proxyTestReply; // the proxy test under way, if any
    static constexpr int proxyTestTimeoutMs = 15000;
    int m_lastMicCount = -1, m_lastCamCount = -1, m_lastPlaybackCount = -1;
    MicDeviceWatcher* micWatcher = nullptr;
    PlaybackDeviceWatcher* playbackWatcher = nullptr;
    QMediaDevices* mediaDevices = nullptr;
    Common::MsgType lastPopupType = Common::MsgInfo;
    bool webContextMenuOff = true; // false with -webdebug: the web views keep their context menus

public slots:
    void runTasks();

    void captureScreenSkins();
    void showScreenDialogs(Common::RunState runState = Common::NONE);
    void showScreenCaptureVideoDialog();
    void showScreenCaptureImageDialog();
    void showVideoRecordingDialog(int x, int y, int width, int height, int screenIndex);
    void toggleRecordingSkin(bool is_select = true);
    void showCountdownAndRecord();
    void rectangleSelectSkin(QRect rect);
    void startStreamingSkin();
    void stopStreaming();
    QString rewriteNameLineIfNeeded(QString wanted);

    void handleRecordingStarted(int s);
    void handleRecordDone(int s);
    void handleRecordFail(int reason);
    void handleRecordingAudioFails(int s);
    void handleAudioPopup(int devid, QString msg);
    void handleUpdateLevelDuration(qlonglong d, double rms);

    void setVideoState(Common::VideoRecordingState state);
    void setCurrentMic(int index);
    void setMicsModel(QStringList mics);
    void soundSourceChanged(int val);

    // Devices: the microphone, playback and camera lists, their change
    // notifications, the idle-time microphone meter and the three switches.
    void updateMikeList();
    void updateAsysList();
    void updateCameraListAndCurrentCameraIndex();
    void refreshPlaybackDevices();
    void handleMicDeviceChange();
    void handleCamDeviceChange();
    void handlePlaybackDeviceChange();
    void handleBlackHoleDriverTypeChanged(QString driverType);
    void startMicMonitor();
    void stopMicMonitor();
    void setMute(bool val);
    void setSys(bool val);
    void toggleMike();
    void toggleSys();
    void toggleCamera();
    void setMikeLevel(int mikeLevel);
    int getMikeLevel();

    // The recording quality buttons of the settings window.
    void buttonClickedSD();
    void buttonClickedHD();
    void buttonClicked4K();

    // Global hot keys: the start/stop shortcut, its store, and Esc while a selection is open.
    void setKeySequence(QString keySequence);
    void setNativeShortcut(QString keySequence, uint key, uint modifier = 0);
    void resetShortcutToDefault();
    void setEnabledEscShortKey(bool enabled = true);
    void setEnabledAltSShortKey(bool enabled = true);
    void keySequenceEditingStarted();
    void keySequenceEditingFinished();

    void tick();
    void alevelUpdater();
    void levelsPollTick();
    void processUpdateFile();
    void toggleSkinType();
    void activityTrackerReset();

    bool activateUploader();
    void reloadUploader();
    void toggleAutoUpload(bool enabled);
    void uploadFinished(int ret);
    void uploadFileDone(uint file_id);
    void gotRemoveFileCall(QString ret, QString msg, uint file_id);
    void showAuthMessage(QString uri, QString title, bool clear_cookies = false);

    // The account session.
    void logIn();
    void signUp();
    void showUnauthWarn() override;
    void logOut();
    void refreshAccount();
    void refreshOffline();
    void setUserInfo2(QMap<QString, QString>& map, QString serviceRequestType) override;
    void setTabIndex(int idx) override;
    void serviceProxyAuthRequired(QNetworkProxy proxy, QAuthenticator* auth) override;
    void updateUserState() override;
    QString saveFileWithReformatting(QString filename, QString file_pseudoname, bool reformat = true) override;
    void deActualizeUser();
    void reachabilityChanged(QNetworkInformation::Reachability reachability);

    // The tray: its icon and menu, built by readFromConfig for a run with an interface.
    void iconActivated(QSystemTrayIcon::ActivationReason reason);
    void forceInstallUpdate();

    void quit();
    void slotAboutToQuit();
    void GotMsgFromAnotherInstance(const QString& msg);
    void suspendPower();
    void resumePower();

    void updatedFinishedSuccessfully();
    void updateDownloadFinishedSuccessfully();
    void saltUpdated();
    void UpdateButtonLock(int lock);
    void SendLogs();
    void sendLogsFvUpdater();
    void logUploadFinished(QString fileDesc);
    void openClickUpReportForm(QString fileDesc);

    // The pop-up at the bottom of the screen and its two buttons, which act
    // on the kind of the last pop-up shown.
    void showPopup(Common::MsgType msg, QString description) override;
    void showPopupSkin(Common::MsgType msg, QString description);
    void bottomPopupLeftClicked(Common::MsgType type);
    void bottomPopupRightClicked(Common::MsgType type);

    // The network proxy: applied to the service's and the uploader's managers,
    // and tested against the IP echo service before the user may enable it.
    void proxyChanged();
    void toggleProxyServer(bool enabled);
    void testProxyConnection();
    void onProxyTestFinished();
    void onProxyTestTimeout();
    void openBrowser(QString url);
    void openFileLocation();
    void playVideo();

    // The platform's permissions, each through a fresh Permission object.
    bool checkScreenPermission();
    bool checkVideoPermission();
    bool checkAudioPermission();
    void requestScreenPermission();
    void requestVideoPermission();
    void requestAudioPermission();
    void openScreenPermission();
    void openVideoPermission();
    void openAudioPermission();

signals:
    void micsModelChanged();
    void currentMicChanged();
    void keySequenceChanged(QString keySequence);
    void videoStateChanged();
    void blackHoleStatusChanged();
    void micLevelChanged();
    void sysLevelChanged();
    void hasPlaybackAudioDevicesChanged(bool available);
    void playerFileUploaded(uint file_id);
    void hideImageEditorDialogSignal(int id);
    void showPopupSignal(Common::MsgType msg, QString description);
    // The share link of an uploaded recording has arrived from the service.
    // Emitted by the upload work; a command-line recording that is uploaded
    // waits for it before the program ends.
    void shareLinkReady(uint file_id, QString url);

public:
    // What the uploader and the web bridge ask of the controller.
    bool isUserActualized() override;
    void setUserActualized(bool fresh) override;
    void setSkipPlayerOnUpload(bool skip) override;
    void setLinkedVideoId(uint file_id) override;
    void shareLinkArrived(uint file_id, QString url) override;
    void closeCredentials() override;
    void emitUpdateGallery(uint file_id) override;
    void emitUpdateUserState(ulong user_state) override;
    void emitUpdateGalleryGotShareURL(QString link, uint file_id) override;

private:
    ISettingsReader* settings() const;
    ISettingsWriter* settingsWriter() const;
    InterfacePort* port; // never null
    InterfaceFactory interfaceFactory;
    std::unique_ptr<InterfacePort> ownedPort; // what interfaceFactory made
    void muteCameraIfLowRam(const char* logLine);
    void openClipboardLink();
    void applyLevelPollRule();
    void setLevels(int mic, int sys);
    void alevelMonStop();
    void createHotkeys();
    // Tells the user that another program holds <text>; keySequence stays.
    void refuseTakenShortcut(const QString& text);
    void createTray();
    void showTrayWhenAvailable();
    void showTrayShortcut(const QString& text);
    QAction* trayVideoAction = nullptr;
    QTimer* trayPollTimer = nullptr; // while no system tray exists
    void startPlaybackWatcher();
    void startMicWatcher();
    void startCodecTest();
    void setHasPlaybackAudioDevices(bool available);
    // True with audio permitted; otherwise asks for it through the interface.
    bool audioPermittedOrAsk();
    // Stops a level monitor thread and releases it: at once when it ends
    // within `waitMs`, else when its last read returns (never, at exit).
    void releaseMonitor(ffAudioMonitor*& monitor, unsigned long waitMs, bool atExit);
    void logWebEngineSetup();
    void runSuitabilityPass();
    void uploadLogs();
    // Retry timers of the uploader that are waiting fire in 100 ms instead.
    void restartUploaderRetries();
    // Drops a proxy test still under way without reporting it.
    void abandonProxyTest();
};
