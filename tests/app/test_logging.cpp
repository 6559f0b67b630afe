// The log of a run: file name, bare lines, FFmpeg's messages, and the sweep
// of old log files.
#include "LogSweep.h"
#include "Logging.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

namespace {

void callFfmpegLog(void* object, int level, const char* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    ffmpegLogCallback(object, level, fmt, args);
    va_end(args);
}

// An object FFmpeg can log for: its first member points at its class.
struct LoggingObject
{
    const AVClass* avClass;
};

AVClass makeClass(const char* name, AVClassCategory category)
{
    AVClass avClass{};
    avClass.class_name = name;
    avClass.item_name = av_default_item_name;
    avClass.version = LIBAVUTIL_VERSION_INT;
    avClass.category = category;
    return avClass;
}

QStringList readLines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    return QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts);
}

void createFile(const QString& path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("line\n");
}

} // namespace

class TestLogging : public QObject
{
    Q_OBJECT
    QtMessageHandler testHandler = nullptr;
    QTemporaryDir logDir;
    QString logPath;

    // Sends this process's messages into a fresh log file for one test.
    void openLog(const QString& name)
    {
        logPath = logDir.filePath(name);
        testHandler = qInstallMessageHandler(nullptr);
        QVERIFY(Logging::openLogFile(logDir.path(), name));
    }

