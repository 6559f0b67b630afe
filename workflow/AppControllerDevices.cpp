// AppController's devices: the lists of microphones, playback devices and
// cameras, what happens when one is plugged or unplugged, the microphone
// meter shown while no recording runs, and the microphone, system sound and
// webcam switches.
#include "AppController.h"

#include "DeviceLists.h"
#include "MicDeviceWatcher.h"
#include "PlaybackDeviceWatcher.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"
#include "ffAudioMonitor.h"
#include "ffmpegMux.h"

#include <QDebug>

namespace {
constexpr unsigned long kMicMonitorWaitMs = 1000;

// Stores the opposite of a switch of the settings and returns the new value.
bool flipSetting(const char* key)
{
    SettingsManager* settings = SettingsManager::instance();
    const bool value = !settings->readSettingBool(key);
    settings->writeSetting(key, value);
    return value;
}

// Device notifications arrive from the sound server's thread; the lists are
// only ever touched here, on the controller's thread.
void watch(DeviceWatcher* watcher, AppController* controller, void (AppController::*handler)())
{
    QObject::connect(watcher, &DeviceWatcher::devicesChanged, controller, handler, Qt::QueuedConnection);
    watcher->start();
}
} // namespace

void AppController::startPlaybackWatcher()
{
    playbackWatcher = new PlaybackDeviceWatcher();
    watch(playbackWatcher, this, &AppController::handlePlaybackDeviceChange);
}

void AppController::startMicWatcher()
{
    micWatcher = new MicDeviceWatcher();
    watch(micWatcher, this, &AppController::handleMicDeviceChange);
}

// ---- lists --------------------------------------------------------------------

void AppController::updateMikeList()
{
    qDebug() << "[AC]:"
             << "updateMikeList";
    adevs.clear();
    adev_addrs.clear();
    DeviceLists::listInAudioDevices(adevs, adev_addrs);
    emit micsModelChanged();
    if (adevs.isEmpty())
        return;
    // A stored microphone that is gone selects the first one, but stays stored.
    const int stored = int(adevs.indexOf(settings()->readSettingStr(SettingsKey::audiodev)));
    setCurrentMic(stored >= 0 ? stored : 0);
}

void AppController::setCurrentMic(int index)
{
    qDebug() << "[AC]:"
             << "setCurrentMic" << index;
    if (currentMic != index) {
        currentMic = index;
        emit currentMicChanged();
    }
    soundSourceChanged(currentMic);
}

void AppController::setMicsModel(QStringList mics)
{
    if (adevs != mics) {
        adevs = mics;
        emit micsModelChanged();
    }
}

void AppController::updateAsysList()
{
    qDebug() << "[AC]:"
             << "updateAsysList";
    asysDevs.clear();
    asysAddrs.clear();
    DeviceLists::listOutAudioDevices(asysDevs, asysAddrs);
    // The loopback drivers looked for here exist on other platforms only, so
    // a non-empty list reports false. The property itself keeps its value.
    if (asysDevs.contains(QLatin1String("BlackHole 2ch")) || asysDevs.contains(QLatin1String("BlackHole 16ch")))
        emit hasPlaybackAudioDevicesChanged(true);
    else if (!asysDevs.isEmpty())
        emit hasPlaybackAudioDevicesChanged(false);
}

void AppController::handleBlackHoleDriverTypeChanged(QString driverType)
{
    qDebug() << "[AC]: BlackHole not supported on this platform" << driverType;
}

void AppController::setHasPlaybackAudioDevices(bool available)
{
    if (hasPlaybackAudioDevices == available)
        return;
    hasPlaybackAudioDevices = available;
    emit hasPlaybackAudioDevicesChanged(available);
}

void AppController::refreshPlaybackDevices()
{
    qDebug() << "[AC]:"
             << "refreshPlaybackDevices";
    QStringList names, addrs;
    const int count = DeviceLists::listOutAudioDevices(names, addrs);
    setHasPlaybackAudioDevices(count > 0);
    if (m_lastPlaybackCount < 0)
        m_lastPlaybackCount = count;
}

