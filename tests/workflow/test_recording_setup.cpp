// What the controller decides before a session starts: the encoder when the
// settings say "auto", and the microphone when the chosen one has vanished
// or there is none at all. The recordings run on a lavfi picture and the
// microphones of a PulseAudio server of this test's own; the files are
// checked with ffprobe and their rows with sqlite3.
#include "AppController.h"
#include "AutoCodecChoice.h"
#include "MicDeviceWatcher.h"
#include "PrivateServers.h"
#include "UploadQueue.h"
#include "WorkflowTestSupport.h"
#include "ffmpegMux.h"
#include "ffmpegVCodecTest.h"

#include <QApplication>
#include <QDir>
#include <QSignalSpy>
#include <QtTest>

class TestRecordingSetup : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void autoCodecChoice_data();
    void autoCodecChoice();
    void vanishedMicrophoneFallsBackToTheFirst();
    void noMicrophoneRecordsSilence();

private:
    // Starts, records for `seconds`, stops; checks the file has sound and a finalized row.
    void recordOnce(int seconds);
    PrivatePulse pulse;
    LogCapture* log = nullptr;
    AppController* controller = nullptr;
    QString micModule;
};

void TestRecordingSetup::initTestCase()
{
    log = new LogCapture();
    qputenv("ORLUNE_VIDEO_INPUT", "lavfi:testsrc2=size=640x360:rate=25");
    qunsetenv("ORLUNE_AUDIO_INPUT");
    QVERIFY(pulse.start(QString()));
    QVERIFY(!pulse.load("module-null-sink", {"sink_name=test_speakers", "sink_properties=device.description=Speakers"})
                 .isEmpty());
    micModule = pulse.load("module-sine-source", {"source_name=test_mic", "frequency=440",
                                                  "source_properties=device.description=Microphone"});
    QVERIFY(!micModule.isEmpty());

    QVERIFY(openProgramDatabase());
    SettingsManager::instance()->writeSetting("mute_audio", false);
    controller = new AppController();
    controller->runTasks();
}

void TestRecordingSetup::cleanupTestCase()
{
    delete controller;
    delete log;
}

void TestRecordingSetup::autoCodecChoice_data()
{
    // Per row of the table (hardware h264_mf, h264_mf, libopenh264, libx264):
    // 0 failed, 1 opened at the largest size, 2 opened at 1080p only.
    QTest::addColumn<QList<int>>("results");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("hwaccel");
    QTest::addColumn<QString>("logged");
    QTest::newRow("all") << QList<int>{1, 1, 1, 1} << "h264_mf" << true
                         << "Selected h264_mf with hardware acceleration";
    QTest::newRow("hardware at 1080p") << QList<int>{2, 0, 0, 1} << "h264_mf" << true
                                       << "Selected h264_mf with hardware acceleration";
    QTest::newRow("software h264_mf") << QList<int>{0, 2, 1, 1} << "h264_mf" << false << "Selected h264_mf (regular)";
    QTest::newRow("openh264") << QList<int>{0, 0, 2, 1} << "libopenh264" << false << "Selected libopenh264";
    QTest::newRow("x264") << QList<int>{0, 0, 0, 2} << "libx264" << false << "Selected libx264 (fallback)";
    QTest::newRow("nothing") << QList<int>{0, 0, 0, 0} << "libx264" << false
                             << "No tested codec available, using libx264 as absolute fallback";
}

void TestRecordingSetup::autoCodecChoice()
{
    QFETCH(QList<int>, results);
    QFETCH(QString, name);
    QFETCH(bool, hwaccel);
    QFETCH(QString, logged);
    ffmpegVCodecTest table;
    for (int i = 0; i < ffmpegVCodecTest::kRowCount; ++i) {
        table.codecs[i].maxres = results[i] == 1;
        table.codecs[i].fallback1080 = results[i] == 2;
    }
    LogCapture::clear();
    const AutoCodecChoice choice = AutoCodecChoice::fromTable(table);
    QCOMPARE(choice.name, name);
    QCOMPARE(choice.hwaccel, hwaccel);
    QCOMPARE(LogCapture::count(logged), 1);
}

void TestRecordingSetup::recordOnce(int seconds)
{
    controller->setSelectedRectangle(QRect(0, 0, 640, 360));
    controller->toggleRecordingSkin();
    QVERIFY(controller->is_starting);
    QTRY_VERIFY_WITH_TIMEOUT(controller->videoState == Common::Recording && !controller->is_starting, 20000);
    QTest::qWait(seconds * 1000);
    controller->toggleRecordingSkin();
    QTRY_COMPARE_WITH_TIMEOUT(controller->videoState, Common::Idle, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(controller->coder->isFinished(), 10000);

    const QString path =
        QDir(SettingsManager::instance()->readSettingStr("files_path")).filePath(controller->lastFileName);
    QCOMPARE(runTool("ffprobe", {"-v", "error", "-select_streams", "a", "-show_entries", "stream=codec_name", "-of",
                                 "csv=p=0", path}),
             QString("aac"));
    QCOMPARE(
        sqliteRows(QString("SELECT file_finalized FROM files WHERE file_name='%1';").arg(controller->lastFileName)),
        QStringList{"true"});
}

void TestRecordingSetup::vanishedMicrophoneFallsBackToTheFirst()
{
    const QString second = pulse.load("module-sine-source", {"source_name=test_mic2", "frequency=880",
                                                             "source_properties=device.description=Second"});
    SettingsManager::instance()->writeSetting("audiodev", "Second");
    QTRY_COMPARE_WITH_TIMEOUT(controller->getMicsModel(), (QStringList{"Microphone", "Second"}), 3000);
    controller->updateMikeList();
    QCOMPARE(controller->currentMic, 1);

    // Unplugged after the last list update, before its notification is seen.
    controller->micWatcher->stop();
    pulse.pactl({"unload-module", second});

    QSignalSpy popups(controller, &AppController::showPopupSignal);
    LogCapture::clear();
    recordOnce(2);
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(popups.count(), 1);
    QCOMPARE(popups.first().value(1).toString(),
             QString("WARNING: Audio Device \"Second\"<br/> - is not avaliable!<br/>Using \"Microphone\" instead!"));
    QCOMPARE(LogCapture::count("[AC]: in_adev=\"audio=test_mic\""), 1);
    QVERIFY(!controller->coder->micMute);
    // The choice itself is left alone.
    QCOMPARE(controller->currentMic, 1);
    QCOMPARE(SettingsManager::instance()->readSettingStr("audiodev"), QString("Second"));

    SettingsManager::instance()->writeSetting("audiodev", QString());
    QVERIFY(controller->micWatcher->start());
    controller->updateMikeList();
}

void TestRecordingSetup::noMicrophoneRecordsSilence()
{
    QTest::qWait(1100); // a file name of its own
    pulse.pactl({"unload-module", micModule});
    QTRY_VERIFY_WITH_TIMEOUT(controller->getMicsModel().isEmpty(), 3000);
    LogCapture::clear();
    recordOnce(2);
    if (QTest::currentTestFailed())
        return;
    QCOMPARE(LogCapture::count("[AC]: No devices at all, recording silence"), 1);
    // Muted although the user did not mute the microphone.
    QVERIFY(!SettingsManager::instance()->readSettingBool("mute_audio"));
    QVERIFY(controller->coder->micMute);
}

QTEST_MAIN(TestRecordingSetup)
#include "test_recording_setup.moc"
