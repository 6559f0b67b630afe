// Recordings made from the command line by the real program, of a screen
// showing moving content (ffplay playing a test pattern at the top left):
// a timed recording that ends the program, one stopped by INT, one killed
// outright, and one whose disk fills up. The file is checked with ffprobe, its box structure read directly,
// and its database rows with sqlite3.
#include "OrluneProcess.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSettings>
#include <QtTest>

#include <csignal>

namespace {
QString filesPath()
{
    return QSettings(orluneConfigFile(), QSettings::NativeFormat).value(QStringLiteral("files_path")).toString();
}

QString databaseFile()
{
    return orluneDataFolder() + QStringLiteral("/orlune.sqlite");
}

QJsonObject probe(const QString& path,
                  const QString& entries = QStringLiteral("stream=codec_type,codec_name,profile,pix_fmt,width,height,"
                                                          "sample_rate,channels,duration:format=duration"),
                  const QStringList& options = {})
{
    QProcess p;
    p.start(QStringLiteral("ffprobe"),
            QStringList{"-v", "error"} + options + QStringList{"-show_entries", entries, "-of", "json", path});
    p.waitForFinished(30000);
    return QJsonDocument::fromJson(p.readAllStandardOutput()).object();
}

QJsonObject streamOf(const QJsonObject& probed, const QString& type)
{
    for (const QJsonValue& s : probed.value(QStringLiteral("streams")).toArray()) {
        if (s.toObject().value(QStringLiteral("codec_type")).toString() == type)
            return s.toObject();
    }
    return QJsonObject();
}

// The recorded file from the "file: " line of standard output.
QString printedFile(const QString& out)
{
    const QStringList lines = linesStartingWith(out, QStringLiteral("file: "));
    return lines.size() == 1 ? lines.first().mid(6).trimmed() : QString();
}

QStringList recordings()
{
    return QDir(orluneDataFolder() + QStringLiteral("/Records")).entryList({QStringLiteral("*.mp4")}, QDir::Files);
}

// file_id, file_size, file_finalized and file_segments_count of the row of a recording.
QStringList fileRow(const QString& path)
{
    return sqlite3(databaseFile(), QStringLiteral("SELECT file_id, file_size, file_finalized, file_segments_count "
                                                  "FROM files WHERE file_name='%1';")
                                       .arg(QFileInfo(path).fileName()))
        .split(QLatin1Char('|'));
}
} // namespace

class TestCommandLineRecording : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void timedRecordingEndsTheProgram();
    void interruptStopsAndFinalizes();
    void killedRecordingKeepsCompleteFragments();
    void fullDiskEndsWithConsistentRows();
    void noSoundServerRecordsSilence();

private:
    // The files row of the recording is finalized, and its segments cover the file without gaps.
    void checkDatabaseRows(const QString& path);
    // The segments rows of a file follow one another from its start; `covered` is where the last ends.
    void checkSegmentsContiguous(const QString& fileId, qint64& covered);
    QProcess player;
};

void TestCommandLineRecording::initTestCase()
{
    QVERIFY2(QFile::exists(orluneBin()), "ORLUNE_BIN must name the orlune program");
    for (const char* tool : {"ffplay", "ffprobe", "sqlite3"})
        QVERIFY2(!QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty(), tool);
    QVERIFY2(!qEnvironmentVariableIsEmpty("DISPLAY"), "the test needs the session's X server");

    // Moving content where the recording looks.
    player.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    player.start(QStringLiteral("ffplay"), {"-loglevel", "quiet", "-noborder", "-left", "0", "-top", "0", "-f", "lavfi",
                                            "testsrc2=size=1280x720:rate=25"});
    QVERIFY(player.waitForStarted(5000));
    QTest::qWait(2000);
    QCOMPARE(player.state(), QProcess::Running);
}

void TestCommandLineRecording::cleanupTestCase()
{
    player.kill();
    player.waitForFinished(5000);
}

void TestCommandLineRecording::checkDatabaseRows(const QString& path)
{
    const QStringList row = fileRow(path);
    QCOMPARE(row.size(), 4);
    const qint64 fileSize = row[1].toLongLong();
    QCOMPARE(row[2], QStringLiteral("true"));
    QCOMPARE(fileSize, QFileInfo(path).size());

    qint64 covered = 0;
    checkSegmentsContiguous(row[0], covered);
    if (QTest::currentTestFailed())
        return;
    const QString count =
        sqlite3(databaseFile(), QStringLiteral("SELECT count(*) FROM segments WHERE file_id=%1;").arg(row[0]));
    QCOMPARE(count, row[3]);
    QCOMPARE(covered, fileSize);
}

