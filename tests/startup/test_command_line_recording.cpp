// Recordings made from the command line by the real program, of a screen
// showing moving content: a timed recording that ends the program, one killed
// outright, one stopped by INT (the start after the kill), one whose disk
// fills up, and one without a sound server (the start after the full disk).
// The file is checked with ffprobe, its box structure read directly, and its
// database rows with sqlite3.
#include "LoggedStart.h"
#include "MovingPicture.h"

#include <QFileInfo>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSettings>
#include <QtTest>

#include <csignal>

namespace {
// file_id, file_size, file_finalized and file_segments_count of the row of a recording.
QStringList fileRow(const QString& path)
{
    return sqliteTool(orluneDatabaseFile(), QString("SELECT file_id, file_size, file_finalized, file_segments_count "
                                                    "FROM files WHERE file_name='%1';")
                                                .arg(QFileInfo(path).fileName()))
        .split('|');
}

// Where the segments rows of a file end when they follow one another from its
// start, numbered from 0; -1 when there are none or they leave a gap.
qint64 segmentsCover(const QString& fileId)
{
    const QStringList segments = sqliteRowsOf(
        orluneDatabaseFile(),
        QString("SELECT seg_id, seg_pos, seg_size FROM segments WHERE file_id=%1 ORDER BY seg_id;").arg(fileId));
    qint64 covered = segments.isEmpty() ? -1 : 0;
    for (int i = 0; i < segments.size() && covered >= 0; ++i) {
        const QStringList seg = segments[i].split('|');
        covered = seg.size() == 3 && seg[0].toInt() == i && seg[1].toLongLong() == covered
                      ? covered + seg[2].toLongLong()
                      : -1;
    }
    return covered;
}

// The values of a stream's entries, joined by spaces.
QString streamValues(const QJsonObject& probed, const QString& type, const QStringList& keys)
{
    QStringList values;
    for (const QString& key : keys)
        values << streamOf(probed, type).value(key).toVariant().toString();
    return values.join(' ');
}

// Packets of the video track that play, or -1 when it is not H.264 with AAC beside it.
int playableVideoPackets(const QString& path)
{
    const QJsonObject probed = ffprobe(path, "stream=codec_type,codec_name,nb_read_packets", {"-count_packets"});
    const QJsonObject video = streamOf(probed, "video");
    if (video.value("codec_name").toString() != "h264"
        || streamOf(probed, "audio").value("codec_name").toString() != "aac")
        return -1;
    return video.value("nb_read_packets").toString().toInt();
}
} // namespace

class TestCommandLineRecording : public QObject
{
    Q_OBJECT

    MovingPicture picture;

    // The files row of the recording is finalized, and its segments cover the file without gaps.
    void checkFinalizedRows(const QString& path)
    {
        const QStringList row = fileRow(path);
        QCOMPARE(row.size(), 4);
        QCOMPARE(row[2], QString("true"));
        QCOMPARE(row[1].toLongLong(), QFileInfo(path).size());
        QCOMPARE(segmentsCover(row[0]), QFileInfo(path).size());
        QCOMPARE(
            sqliteTool(orluneDatabaseFile(), QString("SELECT count(*) FROM segments WHERE file_id=%1;").arg(row[0])),
            row[3]);
    }

private slots:
    void initTestCase()
    {
        for (const char* tool : {"ffplay", "ffprobe", "sqlite3"})
            QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
        QVERIFY2(!qEnvironmentVariableIsEmpty("DISPLAY"), "the test needs the session's X server");
        QVERIFY(picture.start(QSize(1280, 720)));
    }