void AppController::updateCameraListAndCurrentCameraIndex()
{
    qDebug() << "[AC]:"
             << "updateCameraListAndCurrentCameraIndex";
    QStringList cameras;
    DeviceLists::listInCameraDevices(cameras);
    port->setWebcamsModel(cameras);
    if (cameras.isEmpty()) {
        port->setCurrentWebcam(-1);
        return;
    }
    const int stored = int(cameras.indexOf(settings()->readSettingStr(SettingsKey::cameradev)));
    port->setCurrentWebcam(stored >= 0 ? stored : 0);
}

// ---- changes ------------------------------------------------------------------

void AppController::handleMicDeviceChange()
{
    qDebug() << "[AC]:"
             << "handleMicDeviceChange";
    const int prevN = m_lastMicCount;
    QStringList names, addrs;
    m_lastMicCount = qMax(0, DeviceLists::listInAudioDevices(names, addrs));
    qDebug() << "[AC]:"
             << "prevN=" << prevN << "curN=" << m_lastMicCount;
    if (prevN >= 1 && m_lastMicCount == 0)
        showPopup(Common::MsgWarning, "No Microphone detected");
    updateMikeList();
}

void AppController::handleCamDeviceChange()
{
    qDebug() << "[AC]:"
             << "handleCamDeviceChange";
    const int prevN = m_lastCamCount;
    QStringList cameras;
    m_lastCamCount = DeviceLists::listInCameraDevices(cameras);
    if (prevN >= 0 && m_lastCamCount == 0) {
        showPopup(Common::MsgWarning, "No Webcam detected");
        port->setWebcamsModel(cameras);
        port->setCurrentWebcam(-1);
        return;
    }
    port->setWebcamsModel(cameras);
    // The first camera after none is selected, unless the user chose one meanwhile.
    if (prevN == 0 && m_lastCamCount > 0 && port->present() && port->currentWebcam() < 0)
        port->setCurrentWebcam(0);
}

void AppController::handlePlaybackDeviceChange()
{
    qDebug() << "[AC]:"
             << "handlePlaybackDeviceChange";
    const int prevN = m_lastPlaybackCount;
    QStringList names, addrs;
    const int count = DeviceLists::listOutAudioDevices(names, addrs);
    m_lastPlaybackCount = qMax(0, count);
    setHasPlaybackAudioDevices(count != 0);
    if (prevN >= 1 && m_lastPlaybackCount == 0)
        showPopup(Common::MsgWarning, "No Playback Device detected");
}

// ---- microphone meter ------------------------------------------------------------

void AppController::startMicMonitor()
{
    qDebug() << "[AC]:"
             << "startMicMonitor";
    if (videoState != Common::Idle || is_starting || is_stopping) {
        qDebug() << "[AC]:"
                 << "skip: video not idle, state:" << videoState << ", is_starting:" << is_starting
                 << ", is_stopping:" << is_stopping;
        return;
    }
    if (settings()->readSettingBool(SettingsKey::mute_audio)) {
        qDebug() << "[AC]:"
                 << "skip: muteAudio=true";
        return;
    }
    if (micMonitor) {
        qDebug() << "[AC]:"
                 << "already running";
        return;
    }
    QByteArray device = "audio=";
    if (!adevs.isEmpty() && currentMic >= 0 && currentMic < adev_addrs.size())
        device += adev_addrs[currentMic].toUtf8();
    if (device == "audio=") {
        qDebug().nospace() << "[AC]: no mic device available (adevs.size=" << adevs.size()
                           << ", adev_addrs.size=" << adev_addrs.size() << ", currentMic=" << currentMic << ")";
        return;
    }
    micMonitor = new ffAudioMonitor();
    micMonitor->level = settings()->readSettingInt(SettingsKey::audio_level);
    qDebug() << "[AC]:"
             << "device:" << device << "mike level:" << micMonitor->level;
    const int ret = micMonitor->open_input_device(device.constData());
    qDebug() << "[AC]:"
             << "open_input_device ret:" << ret;
    if (ret > 0) {
        micMonitor->start(QThread::LowPriority);
        if (!levelsTimer.isActive())
            levelsTimer.start();
    } else {
        qWarning() << "[AC]:"
                   << "open_input_device failed, abort monitor";
        micMonitor->deleteLater();
        micMonitor = nullptr;
    }
}

