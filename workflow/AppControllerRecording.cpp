// The recording state machine of AppController: from the choice of a
// rectangle to the start of the session thread, the stop, and what the
// session reports back.
#include "AppController.h"

#include "AutoCodecChoice.h"
#include "CaptureInputs.h"
#include "DeviceLists.h"
#include "FilesTable.h"
#include "FvUpdater.h"
#include "QHotkey.h"
#include "SettingsKeys.h"
#include "SettingsManager.h"
#include "UploadQueue.h"
#include "ffAudioMonitor.h"
#include "ffmpegAudioCap.h"
#include "ffmpegMux.h"
#include "ffmpegVCodecTest.h"
#include "pulseAudioLoopback.h"

#include <QDebug>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QRegularExpression>
#include <QScreen>
#include <QSettings>

#include <cmath>
#include <ctime>

namespace {
constexpr int kMinRecordWidth = 16;
constexpr int kMinRecordHeight = 8;
constexpr int kCountdownMs = 250;
constexpr int kLevelPaceMs = 200;
} // namespace

// ---- from hot key to the start -------------------------------------------

void AppController::captureScreenSkins()
{
    if (editingActive) {
        qDebug() << "[AC]:"
                 << "captureScreenSkins"
                 << "editing is active";
        return;
    }
    const bool recording = uploader && uploader->isRecording;
    if (is_stopping || (is_starting && !recording)) {
        qDebug() << "[AC]:"
                 << "captureScreenSkins"
                 << " App is Busy with starting/stopping of recording";
        return;
    }
    if (recording)
        toggleRecordingSkin(true); // the hot key stops a running recording
    else
        showScreenDialogs(Common::NONE);
}

void AppController::showScreenDialogs(Common::RunState runState)
{
    qDebug() << "[AC]:"
             << "showScreenDialogs" << runState;
    Permission::Pointer permission = Permission::create();
    if (!permission->checkScreenPermission()) {
        port->showScreenPermissionDialog();
        return;
    }
    if (runState == Common::VIDERECORDING && !permission->checkAudioPermission()) {
        port->showAudioPermissionDialog();
        return;
    }
    port->hideFirstDialog();
    port->clearScreenshots(); // every overlay grabs its screen as it is now
    setEnabledEscShortKey(true);
    setEnabledAltSShortKey(false); // Alt+S must not re-enter while the selection is open
    const QList<QScreen*> screens = QGuiApplication::screens();
    for (int i = 0; i < screens.size(); ++i) {
        const QRect g = screens[i]->geometry();
        port->showScreenDialog(runState, i, g.x(), g.y(), g.width(), g.height());
    }
}

void AppController::showScreenCaptureVideoDialog()
{
    if (videoState == Common::Recording)
        toggleRecordingSkin(true);
    else
        showScreenDialogs(Common::VIDERECORDING);
}

void AppController::showVideoRecordingDialog(int x, int y, int width, int height, int screenIndex)
{
    qDebug() << "[AC]:"
             << "showVideoRecordingDialog" << x << y << width << height << screenIndex;
    if (videoState != Common::Idle)
        return;
    Permission::Pointer permission = Permission::create();
    if (!permission->checkScreenPermission()) {
        port->showScreenPermissionDialog();
        return;
    }
    if (!permission->checkAudioPermission()) {
        port->showAudioPermissionDialog();
        return;
    }
    muteCameraIfLowRam("[AC]: showVideoRecordingDialog -> Low RAM, webcam muted before dialog");
    port->setRecTime(QStringLiteral("00:00"));
    setVideoState(Common::Busy);
    if (!port->showVideoRecordingDialogSignal(x, y, width, height, screenIndex)) {
        // Without the recording dialog the caller starts the recording itself
        // with toggleRecordingSkin, on this rectangle.
        rectangleSelectSkin(QRect(x, y, width, height));
    }
}

void AppController::setSelectedRectangle(const QRect& rect)
{
    rectangleSelectSkin(rect);
    port->setSelectedRectangle(rect.x(), rect.y(), rect.width(), rect.height(), 0);
}

void AppController::rectangleSelectSkin(QRect rect)
{
    qDebug() << "[AC]: rectangle selected";
    selRect = rect;
    qDebug().nospace() << "[AC]: selRect: pos: " << rect.x() << "x" << rect.y() << " WxH: " << rect.width() << "x"
                       << rect.height();
}

