#include "AppController.h"

#include "ApiCalls.h"
#include "DeviceLists.h"
#include "Endpoints.h"
#include "FvUpdater.h"
#include "Logging.h"
#include "MachineProfile.h"
#include "MediaDatabase.h"
#include "MicDeviceWatcher.h"
#include "PlaybackDeviceWatcher.h"
#include "QHotkey.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"
#include "UploadQueue.h"
#include "ffAudioMonitor.h"
#include "ffmpegMux.h"
#include "ffmpegVCodecTest.h"

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
}

#include <QAuthenticator>
#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QGuiApplication>
#include <QMediaDevices>
#include <QMenu>
#include <QNetworkAccessManager>
#include <QNetworkInformation>
#include <QSysInfo>
#include <QSystemTrayIcon>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace {
constexpr int kUpdateInterval = 10800000; // 3 hours of inactivity
constexpr int kSkinDelay = 5000;

// The interface while none is attached: every call does nothing.
InterfacePort noInterface;
} // namespace

AppController::AppController(QObject* parent)
    : QObject(parent)
    , port(&noInterface)
{
    QNetworkInformation::loadDefaultBackend();

    // Timers without a parent: the destructor releases them in its own order.
    tickTimer = new QTimer();
    alevelTimer = new QTimer();
    skinTimer = new QTimer();
    skinTimer->setSingleShot(true);
    skinTimer->setInterval(kSkinDelay);
    updateTimer = new QTimer();
    serviceNetwork = new QNetworkAccessManager();
    proxyTestNetwork = new QNetworkAccessManager(this);
    proxyTestTimer = new QTimer(this);
    proxyTestTimer->setSingleShot(true);
    nextLevelUpdate = QTime::currentTime();

    createHotkeys();

    connect(updateTimer, &QTimer::timeout, this, &AppController::processUpdateFile);
    updateTimer->start(kUpdateInterval);
    connect(skinTimer, &QTimer::timeout, this, &AppController::toggleSkinType);
    installEventFilter(this);

    connect(proxyTestTimer, &QTimer::timeout, this, &AppController::onProxyTestTimeout);
    SettingsManager* store = SettingsManager::instance();
    connect(store, &SettingsManager::enableProxyChanged, this, &AppController::toggleProxyServer);
    connect(store, &SettingsManager::currentProxyChanged, this, &AppController::proxyChanged);
    connect(store, &SettingsManager::serverChanged, this, &AppController::proxyChanged);
    connect(store, &SettingsManager::portChanged, this, &AppController::proxyChanged);
    connect(store, &SettingsManager::nameChanged, this, &AppController::proxyChanged);
    connect(store, &SettingsManager::pasChanged, this, &AppController::proxyChanged);
    connect(SettingsManager::instance(), SIGNAL(autoUploadChanged(bool)), this, SLOT(toggleAutoUpload(bool)));
    connect(SettingsManager::instance(), SIGNAL(blackHoleDriverTypeChanged(QString)), this,
            SLOT(handleBlackHoleDriverTypeChanged(QString)));

    muteCameraIfLowRam("[AC]: startup -> Low RAM, webcam muted automatically");
    refreshPlaybackDevices();
    startPlaybackWatcher();
}

AppController::~AppController()
{
    qDebug() << "~AppController";
    removeEventFilter(this);
    if (uploader) {
        uploader->is_running = 0;
        disconnect(uploader, SIGNAL(uploadFinished(int)), this, SLOT(uploadFinished(int)));
        disconnect(uploader, SIGNAL(uploadFileDone(unsigned int)), this, SLOT(uploadFileDone(uint)));
        disconnect(uploader, SIGNAL(gotRemoveFileCall(QString, QString, unsigned int)), this,
                   SLOT(gotRemoveFileCall(QString, QString, uint)));
        disconnect(uploader, SIGNAL(showAuthMessage(QString, QString)), this, SLOT(showAuthMessage(QString, QString)));
        uploader->setHost(nullptr);
        uploader->setNetworkManager(nullptr);
        uploader->setParent(nullptr);
        uploader->deleteLater();
        qDebug() << "wait uploader thread...";
        uploader = nullptr;
    }
    closeDatabase();
    delete startStopHotkey;
    delete secondaryHotkey;
    delete escHotkey;
    startStopHotkey = secondaryHotkey = escHotkey = nullptr;
    delete micWatcher;
    micWatcher = nullptr;
    delete playbackWatcher;
    playbackWatcher = nullptr;
    delete trayMenu;
    trayMenu = nullptr;
    // Threads must have ended before their objects go.
    releaseMonitor(micMonitor, 1000, true);
    releaseMonitor(alevelMon, 5000, true);
    if (vcodecTest) {
        vcodecTest->wait();
        delete vcodecTest;
        vcodecTest = nullptr;
    }
    port = &noInterface;
    ownedPort.reset();

    // The rest in reverse order of declaration. The session thread is not
    // waited for: a running one ends with the process.
    delete tickTimer;
    tickTimer = nullptr;
    delete serviceNetwork;
    serviceNetwork = nullptr;
    delete updateTimer;
    updateTimer = nullptr;
    delete skinTimer;
    skinTimer = nullptr;
    delete alevelTimer;
    alevelTimer = nullptr;
}

