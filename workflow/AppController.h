#pragma once

#include "Common.h"
#include "Permission.h"

#include <QMutex>
#include <QNetworkInformation>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QSharedPointer>
#include <QStringList>
#include <QTime>
#include <QTimer>

class ffmpegMux;
class ffAudioMonitor;
class ffmpegVCodecTest;
class UploadQueue;
class ISettingsReader;
class ISettingsWriter;
class QMediaDevices;
class QMenu;
class QNetworkAccessManager;
class QSystemTrayIcon;

// The one object of the main thread that owns a capture from the first key
// press to the closed file: the recording state machine, the timers that
// drive background work, the recording session `coder` and the upload worker
// `uploader`. It lives on the entry function's stack for the whole process.
//
// Objects that arrive with the interface (the QML-facing controller, the web
// bridge, hot keys, device watchers) are held as plain QObject pointers and
// reached by member name through the meta-object, so every step that involves
// them is already in place and is skipped while they are absent.
class AppController : public QObject
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
    // Physical memory below 150 MiB.
    static bool ramLow();

    // The rectangle to record, in screen coordinates, for a start without a
    // selection overlay (the command line, or a caller that chose it itself).
    void setSelectedRectangle(const QRect& rect);
    bool isAutoUploadActive();
    void readFromConfig();

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
    QMenu* trayMenu = nullptr;
    QString lastFileName;
    uint lastFileId = 0;
    bool hotkeyRole = false;
    QTimer* skinTimer = nullptr;
    QTimer* updateTimer = nullptr;
    QPointer<QObject> apiCalls;
    QSharedPointer<QObject> ui;  // the QML-facing interface controller
    QObject* uiPtr = nullptr;
    bool acceptClose = false;
    QObject* startStopHotkey = nullptr;
    QObject* secondaryHotkey = nullptr;
    QObject* escHotkey = nullptr;
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
    int m_lastMicCount = -1, m_lastCamCount = -1, m_lastPlaybackCount = -1;
    QObject* micWatcher = nullptr;
    QObject* playbackWatcher = nullptr;
    QMediaDevices* mediaDevices = nullptr;
    Common::MsgType lastPopupType = Common::MsgInfo;
    bool webContextMenuOff = true; // false with -webdebug: the web views keep their context menus

public slots:
    void runTasks();

    void captureScreenSkins();
    void showScreenDialogs(Common::RunState runState = Common::NONE);
    void showScreenCaptureVideoDialog();
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
    void showAuthMessage(QString uri, QString title);
    void deActualizeUser();
    void reachabilityChanged(QNetworkInformation::Reachability reachability);

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

    void showPopup(Common::MsgType msg, QString description);
    void openBrowser(QString url);
    void playVideo();

    bool checkScreenPermission();
    bool checkVideoPermission();
    bool checkAudioPermission();

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

private:
    ISettingsReader* settings() const;
    ISettingsWriter* settingsWriter() const;
    // Calls a member of the interface controller by name; false when there is none yet.
    bool callUi(const char* member, QGenericArgument a0 = QGenericArgument(),
                QGenericArgument a1 = QGenericArgument(), QGenericArgument a2 = QGenericArgument(),
                QGenericArgument a3 = QGenericArgument(), QGenericArgument a4 = QGenericArgument(),
                QGenericArgument a5 = QGenericArgument());
    void muteCameraIfLowRam(const char* logLine);
    void applyLevelPollRule();
    void setLevels(int mic, int sys);
    void alevelMonStop();
    void stopMicMonitor();
    void logWebEngineSetup();
    void runSuitabilityPass();
    void uploadLogs();
};