void TestCommandLineRecording::checkSegmentsContiguous(const QString& fileId, qint64& covered)
{
    const QStringList segments =
        sqlite3(databaseFile(),
                QStringLiteral("SELECT seg_id, seg_pos, seg_size FROM segments WHERE file_id=%1 ORDER BY seg_id;")
                    .arg(fileId))
            .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QVERIFY(!segments.isEmpty());
    covered = 0;
    for (int i = 0; i < segments.size(); ++i) {
        const QStringList seg = segments[i].split(QLatin1Char('|'));
        QCOMPARE(seg.size(), 3);
        QCOMPARE(seg[0].toInt(), i);
        QVERIFY2(seg[1].toLongLong() == covered, qPrintable(segments[i]));
        covered += seg[2].toLongLong();
    }
}

void TestCommandLineRecording::timedRecordingEndsTheProgram()
{
    const OrluneRun run = runOrlune({"-record", "0,0,1280,720", "-duration", "6", "-exit-when-done"}, 90000);
    QVERIFY2(run.finished, qPrintable(run.err));
    QVERIFY2(run.exitCode == 0, qPrintable(run.err));
    QVERIFY2(run.err.trimmed().isEmpty(), qPrintable(run.err));

    const QString path = printedFile(run.out);
    QVERIFY2(!path.isEmpty(), qPrintable(run.out));
    QVERIFY2(linesStartingWith(run.out, QStringLiteral("link: ")).isEmpty(), qPrintable(run.out));
    QCOMPARE(QFileInfo(path).absolutePath(), QDir(filesPath()).absolutePath());
    static const QRegularExpression named(
        QStringLiteral("^\\d\\d\\.\\d\\d\\.\\d{4}_\\d\\d\\.\\d\\d\\.\\d\\d_REC\\.mp4$"));
    QVERIFY2(named.match(QFileInfo(path).fileName()).hasMatch(), qPrintable(path));
    QVERIFY2(QFileInfo(path).size() > 0, qPrintable(path));

    const QJsonObject probed = probe(path);
    const QJsonObject video = streamOf(probed, QStringLiteral("video"));
    QCOMPARE(video.value(QStringLiteral("codec_name")).toString(), QStringLiteral("h264"));
    QCOMPARE(video.value(QStringLiteral("profile")).toString(), QStringLiteral("Main"));
    QCOMPARE(video.value(QStringLiteral("pix_fmt")).toString(), QStringLiteral("yuv420p"));
    // The default quality fits the picture into 1280x800: 1280x720 stays as it is.
    QCOMPARE(video.value(QStringLiteral("width")).toInt(), 1280);
    QCOMPARE(video.value(QStringLiteral("height")).toInt(), 720);
    const QJsonObject audio = streamOf(probed, QStringLiteral("audio"));
    QCOMPARE(audio.value(QStringLiteral("codec_name")).toString(), QStringLiteral("aac"));
    QCOMPARE(audio.value(QStringLiteral("sample_rate")).toString(), QStringLiteral("44100"));
    QCOMPARE(audio.value(QStringLiteral("channels")).toInt(), 2);
    const double duration =
        probed.value(QStringLiteral("format")).toObject().value(QStringLiteral("duration")).toString().toDouble();
    QVERIFY2(duration > 5.0 && duration < 8.0, qPrintable(QString::number(duration)));

    const QStringList boxes = topLevelBoxes(path);
    QVERIFY2(boxes.value(0) == QLatin1String("ftyp") && boxes.contains(QLatin1String("moov")),
             qPrintable(boxes.join(' ')));
    QVERIFY2(boxes.count(QStringLiteral("moof")) >= 2, qPrintable(boxes.join(' ')));

    checkDatabaseRows(path);

    // The previews beside the recording.
    QVERIFY2(QFileInfo(path + QStringLiteral(".jpg")).size() > 0, "no .jpg preview");
    QVERIFY2(QFileInfo(path + QStringLiteral(".gif")).size() > 0, "no .gif preview");
}