bool AppController::eventFilter(QObject* watched, QEvent* event)
{
    // Any activity of the controller postpones the idle-time update work.
    if (updateTimer)
        updateTimer->start();
    return false;
}

ISettingsReader* AppController::settings() const
{
    return SettingsManager::instance();
}

ISettingsWriter* AppController::settingsWriter() const
{
    return SettingsManager::instance();
}

void AppController::setInterfacePort(InterfacePort* attached)
{
    port = attached ? attached : &noInterface;
}

void AppController::setInterfaceFactory(InterfaceFactory factory)
{
    interfaceFactory = std::move(factory);
}

bool AppController::isRecording() const
{
    return uploader && uploader->isRecording;
}

int AppController::uploadTickDelay() const
{
    return tickTimer && tickTimer->isActive() ? tickTimer->interval() : -1;
}

bool AppController::ramLow()
{
    quint64 total = 0, available = 0;
    return memoryStatus(total, available) && available < lowRamBytes;
}

void AppController::muteCameraIfLowRam(const char* logLine)
{
    if (ramLow() && !settings()->readSettingBool(SettingsKey::mute_camera)) {
        settingsWriter()->writeSetting(SettingsKey::mute_camera, true);
        qDebug() << logLine;
    }
}

bool AppController::isAutoUploadActive()
{
    return settings()->readSettingBool(SettingsKey::auto_upload)
           && settings()->readSettingBool(SettingsKey::is_authenticated_user);
}

