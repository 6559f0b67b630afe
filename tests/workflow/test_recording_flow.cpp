// The controller against a private PulseAudio server whose devices come and go
// with pactl; then whole recordings of a lavfi picture, checked with ffprobe and sqlite3.
#include "DeviceLists.h"
#include "MicDeviceWatcher.h"
#include "RecordingPort.h"
#include "WorkflowTestSupport.h"
#include "ffAudioMonitor.h"
#include "ffmpegMux.h"
#include "ffmpegVCodecTest.h"

#include <QApplication>
#include <QCameraDevice>
#include <QDir>
#include <QMediaDevices>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

#include <optional>

namespace {
QStringList devices(bool microphones, bool addresses = false)
{
    QStringList names, addrs;
    (microphones ? DeviceLists::listInAudioDevices : DeviceLists::listOutAudioDevices)(names, addrs);
    return addresses ? addrs : names;
}

int popups(const QSignalSpy& spy, const QString& text)
{
    return int(std::count_if(spy.begin(), spy.end(), [&](const QList<QVariant>& call) { return call[1] == text; }));
}

QString probe(const QString& path, const QStringList& options)
{
    return runTool("ffprobe", QStringList{"-v", "error"} + options + QStringList{"-of", "csv=p=0", path});
}
} // namespace

class TestRecordingFlow : public QObject
{
    Q_OBJECT

    PrivatePulse pulse;
    std::optional<LogCapture> log; // made once the test library has installed its own handler
    RecordingPort port;
    AppController* controller = nullptr;
    QString micModule;
    SettingsManager* settings = nullptr;
    QString secondMic; // "Second"
    QString streams;   // of the last recording: "codec,type" a line

    QString plugMicrophone(const QString& name = "test_mic", const QString& description = "Microphone")
    {
        return pulse.load("module-sine-source", {"source_name=" + name, "frequency=440",
                                                 "source_properties=device.description=" + description});
    }
    QString plugSpeakers()
    {
        return pulse.load("module-null-sink",
                          {"sink_name=test_speakers", "sink_properties=device.description=Speakers"});
    }

    bool meterRefused(const QString& reason)
    {
        LogCapture::clear();
        controller->startMicMonitor();
        return !controller->micMonitor && LogCapture::count(reason) == 1;
    }