void AppController::toggleRecordingSkin(bool is_select)
{
    if (QObject* s = sender()) {
        qDebug() << "[AC]:"
                 << "sender: hotkey?" << s->metaObject()->className();
        hotkeyRole = secondaryHotkey && s == secondaryHotkey;
    } else {
        qDebug() << "[AC]:"
                 << "sender: button";
        hotkeyRole = false;
    }
    qDebug() << "[AC]:"
             << "role: " << (hotkeyRole ? "start/pause" : "start/stop");

    if (uploader && uploader->isRecording) {
        // A session exists: the baton must be held by it.
        if (recordingMutex.tryLock()) {
            qDebug() << "Recording mutex is unlocked! Must not happen!";
            recordingMutex.unlock();
            return;
        }
        if (is_stopping) {
            qDebug() << "[AC]: Already stopping, don't do anything for now...";
        } else if (!is_starting) {
            qDebug() << "[AC]: recording is active, stopping...";
            setVideoState(Common::Busy);
            stopStreaming();
        } else {
            qDebug() << "[AC]: recording is starting, error!!!";
        }
    } else {
        if (!recordingMutex.tryLock()) {
            qDebug() << "Recording mutex is locked! Returning!";
            return;
        }
        if (is_starting) {
            // The baton stays with the start in progress; its handleRecordDone releases it.
            qDebug() << "[AC]: Already starting, don't do anything for now...";
        } else {
            alevelMonStop();
            is_starting = true;
            if (is_select && !hotkeyRole && port->present()) {
                rectangleSelectSkin(port->selectedRectangle());
                qDebug() << "[AC]: select area shown...";
            }
            if (selRect.width() >= kMinRecordWidth && selRect.height() >= kMinRecordHeight) {
                qDebug() << "[AC]: recording started...";
                showCountdownAndRecord();
            } else {
                qDebug() << "[AC]: select area not choosen...";
                is_starting = false;
                recordingMutex.unlock();
                return;
            }
        }
    }
    hotkeyRole = false;
    qDebug() << "[AC]: exit from toggleRecording()...";
}

void AppController::startCodecTest()
{
    // The automatic codec choice reads this table. Opening encoders can take
    // seconds, so the test runs beside start-up rather than before a recording.
    vcodecTest = new ffmpegVCodecTest();
    vcodecTest->start(QThread::LowPriority);
}

void AppController::showCountdownAndRecord()
{
    QTimer::singleShot(kCountdownMs, this, &AppController::startStreamingSkin);
}

QByteArray AppController::expandTemplate(const QByteArray& pathTemplate, time_t when)
{
    struct tm local;
    localtime_r(&when, &local);
    QByteArray out(pathTemplate.size() + 1024, '\0');
    const size_t n = strftime(out.data(), size_t(out.size()), pathTemplate.constData(), &local);
    out.truncate(int(n));
    return out;
}