void AppController::runTasks()
{
    qDebug() << "[AC]:"
             << "runTasks";
    coder = new ffmpegMux();
    connect(coder, SIGNAL(recordingFailed(int)), this, SLOT(handleRecordFail(int)));
    connect(coder, SIGNAL(recordingDone(int)), this, SLOT(handleRecordDone(int)));
    connect(coder, SIGNAL(recordingStarted(int)), this, SLOT(handleRecordingStarted(int)));
    connect(coder, SIGNAL(updateLevelDuration(qlonglong, double)), this,
            SLOT(handleUpdateLevelDuration(qlonglong, double)));
    connect(coder, SIGNAL(recordingAudioFails(int)), this, SLOT(handleRecordingAudioFails(int)));
    connect(coder, SIGNAL(AudioPopup(int, QString)), this, SLOT(handleAudioPopup(int, QString)));

    const QString appDir = QCoreApplication::applicationDirPath();
    qDebug() << "Orlune application path:" << appDir;
    qDebug() << "QtWebEngineProcess exists in Orlune directory:" << QFile::exists(appDir + "/QtWebEngineProcess");
    const QByteArray webEnginePath = qgetenv("QTWEBENGINEPROCESS_PATH");
    if (webEnginePath.isEmpty())
        qDebug() << "QTWEBENGINEPROCESS_PATH environment variable is not set in the system";
    else
        qDebug() << "QTWEBENGINEPROCESS_PATH:" << webEnginePath;
    qDebug() << "Operating system:" << QSysInfo::prettyProductName() << "kernel version:" << QSysInfo::kernelVersion();

    logWebEngineSetup();

    if (QNetworkInformation* info = QNetworkInformation::instance())
        connect(info, &QNetworkInformation::reachabilityChanged, this, &AppController::reachabilityChanged);

    uploader = UploadQueue::instance();
    uploader->setParent(this);
    uploader->init(settings(), settingsWriter());
    uploader->setHost(this);
    uploader->setNetworkManager(serviceNetwork);
    connect(serviceNetwork, &QNetworkAccessManager::proxyAuthenticationRequired, this,
            [this](const QNetworkProxy& proxy, QAuthenticator* auth) { serviceProxyAuthRequired(proxy, auth); });
    // The web bridge connects its activateUploader() and reloadUploader() here itself.
    apiCalls = new ApiCalls(settings(), settingsWriter(), this, this, this);
    apiCalls->setUploader(uploader);
    // The interface controller is made here; without a factory every step
    // that uses it is skipped.
    if (interfaceFactory) {
        ownedPort.reset(interfaceFactory(this));
        setInterfacePort(ownedPort.get());
    }
    port->setVersion(
        QStringLiteral("<a href=\"%1\">%2</a>").arg(Endpoints::changeLogUrl(), QCoreApplication::applicationVersion()));
    port->setLoginState(2);
    port->setEnableUpdateApp(false);
    port->setDwmIsCompositionEnabled(isDwmCompositionEnabled());
    port->loadMainUI();

    QTimer::singleShot(100, this, &AppController::runSuitabilityPass);

    uploader->isRecording = false;
    connect(uploader, SIGNAL(uploadFinished(int)), this, SLOT(uploadFinished(int)));
    connect(uploader, SIGNAL(uploadFileDone(unsigned int)), this, SLOT(uploadFileDone(uint)));
    connect(uploader, SIGNAL(gotRemoveFileCall(QString, QString, unsigned int)), this,
            SLOT(gotRemoveFileCall(QString, QString, uint)));
    connect(uploader, SIGNAL(showAuthMessage(QString, QString)), this, SLOT(showAuthMessage(QString, QString)));

    Logging::routeFfmpegLog();
    avdevice_register_all();
    avformat_network_init();
    startCodecTest();

    uploader->setUserCredentials(settings()->readSettingStr(SettingsKey::login),
                                 settings()->readSettingStr(SettingsKey::password),
                                 settings()->readSettingStr(SettingsKey::salt));
    uploader->setFilesPath(settings()->readSettingStr(SettingsKey::files_path));

    alevelMon = nullptr;
    micMonitor = nullptr;
    tickTimer->setInterval(1000);
    tickTimer->setSingleShot(true);
    connect(tickTimer, &QTimer::timeout, this, &AppController::tick);
    tickTimer->start();

    if (settings()->readSettingBool(SettingsKey::is_first_start)) {
        port->showFirstDialogSignal();
        settingsWriter()->writeSetting(SettingsKey::is_first_start, false);
    }

    QString openH264Version;
    checkForOpenH264Version(openH264Version);
    updateMikeList();
    updateCameraListAndCurrentCameraIndex();

    connect(alevelTimer, &QTimer::timeout, this, &AppController::alevelUpdater);
    alevelTimer->setInterval(2000);
    alevelTimer->start();
    levelsTimer.setInterval(50);
    connect(&levelsTimer, &QTimer::timeout, this, &AppController::levelsPollTick);

    // updateMikeList has just asked the sound server; its list gives the count.
    m_lastMicCount = int(adevs.size());
    qDebug() << "[AC]: init m_lastMicCount=" << m_lastMicCount;
    startMicWatcher();

    QStringList cameras;
    m_lastCamCount = DeviceLists::listInCameraDevices(cameras);
    qDebug() << "[AC]: init m_lastCamCount=" << m_lastCamCount;
    mediaDevices = new QMediaDevices(this);
    connect(mediaDevices, &QMediaDevices::videoInputsChanged, this, &AppController::handleCamDeviceChange);
}

void AppController::runSuitabilityPass()
{
    QString reason;
    if (!is4KSuitable(reason)) {
        port->setQuality4KVisible(false);
        qDebug() << "[AC]: Display/CPU/RAM is not good for 4K, reason:" << reason;
        if (settings()->readSettingInt(SettingsKey::recording_quality) > Common::RECORDING_QUALITY_HD)
            settingsWriter()->writeSetting(SettingsKey::recording_quality, int(Common::RECORDING_QUALITY_HD));
    }
    // The stored proxy takes effect here, before the uploader's first run.
    proxyChanged();
}

// ---- timers ----------------------------------------------------------------

int AppController::smoothCpuLoad(int previous, int sample)
{
    return previous == 0 ? sample : (sample + 3 * previous) / 4;
}

qint64 AppController::availablePercent(quint64 total, quint64 available)
{
    return total == 0 ? 0 : qint64(available * 100 / total);
}

void AppController::tick()
{
    quint64 total = 0, available = 0;
    memoryStatus(total, available);
    const int cpu = int(cpuLoad() * 100);

    if (coder)
        coder->cpuLoad = coder->running ? smoothCpuLoad(coder->cpuLoad, cpu) : 0;

    const qint64 avRAM = availablePercent(total, available);
    qDebug() << "[AC]: tick" << QDateTime::currentSecsSinceEpoch() << "s"
             << settings()->readSettingBool(SettingsKey::auto_upload) << "u" << isAutoUploadActive() << "f"
             << forceUpload << "avRAM:" << avRAM << "% CPU:" << cpu << "%";

    if (videoState == Common::Recording)
        muteCameraIfLowRam("[AC]: tick -> Low RAM, webcam muted automatically");

    if (!uploader)
        return;
    if (uploader->is_running) {
        qDebug() << "UploadQueue() still running...";
        return; // re-armed by uploadFinished
    }
    uploader->run();
    if (uploader->stateValue() >= 3)
        qDebug() << "UploadQueue() started....";
}