    void timedRecordingEndsTheProgram()
    {
        const OrluneRun run = runOrlune({"-record", "0,0,1280,720", "-duration", "6", "-exit-when-done"}, 90000);
        QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.err));
        QVERIFY2(run.err.trimmed().isEmpty(), qPrintable(run.err));

        const QString path = printedFile(run.out);
        QVERIFY2(!path.isEmpty(), qPrintable(run.out));
        QVERIFY2(linesStartingWith(run.out, "link: ").isEmpty(), qPrintable(run.out));
        QCOMPARE(QFileInfo(path).absolutePath(), QDir(orluneFilesPath()).absolutePath());
        static const QRegularExpression named("^\\d\\d\\.\\d\\d\\.\\d{4}_\\d\\d\\.\\d\\d\\.\\d\\d_REC\\.mp4$");
        QVERIFY2(named.match(QFileInfo(path).fileName()).hasMatch(), qPrintable(path));

        const QJsonObject probed = ffprobe(path);
        // The default quality fits the picture into 1280x800: 1280x720 stays as it is.
        QCOMPARE(streamValues(probed, "video", {"codec_name", "profile", "pix_fmt", "width", "height"}),
                 QString("h264 Main yuv420p 1280 720"));
        QCOMPARE(streamValues(probed, "audio", {"codec_name", "sample_rate", "channels"}), QString("aac 44100 2"));
        const double duration = probed.value("format").toObject().value("duration").toString().toDouble();
        QVERIFY2(duration > 5.0 && duration < 8.0, qPrintable(QString::number(duration)));

        const QStringList boxes = topLevelBoxes(path);
        QVERIFY2(boxes.value(0) == "ftyp" && boxes.contains("moov") && boxes.count("moof") >= 2,
                 qPrintable(boxes.join(' ')));
        checkFinalizedRows(path);
        QVERIFY2(QFileInfo(path + ".jpg").size() > 0, "no .jpg preview");
        QVERIFY2(QFileInfo(path + ".gif").size() > 0, "no .gif preview");
    }

    void killedRecordingKeepsCompleteFragments()
    {
        QTest::qWait(1100); // a file name of its own
        const QStringList before = orluneRecordings();
        QProcess process;
        startOrlune(process, {"-record", "0,0,640,480", "-duration", "30", "-exit-when-done"});
        QVERIFY(process.waitForStarted(5000));
        QElapsedTimer since;
        since.start();
        QString path;
        QVERIFY2(waitUntil(
                     [&] {
                         for (const QString& name : orluneRecordings())
                             if (!before.contains(name))
                                 path = orluneDataFolder() + "/Records/" + name;
                         return !path.isEmpty() && QFileInfo(path).size() > 100 * 1024 && since.elapsed() > 5000;
                     },
                     25000),
                 "the recording did not grow");
        ::kill(pid_t(process.processId()), SIGKILL);
        const OrluneRun killed = collectOrlune(process, 10000);
        QVERIFY2(linesStartingWith(killed.out, "file: ").isEmpty(), "the recording ended before the kill");

        // What the database says is on disk is on disk, the file stays
        // unfinished, and its complete fragments play.
        const QStringList row = fileRow(path);
        QCOMPARE(row.size(), 4);
        QCOMPARE(row[2], QString("false"));
        const qint64 covered = segmentsCover(row[0]);
        QVERIFY2(covered >= 0 && covered <= QFileInfo(path).size(), qPrintable(QString::number(covered)));
        const int packets = playableVideoPackets(path);
        QVERIFY2(packets > 25, qPrintable(QString::number(packets)));
    }

    // After the kill: no stale lock, and the unfinished row is no obstacle.
    void interruptStopsAndFinalizes()
    {
        QTest::qWait(1100); // a file name and a log of its own
        QProcess process;
        const QString log = startUntilLogged(process, {"-record", "0,0,640,360"}, "[CLI]: recording started");
        QVERIFY2(!log.isEmpty(), "the recording did not start");
        QTest::qWait(2000);
        ::kill(pid_t(process.processId()), SIGINT);

        const OrluneRun run = collectOrlune(process, 30000);
        QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.err));
        const QString path = printedFile(run.out);
        QVERIFY2(!path.isEmpty(), qPrintable(run.out));
        // Stopped as the stop button stops it, not cut off by the quit.
        QVERIFY(readLog(log).contains("[AC]: recording is active, stopping..."));
        QVERIFY(!readLog(log).contains("forcing exit"));
        QCOMPARE(streamValues(ffprobe(path), "video", {"width", "height"}), QString("640 360"));
        checkFinalizedRows(path);
    }

    // The recordings folder is a small tmpfs, mounted in a mount namespace of the
    // program's own (an unprivileged user namespace maps the tester to root there).
    // When the namespace ends the tmpfs goes with it, so the recording is copied out first.
    void fullDiskEndsWithConsistentRows()
    {
        if (QProcess::execute("unshare", {"--user", "--map-root-user", "--mount", "true"}) != 0)
            QSKIP("this system allows no user namespaces for the small disk");
        QTest::qWait(1100);
        const QString small = QDir::homePath() + "/small-disk";
        const QString copied = QDir::homePath() + "/copied";
        QVERIFY(QDir().mkpath(small) && QDir().mkpath(copied));
        const QString oldFilesPath = orluneFilesPath();
        QSettings(orluneConfigFile(), QSettings::NativeFormat).setValue("files_path", small);
        const QStringList before = logNames();

        const QString script = QString("mount -t tmpfs -o size=400k none \"$1\" || exit 97; shift 2; \"$@\"; "
                                       "status=$?; cp -p \"$0\"/*.mp4 %1/; exit $status")
                                   .arg(copied);
        QProcess process;
        process.setProcessEnvironment(orluneEnvironment());
        QElapsedTimer took;
        took.start();
        process.start("unshare", {"--user", "--map-root-user", "--mount", "sh", "-c", script, small, small, "--",
                                  orluneBin(), "-record", "0,0,640,480", "-duration", "40", "-exit-when-done"});
        const OrluneRun run = collectOrlune(process, 90000);
        QSettings(orluneConfigFile(), QSettings::NativeFormat).setValue("files_path", oldFilesPath);
        QVERIFY2(run.finished, qPrintable(run.err));
        QVERIFY2(run.exitCode != 97, "the small disk could not be mounted");

        // It ended by itself long before the 40 seconds, saying why, and finalized what it had.
        const QString log = readLog(newLogSince(before));
        QVERIFY2(log.contains("write error: "), qPrintable(log.right(3000)));
        QVERIFY2(took.elapsed() < 30000, qPrintable(QString::number(took.elapsed())));
        QVERIFY2(!log.contains("[CLI]: stopping the recording"), qPrintable(log.right(3000)));
        const QStringList files = QDir(copied).entryList({"*.mp4"}, QDir::Files);
        QCOMPARE(files.size(), 1);
        const QString path = copied + '/' + files.first();

        // Every row covers bytes that reached the disk, without gaps, and the
        // rows' bytes are a file whose fragments play.
        const QStringList row = fileRow(path);
        QCOMPARE(row.size(), 4);
        const qint64 covered = segmentsCover(row[0]);
        QVERIFY2(covered > 0 && covered <= QFileInfo(path).size(),
                 qPrintable(QString("%1 of %2").arg(covered).arg(QFileInfo(path).size())));
        QVERIFY(QFile::resize(path, covered));
        QVERIFY2(playableVideoPackets(path) > 25, qPrintable(path));
    }

    // Without a reachable sound server there is no microphone and no system
    // sound: the recording is made all the same, its AAC track silent. Being
    // the start after the full disk, it also shows the program is fine afterwards.
    void noSoundServerRecordsSilence()
    {
        QTest::qWait(1100);
        QProcessEnvironment env = orluneEnvironment();
        env.insert("PULSE_SERVER", "unix:" + QDir::homePath() + "/no-such-socket");
        const OrluneRun run = runOrlune({"-record", "0,0,640,480", "-duration", "3", "-exit-when-done"}, 90000, env);
        QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.err));
        const QString path = printedFile(run.out);
        QVERIFY2(!path.isEmpty(), qPrintable(run.out));
        const QJsonObject probed = ffprobe(path);
        QCOMPARE(streamOf(probed, "video").value("codec_name").toString(), QString("h264"));
        const QJsonObject audio = streamOf(probed, "audio");
        QCOMPARE(audio.value("codec_name").toString(), QString("aac"));
        QVERIFY2(audio.value("duration").toString().toDouble() > 2.0, qPrintable(path));
        checkFinalizedRows(path);
    }
};

QTEST_GUILESS_MAIN(TestCommandLineRecording)
#include "test_command_line_recording.moc"
