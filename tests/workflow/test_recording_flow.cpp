// Whole recordings through the controller, on a lavfi picture and the
// microphones of a PulseAudio server of this test's own: the start and stop
// toggles and what they tell the interface, the file they leave in
// files_path (checked with ffprobe and sqlite3), the encoder chosen for
// "auto", and the microphone when the chosen one has vanished or there is none.
#include "MicDeviceWatcher.h"
#include "RecordingPort.h"
#include "UploadQueue.h"
#include "WorkflowTestSupport.h"
#include "ffmpegMux.h"
#include "ffmpegVCodecTest.h"

#include <QApplication>
#include <QDir>
#include <QRegularExpression>
#include <QSettings>
#include <QSignalSpy>
#include <QtTest>

#include <optional>

class TestRecordingFlow : public QObject
{
    Q_OBJECT

    PrivatePulse pulse;
    std::optional<LogCapture> log; // made once the test library has installed its own handler
    RecordingPort port;
    AppController* controller = nullptr;
    QString micModule;

    // Starts, records for `seconds`, stops; checks the file has sound and a
    // finalized row, and leaves its full path in `path`.
    void recordOnce(int seconds, QString& path)
    {
        controller->setSelectedRectangle(QRect(0, 0, 640, 360));
        port.calls.clear();
        controller->toggleRecordingSkin();
        QVERIFY(controller->isStarting());
        // Recording is set when the session thread starts; the start is complete
        // when the session reports its first data.
        QTRY_VERIFY_WITH_TIMEOUT(controller->getVideoState() == Common::Recording && !controller->isStarting(), 20000);
        QVERIFY(controller->isRecording());
        QVERIFY2(!controller->recordingMutex.tryLock(), "the running recording holds the baton");
        QTest::qWait(seconds * 1000);

        controller->toggleRecordingSkin();
        QVERIFY(controller->isStopping());
        QCOMPARE(controller->getVideoState(), Common::Busy);
        QTRY_COMPARE_WITH_TIMEOUT(controller->getVideoState(), Common::Idle, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(controller->coder->isFinished(), 10000);
        QVERIFY(!controller->isRecording() && !controller->isStarting() && !controller->isStopping());
        QVERIFY2(controller->recordingMutex.tryLock(), "the baton is released by the done report");
        controller->recordingMutex.unlock();

        // The interface saw the clock reset, the levels, and the frame taken away.
        const int started = int(port.calls.indexOf("setRecTime(00:00)"));
        QVERIFY2(started >= 0, qPrintable(port.calls.join(' ')));
        QCOMPARE(port.calls.value(started + 1), QString("setShortRecTime(00:00)"));
        QVERIFY(port.calls.value(started + 2).startsWith("updateVolumeTiming("));
        QCOMPARE(port.calls.last(), QString("clearMaskRecordingRectangle()"));

        path = QDir(SettingsManager::instance()->readSettingStr("files_path")).filePath(controller->lastFileName);
        QCOMPARE(runTool("ffprobe", {"-v", "error", "-select_streams", "a", "-show_entries", "stream=codec_name", "-of",
                                     "csv=p=0", path}),
                 QString("aac"));
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
        QVERIFY(controller = startWithSound(pulse, micModule, &port));
    }

    void cleanupTestCase() { delete controller; }

    void recordsAndStops()
    {
        QString path;
        recordOnce(3, path);
        if (QTest::currentTestFailed())
            return;
        static const QRegularExpression named("^\\d\\d\\.\\d\\d\\.\\d{4}_\\d\\d\\.\\d\\d\\.\\d\\d_REC\\.mp4$");
        QVERIFY2(named.match(controller->lastFileName).hasMatch(), qPrintable(controller->lastFileName));
        const QString streams =
            runTool("ffprobe", {"-v", "error", "-show_entries", "stream=codec_type", "-of", "csv=p=0", path});
        QVERIFY2(streams.contains("video") && streams.contains("audio"), qPrintable(streams));
        const double duration =
            runTool("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path}).toDouble();
        QVERIFY2(duration > 1.5 && duration < 10.0, qPrintable(QString::number(duration)));
        QVERIFY(controller->lastFileId != 0);
        QCOMPARE(controller->lastFileId, controller->coder->fileId);
    }

    void autoCodecAndVanishedMicrophone()
    {
        const QString first = controller->lastFileName;
        QTest::qWait(1100); // names have one-second resolution
        // "auto" picks from the capability table that runTasks started.
        QVERIFY(controller->vcodecTest && controller->vcodecTest->wait(30000));
        QSettings().setValue("use_vcodec", "auto");

        const QString second = plugMicrophone(pulse, "test_mic2", "Second");
        SettingsManager::instance()->writeSetting("audiodev", "Second");
        QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), (QStringList{"Microphone", "Second"}), 3000);
        controller->updateMikeList();
        QCOMPARE(controller->getCurrentMic(), 1);
        // Unplugged after the last list update, before its notification is seen.
        controller->micWatcher->stop();
        pulse.pactl({"unload-module", second});

        QSignalSpy popups(controller, &AppController::showPopupSignal);
        LogCapture::clear();
        QString path;
        recordOnce(2, path);
        QSettings().remove("use_vcodec");
        if (QTest::currentTestFailed())
            return;
        // Of the table's encoders this machine's library has libx264, and libopenh264 where it is built in.
        const bool openh264 = runTool("ffmpeg", {"-hide_banner", "-encoders"}).contains(" libopenh264 ");
        QCOMPARE(controller->coder->vcodecName, QString(openh264 ? "libopenh264" : "libx264"));
        QVERIFY(!controller->coder->vcodecHwaccel);
        QVERIFY(controller->lastFileName != first);
        QCOMPARE(runTool("ffprobe", {"-v", "error", "-select_streams", "v", "-show_entries", "stream=codec_name", "-of",
                                     "csv=p=0", path}),
                 QString("h264"));

        QCOMPARE(popups.count(), 1);
        QCOMPARE(
            popups.first().value(1).toString(),
            QString("WARNING: Audio Device \"Second\"<br/> - is not avaliable!<br/>Using \"Microphone\" instead!"));
        QCOMPARE(LogCapture::count("[AC]: in_adev=\"audio=test_mic\""), 1);
        QVERIFY(!controller->coder->micMute);
        // The choice itself is left alone.
        QCOMPARE(controller->getCurrentMic(), 1);
        QCOMPARE(SettingsManager::instance()->readSettingStr("audiodev"), QString("Second"));
        SettingsManager::instance()->writeSetting("audiodev", QString());
        QVERIFY(controller->micWatcher->start());
        controller->updateMikeList();
    }

    void noMicrophoneRecordsSilence()
    {
        QTest::qWait(1100); // a file name of its own
        pulse.pactl({"unload-module", micModule});
        QTRY_VERIFY_WITH_TIMEOUT(controller->getMicsModel().isEmpty(), 3000);
        LogCapture::clear();
        QString path;
        recordOnce(2, path);
        if (QTest::currentTestFailed())
            return;
        QCOMPARE(LogCapture::count("[AC]: No devices at all, recording silence"), 1);
        // Muted although the user did not mute the microphone.
        QVERIFY(!SettingsManager::instance()->readSettingBool("mute_audio"));
        QVERIFY(controller->coder->micMute);
    }
};

QTEST_MAIN(TestRecordingFlow)
#include "test_recording_flow.moc"