void AppController::startStreamingSkin()
{
    qDebug() << "[AC]:"
             << "startStreamingSkin";
    muteCameraIfLowRam("[AC]: startStreamingSkin -> Low RAM, webcam muted before start");

    const QString filesPath = settings()->readSettingStr(SettingsKey::files_path);
    const QString path = filesPath + "/" + outputTemplate;
    if (path.length() < 4) {
        // Nothing is undone: the baton and the Busy state stay until a restart.
        qDebug() << "[AC]: bad output length " << path.length();
        return;
    }
    coder->uploadWhileRecording = isAutoUploadActive();
    coder->highlightMouse = settings()->readSettingBool(SettingsKey::mouse_highlight);

    // "auto" picks from the capability table; any other text (an empty name
    // is the encoder's own default, and "auto" while there is no table) passes on as it stands.
    QSettings store;
    const QString useVcodec = store.value("use_vcodec", "").toString();
    if (vcodecTest && useVcodec == QLatin1String("auto")) {
        if (vcodecTest->isRunning())
            qDebug() << "[AC]: codec test still running, untested codecs count as unusable";
        const AutoCodecChoice choice = AutoCodecChoice::fromTable(*vcodecTest);
        coder->vcodecName = choice.name;
        coder->vcodecHwaccel = choice.hwaccel;
        qDebug() << "[AC]: Auto-selected codec:" << choice.name << "with hwaccel:" << choice.hwaccel;
    } else {
        coder->vcodecName = useVcodec;
        coder->vcodecHwaccel = store.value("use_vcodec_hwaccel", "false").toBool();
    }
    coder->vcodecQuality = store.value("use_vcodec_quality", -1).toInt();
    coder->ddagrabInput = store.value("use_vinput_ddagrab", "false").toBool();

    stopMicMonitor(); // the microphone must be free for the session
    setVideoState(Common::Busy);
    uploader->isRecording = true;
    skipPlayerOnUpload = false;

    const QByteArray vdev = CaptureInputs::videoInput();
    QByteArray adev = "audio=";
    const bool muteAudio = settings()->readSettingBool(SettingsKey::mute_audio);
    bool mute = muteAudio;

    // Asked afresh, so that a device unplugged since the last list update is seen.
    QStringList playNames, playAddrs, micNames, micAddrs;
    DeviceLists::listOutAudioDevices(playNames, playAddrs);
    DeviceLists::listInAudioDevices(micNames, micAddrs);
    qDebug() << "[AC]: devices now, microphones:" << micNames.size() << "playback:" << playNames.size();

    const QByteArray audioOverride = CaptureInputs::audioOverride();
    if (!audioOverride.isEmpty()) {
        adev = audioOverride;
    } else {
        // The chosen microphone by name; currentMic and audiodev stay as they are whatever is used.
        const QString want = (currentMic >= 0 && currentMic < adevs.size()) ? adevs[currentMic] : QString();
        const int found = want.isEmpty() ? -1 : int(micNames.indexOf(want));
        if (found >= 0) {
            adev += micAddrs[found].toUtf8();
        } else {
            qDebug() << "[AC]: Audio device is not avaliable now";
            if (micNames.isEmpty()) {
                qDebug() << "[AC]: No devices at all, recording silence";
                adev = CaptureInputs::silentAudioInput();
                mute = true;
            } else {
                qDebug().noquote() << "[AC]: Using first avaliable capture device: "
                                   << "\"" + micAddrs[0] + "\"";
                adev += micAddrs[0].toUtf8();
                handleAudioPopup(-1, QString("WARNING: Audio Device \"%1\"<br/> - is not avaliable!<br/>Using \"%2\" "
                                             "instead!")
                                         .arg(want, micNames[0]));
            }
        }
    }

    coder->setMute(mute);
    coder->setSys(settings()->readSettingBool(SettingsKey::system_sounds));
    qDebug() << "[AC]: devName=" << adev;
    qDebug().nospace().noquote() << "[AC]: in_adev=\"" << QString::fromUtf8(adev) << "\"";

    coder->disableSys = settings()->readSettingBool(SettingsKey::disable_sys);
    hotkeyRole = false;

    const int quality = settings()->readSettingInt(SettingsKey::recording_quality);
    QByteArray outName = path.toLocal8Bit();
    if (useStrftime) {
        qDebug().nospace().noquote() << "[AC]: out_fname1=\"" << QString::fromLocal8Bit(outName) << "\"";
        outName = expandTemplate(outName, time(nullptr));
        qDebug().nospace().noquote() << "[AC]: out_fname2=\"" << QString::fromLocal8Bit(outName) << "\"";
    }
    lastFileName = QFileInfo(QString::fromLocal8Bit(outName)).fileName();
    coder->setInputOutput(vdev.constData(), adev.constData(), lastFileName, 0, filesPath, quality);
    if (useStrftime)
        lastFileId = coder->fileId;

    qDebug() << "[AC]: coder->setCaptureParams()...";
    coder->setCaptureParams(selRect.x(), selRect.y(), selRect.width(), selRect.height());

    qDebug() << "[AC]: coder->start()...";
    setVideoState(Common::Recording);
    coder->start(QThread::InheritPriority);
}

void AppController::stopStreaming()
{
    qDebug() << "[AC]:"
             << "stopStreaming";
    uploader->isRecording = true;
    is_stopping = true;
    is_starting = false;
    skipPlayerOnUpload = false;
    // The session notices the cleared flag on its own thread and reports by recordingDone.
    coder->running = 0;
}

// ---- what the session reports ---------------------------------------------

void AppController::handleRecordingStarted(int s)
{
    qDebug().nospace() << "[AC]: handleRecordingStarted(" << s << "): 100% started!!!";
    updateTimer->stop();
    port->setRecTime(QStringLiteral("00:00"));
    port->setShortRecTime(QStringLiteral("00:00"));
    setVideoState(Common::Recording);
    is_stopping = false;
    is_starting = false;
}

void AppController::handleRecordDone(int s)
{
    qDebug() << "[AC]:"
             << "handleRecordDone" << s;
    uploader->isRecording = false;
    setVideoState(Common::Idle);
    port->clearMaskRecordingRectangle();
    lastFileId = coder->fileId;
    is_stopping = false;
    is_starting = false;
    updateTimer->start();
    if (isAutoUploadActive() && settings()->readSettingBool(SettingsKey::is_authenticated_user)) {
        showPopup(Common::MsgCloud, QString("Uploading file %1 is started...").arg(uploader->file_name));
        // The last ranges, the preview and the share link go now, not up to 5 s later at the
        // next tick. A run in flight needs no wake: its next reply picks the final ranges.
        if (!uploader->is_running)
            tickTimer->start(0);
    } else {
        playVideo();
    }
    // Release the baton of the start. tryLock first, so that a done report
    // without a start (nothing held) cannot unlock a free mutex.
    recordingMutex.tryLock();
    recordingMutex.unlock();
}