void AppController::alevelUpdater()
{
    if (alevelMon) {
        qDebug() << "[AC]: W -- D";
        alevelMonStop();
        if (alevelTimer->interval() != 200)
            alevelTimer->setInterval(200);
    }
}

void AppController::soundSourceChanged(int val)
{
    qDebug() << "[AC]:"
             << "soundSourceChanged" << val;
    alevelMonStop();
    alevelTimer->setInterval(500);
    if (micMonitor) {
        qDebug() << "restart mic monitor due device change";
        stopMicMonitor();
        QTimer::singleShot(50, this, &AppController::startMicMonitor);
    }
}

void AppController::alevelMonStop()
{
    // The older monitor thread is never created by this controller; only a
    // left-over one is stopped here.
    releaseMonitor(alevelMon, 5000, false);
}

void AppController::processUpdateFile()
{
    FvUpdater* updater = FvUpdater::sharedUpdater();
    const bool uploadInFlight = uploader && uploader->is_running && uploader->hasMovedData();
    if (updatePending && !uploadInFlight) {
        qDebug() << "[AC]:"
                 << "install update now!";
        if (updater)
            updater->InstallUpdateFromDownloadedFile(false);
        updatePending = false;
        return;
    }
    qDebug() << "[AC]:"
             << "force check for update!";
    if (updater) {
        updater->setInstallAtOnce(false);
        updater->CheckForUpdatesSilent();
    }
    QTimer::singleShot(900000, this, &AppController::deActualizeUser);
}

void AppController::forceInstallUpdate()
{
    qDebug() << "[AC]:"
             << "forceInstallUpdate";
    if (FvUpdater* updater = FvUpdater::sharedUpdater()) {
        updater->setInstallAtOnce(true);
        updater->CheckForUpdates(true);
    }
}

void AppController::toggleSkinType()
{
    // Desktop composition cannot change under X11 without a compositing
    // manager appearing; the interface is rebuilt only when it reports a change.
    bool uiComposition = isDwmCompositionEnabled();
    if (port->present())
        uiComposition = port->dwmIsCompositionEnabled();
    const bool now = isDwmCompositionEnabled();
    qDebug() << "[AC]:"
             << "toggleSkinType"
             << "composition:" << now;
    if (now != uiComposition) {
        port->qmlApplicationEngineInit();
        port->setDwmIsCompositionEnabled(now);
        port->loadMainUI();
    }
}

void AppController::activityTrackerReset()
{
    updateTimer->start(kUpdateInterval);
}

// ---- uploader --------------------------------------------------------------

void AppController::uploadFinished(int ret)
{
    forceUpload = false;
    const int delay = ret == 128 ? 500 : 5000;
    if (ret == 127) {
        qDebug() << "[AC]: uploadFinished(" << ret << ")"
                 << " re-try later...";
        forceUpload = true;
    } else if (ret == 1) {
        if (uploader && (uploader->hasMovedData() || uploader->stateValue() > 2))
            qDebug() << "[AC]: uploadFinished(" << ret << ")"
                     << " SUCCESS!";
    } else if (ret != 0 && ret != 128) {
        qDebug() << "[AC]: uploadFinished(" << ret << ")"
                 << " ERROR: " << ret;
    }
    tickTimer->start(delay);
}

bool AppController::activateUploader()
{
    qDebug() << "[AC]:"
             << "activateUploader"
             << "uploader running:" << (uploader ? uploader->is_running : -1) << "tick active:" << tickTimer->isActive()
             << "remaining:" << tickTimer->remainingTime();
    if (!isAutoUploadActive())
        forceUpload = true;
    if (uploader && uploader->is_running) {
        qDebug() << "[AC]:"
                 << "activateUploader"
                 << " - is already active.";
        return false;
    }
    tickTimer->start(100);
    return true;
}

void AppController::reloadUploader()
{
    qDebug() << "[AC]:"
             << "reloadUploader";
    if (uploader)
        uploader->setUserCredentials(settings()->readSettingStr(SettingsKey::login),
                                     settings()->readSettingStr(SettingsKey::password),
                                     settings()->readSettingStr(SettingsKey::salt));
    userActualized = false;
    activateUploader();
}