    // Starts, records for `seconds`, stops; checks what the interface was told and the file.
    void recordOnce(int seconds)
    {
        controller->setSelectedRectangle(QRect(0, 0, 640, 360));
        port.calls.clear();
        controller->toggleRecordingSkin();
        QVERIFY(controller->isStarting());
        // The start is complete once the session reports its first data.
        QTRY_VERIFY_WITH_TIMEOUT(controller->getVideoState() == Common::Recording && !controller->isStarting(), 20000);
        QVERIFY2(controller->isRecording() && !controller->recordingMutex.tryLock(),
                 "the running recording holds the baton");
        QTest::qWait(seconds * 1000);
        controller->toggleRecordingSkin();
        QVERIFY(controller->isStopping());
        QCOMPARE(controller->getVideoState(), Common::Busy);
        QTRY_COMPARE_WITH_TIMEOUT(controller->getVideoState(), Common::Idle, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(controller->coder->isFinished(), 10000);
        QVERIFY(!controller->isRecording() && !controller->isStarting() && !controller->isStopping());
        QVERIFY2(controller->recordingMutex.tryLock(), "the baton is released by the done report");
        controller->recordingMutex.unlock();
        const int started = int(port.calls.indexOf("setRecTime(00:00)"));
        QVERIFY2(started >= 0, qPrintable(port.calls.join(' ')));
        QCOMPARE(port.calls.value(started + 1), QString("setShortRecTime(00:00)"));
        QVERIFY(port.calls.value(started + 2).startsWith("updateVolumeTiming("));
        QCOMPARE(port.calls.last(), QString("clearMaskRecordingRectangle()"));
        static const QRegularExpression named("^\\d\\d\\.\\d\\d\\.\\d{4}_\\d\\d\\.\\d\\d\\.\\d\\d_REC\\.mp4$");
        QVERIFY2(named.match(controller->lastFileName).hasMatch(), qPrintable(controller->lastFileName));
        const QString path = QDir(settings->readSettingStr("files_path")).filePath(controller->lastFileName);
        streams = probe(path, {"-show_entries", "stream=codec_name,codec_type"});
        QVERIFY2(streams.contains(",video") && streams.contains("aac,audio"), qPrintable(streams));
        const double duration = probe(path, {"-show_entries", "format=duration"}).toDouble();
        QVERIFY2(duration > 1.5 && duration < 10.0, qPrintable(QString::number(duration)));
        QVERIFY(controller->lastFileId != 0 && controller->lastFileId == controller->coder->fileId);
        QCOMPARE(
            sqliteRows(QString("SELECT file_finalized FROM files WHERE file_name='%1';").arg(controller->lastFileName)),
            QStringList{"true"});
    }

private slots:
    void initTestCase()
    {
        log.emplace();
        qputenv("ORLUNE_VIDEO_INPUT", "lavfi:testsrc2=size=640x360:rate=25");
        qunsetenv("ORLUNE_AUDIO_INPUT");
        QVERIFY(pulse.start(QString()) && !plugSpeakers().isEmpty() && !(micModule = plugMicrophone()).isEmpty()
                && openProgramDatabase());
        settings = SettingsManager::instance();
        settings->writeSetting("mute_audio", false);
        controller = startController(&port);
        // A streaming program's virtual microphone, which is never offered.
        QVERIFY(
            !pulse.load("module-null-source", {"source_name=obs_virtual", "description=OBS-Audio_Virtual"}).isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("device watcher subscribed"), 2, 5000);
    }

    void cleanupTestCase() { delete controller; }

    void listsOfTheSoundServer()
    {
        QCOMPARE(devices(true) + devices(true, true) + devices(false) + devices(false, true),
                 (QStringList{"Microphone", "test_mic", "Speakers", "test_speakers"}));
        QVERIFY(LogCapture::count("OBS-Audio_Virtual -- NOT USEABLE!") > 0);
        QCOMPARE(controller->getMicsModel(), QStringList{"Microphone"});
        QCOMPARE(QList<int>({controller->currentMic, controller->m_lastMicCount, controller->m_lastPlaybackCount,
                             controller->hasPlaybackAudioDevices}),
                 QList<int>({0, 1, 1, 1}));
    }

    void micWatcherReportsChangesOfTheList()
    {
        MicDeviceWatcher mics;
        QList<QThread*> threads;
        connect(&mics, &DeviceWatcher::devicesChanged, this, [&threads] { threads << QThread::currentThread(); });
        LogCapture::clear();
        QVERIFY(mics.start());
        QVERIFY(mics.start()); // a second start changes nothing
        QTRY_COMPARE_WITH_TIMEOUT(LogCapture::count("device watcher subscribed"), 1, 5000);
        // Whether `change` is reported (made once earlier reports have passed).
        const auto notified = [&threads](const std::function<void()>& change) {
            QTest::qWait(300);
            const qsizetype before = threads.size();
            change();
            return QTest::qWaitFor([&] { return threads.size() > before; }, 3000);
        };
        QString source;
        QVERIFY(notified([&] { source = plugMicrophone("extra_mic", "ExtraMic"); }));
        QVERIFY(devices(true).contains("ExtraMic"));
        // A device that only changes its own state is no change of the list; a new default microphone is.
        QVERIFY(!notified([&] { pulse.pactl({"set-source-volume", "test_mic", "50%"}); }));
        QVERIFY(notified([&] { pulse.pactl({"set-default-source", "extra_mic"}); }));
        pulse.pactl({"set-default-source", "test_mic"});
        QVERIFY(notified([&] { pulse.pactl({"unload-module", source}); }));
        QVERIFY(!devices(true).contains("ExtraMic"));
        QCOMPARE(threads.count(QThread::currentThread()), threads.count()); // the watcher's own thread
        mics.stop();
        QVERIFY(!notified([&] { source = pulse.load("module-null-source", {"source_name=late_mic"}); }));
        pulse.pactl({"unload-module", source});
    }

    // Not while a recording is set up or runs, nor muted; the switch and a new choice restart it.
    void microphoneMeter()
    {
        controller->setVideoState(Common::Busy);
        QVERIFY(meterRefused("skip: video not idle, state:"));
        controller->setVideoState(Common::Idle);
        controller->startMicMonitor();
        QVERIFY(controller->micMonitor && controller->levelsTimer.isActive());
        QCOMPARE(QByteArray(controller->micMonitor->device), QByteArray("audio=test_mic"));
        QTRY_VERIFY_WITH_TIMEOUT(controller->micLevel > 0, 5000);
        LogCapture::clear();
        controller->startMicMonitor();
        QCOMPARE(LogCapture::count("already running"), 1);
        controller->toggleMike();
        QVERIFY(settings->readSettingBool("mute_audio") && controller->coder->micMute);
        QVERIFY(!controller->micMonitor && controller->micLevel == 0 && !controller->levelsTimer.isActive());
        QVERIFY(meterRefused("skip: muteAudio=true"));
        controller->toggleMike();
        QVERIFY(!settings->readSettingBool("mute_audio"));
        QVERIFY(controller->micMonitor);
        LogCapture::clear();
        controller->setCurrentMic(0);
        QCOMPARE(LogCapture::count("restart mic monitor due device change"), 1);
        QVERIFY(!controller->micMonitor);
        QTRY_VERIFY_WITH_TIMEOUT(controller->micMonitor, 3000);
        QTRY_VERIFY_WITH_TIMEOUT(controller->micLevel > 0, 5000);
        controller->stopMicMonitor();
    }

    void unpluggingTheLastDeviceWarnsOnce()
    {
        QSignalSpy popupSpy(controller, &AppController::showPopupSignal);
        QSignalSpy available(controller, &AppController::hasPlaybackAudioDevicesChanged);
        pulse.pactl({"unload-module", micModule});
        QTRY_COMPARE_WITH_TIMEOUT(popups(popupSpy, "No Microphone detected"), 1, 3000);
        QTRY_VERIFY_WITH_TIMEOUT(controller->getMicsModel().isEmpty(), 3000);
        QVERIFY(meterRefused("no mic device available (adevs.size=0"));
        micModule = plugMicrophone();
        QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), QStringList{"Microphone"}, 3000);
        QTest::qWait(300);
        QCOMPARE(popupSpy.count(), 1);
        // The microphones do not change, so that warning stays away.
        pulse.pactl({"unload-module", "module-null-sink"});
        QTRY_COMPARE_WITH_TIMEOUT(popups(popupSpy, "No Playback Device detected"), 1, 3000);
        QVERIFY(available.count() == 1 && !available[0][0].toBool());
        QVERIFY(!plugSpeakers().isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(available.count(), 2, 3000);
        QVERIFY(available[1][0].toBool());
        QCOMPARE(popupSpy.count(), 2);
        if (QMediaDevices::videoInputs().isEmpty()) { // a machine without a camera
            controller->handleCamDeviceChange();
            QCOMPARE(popups(popupSpy, "No Webcam detected"), 1);
        }
    }

