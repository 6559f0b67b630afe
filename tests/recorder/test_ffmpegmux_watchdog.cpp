// The session's watchdog ending a recording whose only sound source has gone
// quiet: the first check only arms the watchdog, the next one judges.

#include "MuxTestSupport.h"

#include <QElapsedTimer>
#include <QtTest>

class TestFfmpegMuxWatchdog : public QObject
{
    Q_OBJECT

private slots:
    void silentSourceEndsAtSecondCheck()
    {
        TestLibrary library;
        QVERIFY(library.open());

        ffmpegMux coder;
        SessionEvents session(coder);
        // Without system sound the microphone is the mixer's only input, and it
        // delivers for one second only.
        coder.disableSys = true;
        coder.setInputOutput(kTestVideo, "lavfi:sine=frequency=440:duration=1", "quiet.mp4", 0, library.dir.path(), 0);
        coder.setCaptureParams(0, 0, 640, 360);
        QElapsedTimer sinceStart;
        const QStringList events = session.run(coder, [&] {
            sinceStart.start();
            QTRY_VERIFY_WITH_TIMEOUT(session.finished(), 90000);
        });
        QCOMPARE(events, QStringList({"started:0", "done:0", "failed:1"}));
        // 1000 ticks to the first check, which must not judge, then 2000 more.
        QVERIFY2(sinceStart.elapsed() >= 29000, qPrintable(QString::number(sinceStart.elapsed())));

        // A recording ended by the watchdog is still closed properly.
        const QStringList row =
            sqliteTool(library.databasePath(),
                       "SELECT file_finalized, file_segments_count, file_size FROM files WHERE file_id="
                           + QString::number(coder.fileId) + ";")
                .split('|');
        QCOMPARE(row.size(), 3);
        QCOMPARE(row[0], QString("true"));
        QVERIFY(row[1].toInt() >= 2);
        QCOMPARE(row[2].toLongLong(), QFileInfo(library.dir.path() + "/quiet.mp4").size());
    }
};

QTEST_GUILESS_MAIN(TestFfmpegMuxWatchdog)
#include "test_ffmpegmux_watchdog.moc"