void AppController::handleRecordFail(int reason)
{
    const QString text = QString("Recording fails due %1 issue!").arg(reason ? "audio" : "video");
    const int quality = settings()->readSettingInt(SettingsKey::recording_quality);
    qDebug().nospace() << "[AC]: handleRecordFail(" << reason << "), reason: " << text
                       << ", recording_quality:" << quality;
    showPopup(Common::MsgWarning, text);
    setVideoState(Common::Idle);
    if (reason == 0 && quality == Common::RECORDING_QUALITY_4K) {
        // From now on the machine test refuses 4K for good.
        settingsWriter()->writeSetting(SettingsKey::recording_4k_fails, true);
        const auto answer =
            QMessageBox::critical(nullptr, "Recording failed!", text + "\nDo you wish to restart application?",
                                  QMessageBox::Yes | QMessageBox::Cancel);
        if (answer == QMessageBox::Yes) {
            if (FvUpdater* updater = FvUpdater::sharedUpdater())
                updater->restartApplication();
        }
    }
}

void AppController::handleRecordingAudioFails(int s)
{
    qDebug() << "[AC]:"
             << "handleRecordingAudioFails"
             << "result: " << s;
    showPopup(Common::MsgWarning, "Error: Audio is Disabled!");
}

void AppController::handleAudioPopup(int devid, QString msg)
{
    qDebug() << "[AC]:"
             << "handleAudioPopup"
             << "devid: " << devid << "msg:" << msg;
    showPopup(Common::MsgWarning, msg);
}

double AppController::rmsToVolume(double rms)
{
    const double db = 20.0 * std::log10(std::max(rms, 0.0000001));
    return (std::min(0.0, std::max(db, -45.0)) + 45.0) / 45.0;
}

void AppController::handleUpdateLevelDuration(qlonglong d, double rms)
{
    const QTime now = QTime::currentTime();
    if (now < nextLevelUpdate)
        return;
    nextLevelUpdate = now.addMSecs(kLevelPaceMs);
    port->updateVolumeTiming(d, rmsToVolume(rms));
}

// ---- state and levels -------------------------------------------------------

void AppController::setVideoState(Common::VideoRecordingState state)
{
    if (videoState != state) {
        videoState = state;
        emit videoStateChanged();
    }
    if (state == Common::Recording) {
        applyLevelPollRule();
    } else {
        if (levelsTimer.isActive())
            levelsTimer.stop();
        setLevels(0, 0);
    }
}

void AppController::applyLevelPollRule()
{
    if (videoState != Common::Recording)
        return;
    if (settings()->readSettingBool(SettingsKey::mute_audio)
        && !settings()->readSettingBool(SettingsKey::system_sounds)) {
        levelsTimer.stop(); // nothing to measure
        setLevels(0, 0);
    } else if (!levelsTimer.isActive()) {
        levelsTimer.start();
    }
}

void AppController::setLevels(int mic, int sys)
{
    if (micLevel != mic) {
        micLevel = mic;
        emit micLevelChanged();
    }
    if (sysLevel != sys) {
        sysLevel = sys;
        emit sysLevelChanged();
    }
}

int AppController::rmsToLevel(double rms)
{
    // The same percent rule as the level monitor's.
    return ffAudioMonitor::levelPercent(rms);
}

void AppController::levelsPollTick()
{
    double micRms = 0.0;
    double sysRms = 0.0;
    if (videoState == Common::Recording && coder) {
        if (coder->acap)
            micRms = coder->acap->meanLevel;
        if (coder->asys)
            sysRms = coder->asys->meanLevel;
    } else if (micMonitor) {
        micRms = micMonitor->meanLevel; // the idle-time meter; no system sound outside a recording
    }
    setLevels(rmsToLevel(micRms), rmsToLevel(sysRms));
}

// ---- names ------------------------------------------------------------------

QString AppController::rewriteNameLineIfNeeded(QString wanted)
{
    qDebug() << "[AC]:"
             << "rewriteNameLineIfNeeded" << wanted;
    if (!FilesTable::titleTaken(wanted))
        return wanted;
    static const QRegularExpression numbered("^(.+)\\s\\((\\d+)\\)$");
    QString name = wanted;
    for (;;) {
        const QRegularExpressionMatch m = numbered.match(name);
        const QString base = m.hasMatch() ? m.captured(1) : name;
        const qulonglong number = m.hasMatch() ? m.captured(2).toULongLong() + 1 : 1;
        name = base + QString(" (%1)").arg(number);
        if (!FilesTable::titleTaken(name))
            return name;
    }
}