    void storedMicrophone()
    {
        secondMic = plugMicrophone("test_mic2", "Second");
        QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), (QStringList{"Microphone", "Second"}), 3000);
        settings->writeSetting("audiodev", "Second");
        controller->updateMikeList();
        QCOMPARE(controller->currentMic, 1);
        settings->writeSetting("audiodev", "Gone");
        QSignalSpy currentChanged(controller, &AppController::currentMicChanged);
        controller->updateMikeList();
        QCOMPARE(controller->currentMic, 0);
        QCOMPARE(currentChanged.count(), 1);
        QCOMPARE(settings->readSettingStr("audiodev"), QString("Gone"));
        settings->writeSetting("audiodev", "Second");
        controller->updateMikeList();
    }

    void autoCodecAndVanishedMicrophone()
    {
        QTest::qWait(1100); // the device reports still pending from the last plug pass first
        QVERIFY(controller->vcodecTest && controller->vcodecTest->wait(30000));
        QSettings().setValue("use_vcodec", "auto");
        // Unplugged after the last list update, before its notification is seen.
        controller->micWatcher->stop();
        pulse.pactl({"unload-module", secondMic});
        QSignalSpy popupSpy(controller, &AppController::showPopupSignal);
        LogCapture::clear();
        recordOnce(2);
        QSettings().remove("use_vcodec");
        // Of the table's encoders this machine's library has libx264, and libopenh264 where it is built in.
        const bool openh264 = runTool("ffmpeg", {"-hide_banner", "-encoders"}).contains(" libopenh264 ");
        QCOMPARE(controller->coder->vcodecName, QString(openh264 ? "libopenh264" : "libx264"));
        QVERIFY(!controller->coder->vcodecHwaccel);
        QVERIFY2(streams.contains("h264,video"), qPrintable(streams));
        QCOMPARE(popupSpy.count(), 1);
        QCOMPARE(
            popupSpy.first().value(1).toString(),
            QString("WARNING: Audio Device \"Second\"<br/> - is not avaliable!<br/>Using \"Microphone\" instead!"));
        QCOMPARE(LogCapture::count("[AC]: in_adev=\"audio=test_mic\""), 1);
        QVERIFY(!controller->coder->micMute);
        QCOMPARE(controller->getCurrentMic(), 1); // the choice itself is left alone
        QCOMPARE(settings->readSettingStr("audiodev"), QString("Second"));
        settings->writeSetting("audiodev", QString());
        QVERIFY(controller->micWatcher->start());
        controller->updateMikeList();
    }

    void noMicrophoneRecordsSilence()
    {
        const QString first = controller->lastFileName;
        QTest::qWait(1100); // names have one-second resolution
        pulse.pactl({"unload-module", micModule});
        QTRY_VERIFY_WITH_TIMEOUT(controller->getMicsModel().isEmpty(), 3000);
        LogCapture::clear();
        recordOnce(2);
        QVERIFY(controller->lastFileName != first);
        QCOMPARE(LogCapture::count("[AC]: No devices at all, recording silence"), 1);
        QVERIFY(controller->coder->micMute && !settings->readSettingBool("mute_audio"));
    }
};

QTEST_MAIN(TestRecordingFlow)
#include "test_recording_flow.moc"