void AppController::toggleAutoUpload(bool enabled)
{
    qDebug() << "[AC]:"
             << "toggleAutoUpload" << enabled;
    if (enabled)
        activateUploader();
}

void AppController::uploadFileDone(uint file_id)
{
    qDebug() << "[AC]:"
             << "uploadFileDone" << file_id;
    port->uploadedFileId(file_id);
    port->updateGallery(file_id);
    emit playerFileUploaded(file_id);
    if (!skipPlayerOnUpload && apiCalls)
        apiCalls->invokeGetUploadUrl(file_id);
    skipPlayerOnUpload = false;
    userActualized = false;
    forceUpload = false;
}

void AppController::gotRemoveFileCall(QString ret, QString msg, uint file_id)
{
    qDebug() << "[AC]:"
             << "gotRemoveFileCall" << ret << msg << file_id;
}

void AppController::reachabilityChanged(QNetworkInformation::Reachability reachability)
{
    qDebug() << "[AC]:"
             << "reachabilityChanged" << reachability;
    if (reachability != QNetworkInformation::Reachability::Online || !uploader)
        return;
    qDebug() << "[AC]:"
             << "Stopping uploader queued requests";
    // Requests that wait for a retry go out now.
    restartUploaderRetries();
}

void AppController::deActualizeUser()
{
    qDebug() << "[AC]:"
             << "deActualizeUser";
    userActualized = false;
}

// ---- shutdown --------------------------------------------------------------

void AppController::quit()
{
    qDebug() << "[AC]:"
             << "accept close:" << acceptClose;
    QGuiApplication::setQuitOnLastWindowClosed(true);
    for (QHotkey** hotkey : {&startStopHotkey, &secondaryHotkey, &escHotkey}) {
        if (!*hotkey)
            continue;
        (*hotkey)->setRegistered(false);
        delete *hotkey;
        *hotkey = nullptr;
    }
    tickTimer->stop();
    // The settings window's meter may be running; it goes before the guard below
    // starts counting, since a slow sound source can hold it for a second.
    stopMicMonitor();
    if (trayPollTimer)
        trayPollTimer->stop();
    if (trayIcon) {
        trayIcon->hide();
        trayIcon->deleteLater();
        trayIcon = nullptr;
    }
    acceptClose = true;
    QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);

    // A running session or a stuck slot must not keep the process alive.
    std::thread([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        qWarning() << "[FW]: Application did not quit gracefully, forcing exit";
        std::_Exit(1);
    }).detach();
}

void AppController::slotAboutToQuit()
{
    qDebug() << "[AC]:"
             << "slotAboutToQuit";
    alevelMonStop();
    port->closeCredentialsDialog();
}

void AppController::GotMsgFromAnotherInstance(const QString& msg)
{
    qDebug() << "[AC]: "
             << "got msg" << msg << "from another instance";
    if (msg == QLatin1String("Wake up!"))
        port->showSettingsSignal();
}

// ---- power -----------------------------------------------------------------

void AppController::suspendPower()
{
    qDebug() << "[AC]:"
             << "suspendPower"
             << "powerOn:" << powerOn;
    if (!powerOn)
        return;
    powerOn = false;
    tickTimer->stop();
    if (uploader && uploader->isRecording)
        QTimer::singleShot(1, this, [this]() { toggleRecordingSkin(); });
    alevelMonStop();
}

void AppController::resumePower()
{
    qDebug() << "[AC]:"
             << "resumePower"
             << "powerOn:" << powerOn;
    if (powerOn)
        return;
    powerOn = true;
    QTimer::singleShot(60000, this, []() {
        if (FvUpdater* updater = FvUpdater::sharedUpdater())
            updater->CheckForUpdatesSilent();
    });
    soundSourceChanged(0);
    tickTimer->start(5000);
}

// ---- permissions -----------------------------------------------------------

bool AppController::checkScreenPermission()
{
    return Permission::create()->checkScreenPermission();
}

bool AppController::checkVideoPermission()
{
    return Permission::create()->checkVideoPermission();
}

bool AppController::checkAudioPermission()
{
    return Permission::create()->checkAudioPermission();
}

void AppController::requestScreenPermission()
{
    Permission::create()->requestScreenPermission();
}

void AppController::requestVideoPermission()
{
    Permission::create()->requestVideoPermission();
}

void AppController::requestAudioPermission()
{
    Permission::create()->requestAudioPermission();
}

void AppController::openScreenPermission()
{
    Permission::create()->openScreenPermission();
}

void AppController::openVideoPermission()
{
    Permission::create()->openVideoPermission();
}

void AppController::openAudioPermission()
{
    Permission::create()->openAudioPermission();
}
