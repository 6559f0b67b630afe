// A whole recording through the controller: a chosen rectangle, the start
// toggle, the session thread on lavfi test sources, the stop toggle, and the
// file it leaves in files_path, checked with ffprobe and sqlite3.
#include "AppController.h"
#include "UploadQueue.h"
#include "WorkflowTestSupport.h"
#include "ffmpegMux.h"
#include "ffmpegVCodecTest.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>
#include <QtTest>

class TestRecordingFlow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void recordsAndStops();
    void secondRecordingAfterTheFirst();

private:
    // Starts, records for `seconds`, stops; leaves the file's full path in `path`.
    void recordOnce(int seconds, QString& path);
    AppController* controller = nullptr;
};

void TestRecordingFlow::initTestCase()
{
    qputenv("ORLUNE_VIDEO_INPUT", "lavfi:testsrc2=size=640x360:rate=25");
    qputenv("ORLUNE_AUDIO_INPUT", "lavfi:sine=frequency=440:sample_rate=44100");
    QVERIFY(openProgramDatabase());
    controller = new AppController();
    controller->runTasks();
}

void TestRecordingFlow::cleanupTestCase()
{
    delete controller;
}

void TestRecordingFlow::recordOnce(int seconds, QString& path)
{
    controller->setSelectedRectangle(QRect(0, 0, 640, 360));
    controller->toggleRecordingSkin();
    QVERIFY(controller->is_starting);

    // Recording is set when the session thread starts; the start is complete
    // when the session reports its first data.
    QTRY_COMPARE_WITH_TIMEOUT(controller->videoState, Common::Recording, 5000);
    QTRY_VERIFY_WITH_TIMEOUT(!controller->is_starting, 15000);
    QVERIFY(controller->uploader->isRecording);
    QVERIFY2(!controller->recordingMutex.tryLock(), "the running recording holds the baton");
    QTest::qWait(seconds * 1000);

    controller->toggleRecordingSkin();
    QVERIFY(controller->is_stopping);
    QCOMPARE(controller->videoState, Common::Busy);
    QTRY_COMPARE_WITH_TIMEOUT(controller->videoState, Common::Idle, 20000);
    path = QDir(SettingsManager::instance()->readSettingStr("files_path")).filePath(controller->lastFileName);
}

void TestRecordingFlow::recordsAndStops()
{
    QString path;
    recordOnce(3, path);
    if (QTest::currentTestFailed())
        return;

    QVERIFY(!controller->uploader->isRecording);
    QVERIFY(!controller->is_starting && !controller->is_stopping);
    QVERIFY2(controller->recordingMutex.tryLock(), "the baton is released by the done report");
    controller->recordingMutex.unlock();

    static const QRegularExpression named("^\\d\\d\\.\\d\\d\\.\\d{4}_\\d\\d\\.\\d\\d\\.\\d\\d_REC\\.mp4$");
    QVERIFY2(named.match(controller->lastFileName).hasMatch(), qPrintable(controller->lastFileName));
    QVERIFY2(QFileInfo::exists(path), qPrintable(path));

    const QString streams =
        runTool("ffprobe", {"-v", "error", "-show_entries", "stream=codec_type", "-of", "csv=p=0", path});
    QVERIFY2(streams.contains("video") && streams.contains("audio"), qPrintable(streams));
    const double duration =
        runTool("ffprobe", {"-v", "error", "-show_entries", "format=duration", "-of", "csv=p=0", path}).toDouble();
    QVERIFY2(duration > 1.5 && duration < 10.0, qPrintable(QString::number(duration)));

    QVERIFY(controller->lastFileId != 0);
    QCOMPARE(controller->lastFileId, controller->coder->fileId);
    const QStringList row = sqliteRows(
        QString("SELECT file_name, file_finalized FROM files WHERE file_id=%1;").arg(controller->lastFileId));
    QCOMPARE(row, QStringList{controller->lastFileName + "|true"});
}

void TestRecordingFlow::secondRecordingAfterTheFirst()
{
    // Names have one-second resolution; make sure the second one differs.
    const QString first = controller->lastFileName;
    QTest::qWait(1100);
    // "auto" picks from the capability table that runTasks started.
    QVERIFY(controller->vcodecTest);
    QVERIFY(controller->vcodecTest->wait(30000));
    QSettings().setValue("use_vcodec", "auto");
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
    QVERIFY(QFileInfo::exists(path));
    QCOMPARE(runTool("ffprobe", {"-v", "error", "-select_streams", "v", "-show_entries", "stream=codec_name", "-of",
                                 "csv=p=0", path}),
             QString("h264"));
    QCOMPARE(sqliteRows("SELECT COUNT(*) FROM files WHERE file_finalized='true';"), QStringList{"2"});
}

QTEST_MAIN(TestRecordingFlow)
#include "test_recording_flow.moc"