    void closeLog()
    {
        Logging::closeLogFile();
        qInstallMessageHandler(testHandler);
    }

private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName("Halvenmoor");
        QCoreApplication::setApplicationName("orlune");
        QVERIFY(logDir.isValid());
    }

    void logFileNameIsTheStartTime()
    {
        const QString name = Logging::logFileName();
        const QDateTime named = QDateTime::fromString(name, "'LOG_'yyyy.MM.dd_HH.mm.ss'.log'");
        QVERIFY2(named.isValid() && qAbs(named.secsTo(QDateTime::currentDateTime())) < 5, qPrintable(name));
    }

    void linesAreBareTextAppended()
    {
        {
            QFile earlier(logDir.filePath("LOG_append.log"));
            QVERIFY(earlier.open(QIODevice::WriteOnly));
            earlier.write("from before\n");
        }
        openLog("LOG_append.log");
        qDebug() << "[T]: debug" << 42;
        qWarning("[T]: warning with ümlaut");
        qCritical("[T]: critical");
        qInfo("[T]: info");
        // Every line is flushed as it is written, before the file is closed.
        const QStringList whileOpen = readLines(logPath);
        closeLog();
        QCOMPARE(whileOpen, QStringList({"from before", "[T]: debug 42", "[T]: warning with ümlaut", "[T]: critical",
                                         "[T]: info"}));
    }

    void ffmpegLevelsAndEncoderFilter()
    {
        AVClass encoderClass = makeClass("libx264", AV_CLASS_CATEGORY_ENCODER);
        AVClass muxerClass = makeClass("mp4", AV_CLASS_CATEGORY_MUXER);
        AVClass mfClass = makeClass("h264_mf", AV_CLASS_CATEGORY_ENCODER);
        LoggingObject encoder{&encoderClass};
        LoggingObject muxer{&muxerClass};
        LoggingObject mf{&mfClass};

        openLog("LOG_ffmpeg.log");
        av_log_set_level(AV_LOG_INFO);
        callFfmpegLog(&encoder, AV_LOG_INFO, "encoder info %d\n", 1);
        callFfmpegLog(&muxer, AV_LOG_INFO, "muxer info\n");
        callFfmpegLog(nullptr, AV_LOG_INFO, "no object info\n");
        callFfmpegLog(&muxer, AV_LOG_PANIC, "muxer panic\n");
        callFfmpegLog(&muxer, AV_LOG_FATAL, "muxer fatal\n");
        callFfmpegLog(&muxer, AV_LOG_ERROR, "muxer error\n");
        callFfmpegLog(nullptr, AV_LOG_WARNING, "plain warning\n");
        callFfmpegLog(&encoder, AV_LOG_VERBOSE, "verbose above the level\n");
        callFfmpegLog(&mf, AV_LOG_INFO, "MFT name: 'H264 Encoder MFT'\n");
        av_log_set_level(AV_LOG_DEBUG);
        callFfmpegLog(&encoder, AV_LOG_VERBOSE, "encoder verbose\n");
        callFfmpegLog(&encoder, AV_LOG_DEBUG, "encoder debug\n");
        callFfmpegLog(&muxer, AV_LOG_DEBUG, "muxer debug\n");
        callFfmpegLog(&encoder, AV_LOG_TRACE, "trace above the level\n");
        av_log_set_level(64);
        callFfmpegLog(&encoder, AV_LOG_TRACE, "encoder trace\n");
        callFfmpegLog(&encoder, 60, "encoder beyond trace\n");
        av_log_set_level(AV_LOG_INFO);
        closeLog();

        const QStringList lines = readLines(logPath);
        const QString encoderInfo =
            QString("[FFmpeg] INFO [libx264 @ 0x%1] encoder info 1").arg(quintptr(&encoder), 0, 16);
        QVERIFY2(lines.contains(encoderInfo), qPrintable(lines.join('\n')));
        QVERIFY(lines.contains("[FFmpeg] WARNING plain warning"));
        QVERIFY(lines.contains("[VENC]: MFT name: H264 Encoder MFT"));
        for (const char* start : {"PANIC [mp4 @ ", "FATAL [mp4 @ ", "ERROR [mp4 @ ", "VERBOSE [libx264 @ ",
                                  "DEBUG [libx264 @ ", "TRACE [libx264 @ ", "[libx264 @ "})
            QVERIFY2(!lines.filter(QRegularExpression("^\\[FFmpeg\\] " + QRegularExpression::escape(start))).isEmpty(),
                     start);
        const QString all = lines.join('\n');
        for (const char* dropped : {"muxer info", "no object info", "above the level", "muxer debug"})
            QVERIFY2(!all.contains(dropped), dropped);
        QCOMPARE(lines.size(), 11);
    }

    void ffmpegStaysOnStderrWhenAsked()
    {
        if (isatty(STDERR_FILENO))
            QSKIP("stderr is a terminal: FFmpeg keeps its own logger either way");
        AVClass encoderClass = makeClass("libx264", AV_CLASS_CATEGORY_ENCODER);
        LoggingObject encoder{&encoderClass};

        openLog("LOG_route.log");
        av_log_set_callback(av_log_default_callback);
        qputenv("FFMPEG_LOG_STDERR", "1");
        Logging::routeFfmpegLog();
        av_log(&encoder, AV_LOG_ERROR, "kept on stderr\n");
        qunsetenv("FFMPEG_LOG_STDERR");
        Logging::routeFfmpegLog();
        av_log(&encoder, AV_LOG_ERROR, "routed into the log\n");
        av_log_set_callback(av_log_default_callback);
        closeLog();

        const QString all = readLines(logPath).join('\n');
        QVERIFY(!all.contains("kept on stderr"));
        QVERIFY(all.contains("routed into the log"));
    }

    void sweepKeepsProtectedAndYoungLogs()
    {
        QTemporaryDir folder;
        const QStringList names = {"LOG_2020.01.01_keep.log", "LOG_2020.01.02_KEEP.log", "LOG_a.log", "LOG_b.log",
                                   "notes.txt"};
        for (const QString& name : names)
            createFile(folder.filePath(name));
        const QDate created = QDate::currentDate();

        // Rather than aging the files, the sweep is asked about later days.
        deleteOldLogFilesIn(folder.path(), 7, created.addDays(7));
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files).size(), 5);

        deleteOldLogFilesIn(folder.path(), 7, created.addDays(8));
        const QStringList left = {"LOG_2020.01.01_keep.log", "LOG_2020.01.02_KEEP.log", "notes.txt"};
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files), left);
        deleteOldLogFilesIn(folder.path(), 7, created.addDays(3650));
        QCOMPARE(QDir(folder.path()).entryList(QDir::Files), left);
    }

    // The birth time decides where the file system keeps one; otherwise the last change.
    void sweepOfTheDataFolderUsesBirthTime()
    {
        const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + "/LOG_2000.01.01_00.00.00.log";
        createFile(path);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.setFileTime(QDateTime::currentDateTime().addDays(-30), QFileDevice::FileModificationTime));
        file.close();

        const bool hasBirthTime = QFileInfo(path).birthTime().isValid();
        deleteOldLogFiles(7);
        QCOMPARE(QFile::exists(path), hasBirthTime);
    }
};

QTEST_MAIN(TestLogging)
#include "test_logging.moc"