void TestCommandLineRecording::interruptStopsAndFinalizes()
{
    QTest::qWait(1100); // a file name and a log of its own
    const QStringList before = logNames();
    QProcess process;
    startOrlune(process, {"-record", "0,0,640,360"});
    QVERIFY(process.waitForStarted(5000));
    QString log;
    QVERIFY2(waitUntil(
                 [&] {
                     log = newLogSince(before);
                     return !log.isEmpty() && readLog(log).contains(QStringLiteral("[CLI]: recording started"));
                 },
                 60000),
             "the recording did not start");
    QTest::qWait(2000);
    ::kill(pid_t(process.processId()), SIGINT);

    const OrluneRun run = collectOrlune(process, 30000);
    QVERIFY2(run.finished, qPrintable(run.err));
    QCOMPARE(run.exitCode, 0);
    const QString path = printedFile(run.out);
    QVERIFY2(!path.isEmpty(), qPrintable(run.out));
    // Stopped as the stop button stops it, not cut off by the quit.
    QVERIFY(readLog(log).contains(QStringLiteral("[AC]: recording is active, stopping...")));
    QVERIFY(!readLog(log).contains(QStringLiteral("forcing exit")));
    const QJsonObject video = streamOf(probe(path), QStringLiteral("video"));
    QCOMPARE(video.value(QStringLiteral("width")).toInt(), 640);
    QCOMPARE(video.value(QStringLiteral("height")).toInt(), 360);
    checkDatabaseRows(path);
}

void TestCommandLineRecording::killedRecordingKeepsCompleteFragments()
{
    QTest::qWait(1100); // a file name of its own
    const QStringList before = recordings();
    QProcess process;
    startOrlune(process, {"-record", "0,0,640,480", "-duration", "30", "-exit-when-done"});
    QVERIFY(process.waitForStarted(5000));
    QElapsedTimer since;
    since.start();
    QString path;
    QVERIFY2(waitUntil(
                 [&] {
                     for (const QString& name : recordings()) {
                         if (!before.contains(name))
                             path = orluneDataFolder() + QStringLiteral("/Records/") + name;
                     }
                     return !path.isEmpty() && QFileInfo(path).size() > 100 * 1024 && since.elapsed() > 5000;
                 },
                 25000),
             "the recording did not grow");
    ::kill(pid_t(process.processId()), SIGKILL);
    const OrluneRun killed = collectOrlune(process, 10000);
    QVERIFY2(linesStartingWith(killed.out, QStringLiteral("file: ")).isEmpty(), "the recording ended before the kill");

    // What the database says is on disk is on disk, and the file stays unfinished.
    const QStringList row = fileRow(path);
    QCOMPARE(row.size(), 4);
    QCOMPARE(row[2], QStringLiteral("false"));
    qint64 covered = 0;
    checkSegmentsContiguous(row[0], covered);
    if (QTest::currentTestFailed())
        return;
    QVERIFY2(covered <= QFileInfo(path).size(),
             qPrintable(QStringLiteral("%1 > %2").arg(covered).arg(QFileInfo(path).size())));

    // The complete fragments play.
    const QJsonObject probed =
        probe(path, QStringLiteral("stream=codec_type,codec_name,nb_read_packets"), {QStringLiteral("-count_packets")});
    const QJsonObject video = streamOf(probed, QStringLiteral("video"));
    QCOMPARE(video.value(QStringLiteral("codec_name")).toString(), QStringLiteral("h264"));
    QCOMPARE(streamOf(probed, QStringLiteral("audio")).value(QStringLiteral("codec_name")).toString(),
             QStringLiteral("aac"));
    const int packets = video.value(QStringLiteral("nb_read_packets")).toString().toInt();
    QVERIFY2(packets > 25, qPrintable(QString::number(packets)));

    // The next start records as usual: no stale lock, and the unfinished row is no obstacle.
    const OrluneRun next = runOrlune({"-record", "0,0,640,480", "-duration", "2", "-exit-when-done"}, 60000);
    QVERIFY2(next.finished, qPrintable(next.err));
    QVERIFY2(next.exitCode == 0, qPrintable(next.err));
    QVERIFY2(!printedFile(next.out).isEmpty(), qPrintable(next.out));
}