void AppController::stopMicMonitor()
{
    qDebug() << "[AC]:"
             << "stopMicMonitor";
    releaseMonitor(micMonitor, kMicMonitorWaitMs, false);
    if (videoState != Common::Recording) {
        levelsTimer.stop();
        setLevels(0, 0);
    }
}

void AppController::releaseMonitor(ffAudioMonitor*& monitor, unsigned long waitMs, bool atExit)
{
    if (!monitor)
        return;
    ffAudioMonitor* ending = monitor;
    monitor = nullptr;
    ending->running = 0;
    if (ending->wait(waitMs)) {
        ending->freeUnused();
        if (atExit)
            delete ending;
        else
            ending->deleteLater();
        return;
    }
    // A read from the sound server lasts as long as the source's block, which
    // is seconds for some virtual sources. Killing the thread inside it would
    // leave the sound library's locks held by a dead thread, so the monitor is
    // released once its read returns; the sound server lets a new capture
    // open the source meanwhile. At exit the process ends with it.
    qDebug() << "[AC]:"
             << "waited too much, the monitor ends after its read";
    if (atExit)
        return;
    connect(ending, &QThread::finished, ending, [ending] {
        ending->freeUnused();
        ending->deleteLater();
    });
    if (ending->isFinished()) {
        // Ended before the connection was made; a second deleteLater is harmless.
        ending->freeUnused();
        ending->deleteLater();
    }
}

// ---- switches -------------------------------------------------------------------

void AppController::setMute(bool val)
{
    qDebug() << "[AC]:"
             << "setMute"
             << " mute:" << val;
    if (coder)
        coder->setMute(val);
}

void AppController::setSys(bool val)
{
    qDebug() << "[AC]:"
             << "setSys" << val;
    if (coder)
        coder->setSys(val);
}

void AppController::setMikeLevel(int mikeLevel)
{
    qDebug() << "[AC]:"
             << "setMikeLevel"
             << " VOL:" << mikeLevel;
    if (coder)
        coder->setMikeLevel(mikeLevel);
    settingsWriter()->writeSetting(SettingsKey::audio_level, mikeLevel);
}

int AppController::getMikeLevel()
{
    const int level = settings()->readSettingInt(SettingsKey::audio_level);
    qDebug() << "[AC]:"
             << "getMikeLevel"
             << " VOL:" << level;
    return level;
}

bool AppController::audioPermittedOrAsk()
{
    if (checkAudioPermission())
        return true;
    port->showAudioPermissionDialog();
    return false;
}

void AppController::toggleMike()
{
    qDebug() << "[AC]:"
             << "toggleMike";
    if (!audioPermittedOrAsk())
        return;
    const bool mute = flipSetting("mute_audio");
    setMute(mute);
    // During a recording the meter stays off: startMicMonitor refuses outside Idle.
    if (mute) {
        qDebug() << "[AC]:"
                 << "stop monitor due to muteAudio=true";
        stopMicMonitor();
    } else {
        qDebug() << "[AC]:"
                 << "start monitor due to muteAudio=false";
        startMicMonitor();
    }
    applyLevelPollRule();
}

void AppController::toggleSys()
{
    qDebug() << "[AC]:"
             << "toggleSys";
    if (!audioPermittedOrAsk())
        return;
    setSys(flipSetting("system_sounds"));
    applyLevelPollRule();
}

void AppController::toggleCamera()
{
    qDebug() << "[AC]:"
             << "toggleCamera";
    if (!checkVideoPermission()) {
        port->showVideoPermissionDialog();
        return;
    }
    const bool muted = settings()->readSettingBool(SettingsKey::mute_camera);
    if (muted && ramLow()) {
        showPopup(Common::MsgStorage,
                  QString("Not enough RAM to enable webcam. Need > %1 MB.").arg(lowRamBytes / (1024 * 1024)));
        return;
    }
    flipSetting("mute_camera");
}