// The recordings folder is a small tmpfs, mounted in a mount namespace of the
// program's own (an unprivileged user namespace maps the tester to root there).
// When the namespace ends the tmpfs goes with it, so the recording is copied out first.
void TestCommandLineRecording::fullDiskEndsWithConsistentRows()
{
    if (QProcess::execute(QStringLiteral("unshare"), {"--user", "--map-root-user", "--mount", "true"}) != 0)
        QSKIP("this system allows no user namespaces for the small disk");
    QTest::qWait(1100);
    const QString small = QDir::homePath() + QStringLiteral("/small-disk");
    const QString copied = QDir::homePath() + QStringLiteral("/copied");
    QVERIFY(QDir().mkpath(small) && QDir().mkpath(copied));
    const QString oldFilesPath = filesPath();
    QSettings(orluneConfigFile(), QSettings::NativeFormat).setValue(QStringLiteral("files_path"), small);
    const QStringList before = logNames();

    const QString script = QStringLiteral("mount -t tmpfs -o size=400k none \"$1\" || exit 97; shift 2; \"$@\"; "
                                          "status=$?; cp -p \"$0\"/*.mp4 %1/; exit $status")
                               .arg(copied);
    QProcess process;
    process.setProcessEnvironment(orluneEnvironment());
    QElapsedTimer took;
    took.start();
    process.start(QStringLiteral("unshare"),
                  {"--user", "--map-root-user", "--mount", "sh", "-c", script, small, small, "--", orluneBin(),
                   "-record", "0,0,640,480", "-duration", "40", "-exit-when-done"});
    const OrluneRun run = collectOrlune(process, 90000);
    QSettings(orluneConfigFile(), QSettings::NativeFormat).setValue(QStringLiteral("files_path"), oldFilesPath);
    QVERIFY2(run.finished, qPrintable(run.err));
    QVERIFY2(run.exitCode != 97, "the small disk could not be mounted");

    // It ended by itself long before the 40 seconds, saying why, and finalized what it had.
    const QString log = readLog(newLogSince(before));
    QVERIFY2(log.contains(QStringLiteral("write error: ")), qPrintable(log.right(3000)));
    QVERIFY2(took.elapsed() < 30000, qPrintable(QString::number(took.elapsed())));
    QVERIFY2(!log.contains(QStringLiteral("[CLI]: stopping the recording")), qPrintable(log.right(3000)));
    const QStringList files = QDir(copied).entryList({QStringLiteral("*.mp4")}, QDir::Files);
    QCOMPARE(files.size(), 1);
    const QString path = copied + QLatin1Char('/') + files.first();

    // Every row covers bytes that reached the disk, without gaps, and the
    // rows' bytes are a file whose fragments play.
    const QStringList row = fileRow(path);
    QCOMPARE(row.size(), 4);
    qint64 covered = 0;
    checkSegmentsContiguous(row[0], covered);
    if (QTest::currentTestFailed())
        return;
    QVERIFY2(covered > 0 && covered <= QFileInfo(path).size(),
             qPrintable(QStringLiteral("%1 of %2").arg(covered).arg(QFileInfo(path).size())));
    QFile whole(path);
    QVERIFY(whole.open(QIODevice::ReadWrite));
    QVERIFY(whole.resize(covered));
    whole.close();
    const QJsonObject probed =
        probe(path, QStringLiteral("stream=codec_type,codec_name,nb_read_packets"), {QStringLiteral("-count_packets")});
    const QJsonObject video = streamOf(probed, QStringLiteral("video"));
    QCOMPARE(video.value(QStringLiteral("codec_name")).toString(), QStringLiteral("h264"));
    QVERIFY2(video.value(QStringLiteral("nb_read_packets")).toString().toInt() > 25, qPrintable(path));

    // The program is fine afterwards.
    const OrluneRun next = runOrlune({"-record", "0,0,640,480", "-duration", "2", "-exit-when-done"}, 60000);
    QVERIFY2(next.finished && next.exitCode == 0, qPrintable(next.err));
}

// Without a reachable sound server there is no microphone and no system
// sound: the recording is made all the same, its AAC track silent.
void TestCommandLineRecording::noSoundServerRecordsSilence()
{
    QTest::qWait(1100);
    QProcessEnvironment env = orluneEnvironment();
    env.insert(QStringLiteral("PULSE_SERVER"),
               QStringLiteral("unix:") + QDir::homePath() + QStringLiteral("/no-such-socket"));
    const OrluneRun run = runOrlune({"-record", "0,0,640,480", "-duration", "3", "-exit-when-done"}, 90000, env);
    QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.err));
    const QString path = printedFile(run.out);
    QVERIFY2(!path.isEmpty(), qPrintable(run.out));
    const QJsonObject probed = probe(path);
    QCOMPARE(streamOf(probed, QStringLiteral("video")).value(QStringLiteral("codec_name")).toString(),
             QStringLiteral("h264"));
    const QJsonObject audio = streamOf(probed, QStringLiteral("audio"));
    QCOMPARE(audio.value(QStringLiteral("codec_name")).toString(), QStringLiteral("aac"));
    QVERIFY2(audio.value(QStringLiteral("duration")).toString().toDouble() > 2.0, qPrintable(path));
    checkDatabaseRows(path);
}

QTEST_GUILESS_MAIN(TestCommandLineRecording)
#include "test_command_line_recording.moc"
