// What a run leaves behind: its log (name, bare lines, FFmpeg's messages, the sweep)
// and crash reports (message events, upload, a death by signal or fatal message).
#include "CrashReport.h"
#include "LogSweep.h"
#include "Logging.h"
#include "Version.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <sys/resource.h>
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
    const AVClass* avClass = &own;
    AVClass own{};

    LoggingObject(const char* name, AVClassCategory category)
    {
        own.class_name = name;
        own.item_name = av_default_item_name;
        own.version = LIBAVUTIL_VERSION_INT;
        own.category = category;
    }
};

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList readLines(const QString& path)
{
    return QString::fromUtf8(readFile(path)).split('\n', Qt::SkipEmptyParts);
}

void createFile(const QString& path, const QByteArray& content = "line\n")
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

QJsonObject readEvent(const QString& path)
{
    return QJsonDocument::fromJson(readFile(path)).object();
}

QStringList eventFiles(const QString& folder, const QString& pattern = "*.json")
{
    return QDir(folder).entryList({pattern}, QDir::Files);
}

bool isRecentTimestamp(const QJsonValue& value)
{
    const QDateTime time = QDateTime::fromString(value.toString(), Qt::ISODate);
    return time.isValid() && qAbs(time.secsTo(QDateTime::currentDateTimeUtc())) < 60;
}

// Runs the helper without leaving core files behind.
QProcess* startHelper(const QStringList& arguments)
{
    auto* process = new QProcess;
    process->setChildProcessModifier([] {
        struct rlimit none = {0, 0};
        setrlimit(RLIMIT_CORE, &none);
    });
    process->start(CRASH_HELPER, arguments);
    return process;
}

// Collects the bodies of the POST requests it receives and answers 200.
class EventSink : public QTcpServer
{
public:
    QList<QByteArray> bodies;
    QList<QByteArray> requestLines;

    EventSink()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection())
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { take(socket); });
        });
    }

private:
    void take(QTcpSocket* socket)
    {
        QByteArray& buffer = pending[socket];
        buffer += socket->readAll();
        const int headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        const QByteArray header = buffer.left(headerEnd).toLower();
        const int at = header.indexOf("content-length:");
        const int length = at < 0 ? 0 : header.mid(at + 15, header.indexOf("\r\n", at) - at - 15).trimmed().toInt();
        if (buffer.size() < headerEnd + 4 + length)
            return;
        requestLines.append(buffer.left(buffer.indexOf("\r\n")));
        bodies.append(buffer.mid(headerEnd + 4, length));
        pending.remove(socket);
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        socket->disconnectFromHost();
    }

    QHash<QTcpSocket*, QByteArray> pending;
};

} // namespace

class TestLogsAndCrashReports : public QObject
{
    Q_OBJECT
    QtMessageHandler testHandler = nullptr;
    QTemporaryDir logDir;
    QString logPath;

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
        createFile(logDir.filePath("LOG_append.log"), "from before\n");
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
        LoggingObject encoder("libx264", AV_CLASS_CATEGORY_ENCODER), muxer("mp4", AV_CLASS_CATEGORY_MUXER),
            mf("h264_mf", AV_CLASS_CATEGORY_ENCODER);

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
        LoggingObject encoder("libx264", AV_CLASS_CATEGORY_ENCODER);

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
        QVERIFY(!all.contains("kept on stderr") && all.contains("routed into the log"));
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

    void messageEventsAreWrittenAsJson()
    {
        QTemporaryDir data;
        const QString folder = data.filePath("sentry-native");
        CrashReport::init(folder, "orlune@" ORLUNE_VERSION, QString());
        CrashReport::setUser({{"id", "token"}, {"username", "ann"}, {"machine_id", "{hw}"}});

        const QString path = CrashReport::captureMessage(2, "[MUX]:", "[MUX]: encoder stalled");
        QVERIFY(path.startsWith(folder + "/"));
        const QJsonObject event = readEvent(path);
        QCOMPARE(QStringList({event["level"].toString(), event["logger"].toString(), event["message"].toString(),
                              event["release"].toString()}),
                 QStringList({"error", "[MUX]:", "[MUX]: encoder stalled", "orlune@" ORLUNE_VERSION}));
        QVERIFY(isRecentTimestamp(event["timestamp"]));
        QCOMPARE(event["user"].toObject(), QJsonObject({{"id", "token"}, {"username", "ann"}, {"machine_id", "{hw}"}}));

        sentryCaptureWarning("[UP]:", "w");
        sentryCaptureFatal("[VENC]", "f");
        CrashReport::removeUser();
        sentryCaptureError("[AC]:", "e");
        QMap<QString, QJsonObject> byLevel;
        for (const QString& name : eventFiles(folder))
            byLevel[readEvent(folder + "/" + name)["level"].toString()] = readEvent(folder + "/" + name);
        QCOMPARE(byLevel.size(), 3);
        QCOMPARE(byLevel["warning"]["logger"].toString(), QString("[UP]:"));
        QCOMPARE(byLevel["fatal"]["logger"].toString(), QString("[VENC]"));
        QCOMPARE(byLevel["fatal"]["message"].toString(), QString("f"));
        QCOMPARE(eventFiles(folder).size(), 4);
        CrashReport::close();
    }

    void eventsArePostedToTheEndpoint()
    {
        EventSink sink;
        QVERIFY(sink.listen(QHostAddress::LocalHost));
        QTemporaryDir data;
        const QString folder = data.filePath("sentry-native");
        QVERIFY(QDir().mkpath(folder));
        // A crash event left by an earlier run waits for the endpoint.
        createFile(folder + "/earlier.pending.json", R"({"event_id":"earlier","level":"fatal"})");

        CrashReport::init(folder, "orlune@" ORLUNE_VERSION,
                          QString("http://127.0.0.1:%1/api/store/").arg(sink.serverPort()));
        CrashReport::captureMessage(1, "[UP]:", "upload slow");
        QTRY_COMPARE_WITH_TIMEOUT(sink.bodies.size(), 2, 10000);
        CrashReport::close();

        // The two posts travel on connections of their own and may arrive in either order.
        QStringList received;
        for (int i = 0; i < 2; ++i) {
            QVERIFY(sink.requestLines[i].startsWith("POST /api/store/ "));
            const QJsonObject posted = QJsonDocument::fromJson(sink.bodies[i]).object();
            received << posted["event_id"].toString() + "|" + posted["message"].toString();
        }
        QVERIFY(received.contains("earlier|"));
        QCOMPARE(received.filter(QRegularExpression("^[0-9a-f]{32}\\|upload slow$")).size(), 1);
        QVERIFY(QFile::exists(folder + "/earlier.json"));
        QVERIFY(eventFiles(folder, "*.pending.json").isEmpty());
    }

    // A fatal signal leaves a pending event with a backtrace; a fatal message
    // is reported, logged and ends the process with 1.
    void fatalEndWritesEvent_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<int>("exitCode"); // the signal for a crash
        QTest::addColumn<QString>("message");
        QTest::newRow("segv") << "segv" << SIGSEGV << "Fatal signal 11 (SIGSEGV)";
        QTest::newRow("abort") << "abort" << SIGABRT << "Fatal signal 6 (SIGABRT)";
        QTest::newRow("fatal message") << "fatal" << 1 << "[T]: the end";
    }

    void fatalEndWritesEvent()
    {
        QFETCH(QString, mode);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        const bool crash = mode != "fatal";
        QTemporaryDir folder;
        std::unique_ptr<QProcess> helper(startHelper({mode, folder.path(), crash ? QString() : folder.path()}));
        QVERIFY(helper->waitForFinished(20000));
        QCOMPARE(helper->exitStatus(), crash ? QProcess::CrashExit : QProcess::NormalExit);
        QCOMPARE(helper->exitCode(), exitCode);

        const QStringList files = eventFiles(folder.path(), crash ? "*.pending.json" : "*.json");
        QCOMPARE(files.size(), 1);
        const QJsonObject event = readEvent(folder.filePath(files[0]));
        QCOMPARE(event["level"].toString(), QString("fatal"));
        QCOMPARE(event["message"].toString(), message);
        if (!crash) {
            QVERIFY(helper->readAllStandardError().contains("[T]: the end\n"));
            QCOMPARE(event["logger"].toString(), QString("[FATAL]"));
            QCOMPARE(readFile(folder.filePath("LOG_fatal.log")), QByteArray("[T]: the end\n"));
            return;
        }
        QCOMPARE(event["release"].toString(), QString("orlune@test"));
        QCOMPARE(event["event_id"].toString() + ".pending.json", files[0]);
        QCOMPARE(event["user"].toObject()["username"].toString(), QString("ann \"the tester\""));
        QVERIFY(isRecentTimestamp(event["timestamp"]));
        const QByteArray frames = QJsonDocument(event["backtrace"].toArray()).toJson();
        QVERIFY2(event["backtrace"].toArray().size() >= 3 && frames.contains("app_crash_helper"), frames.constData());
    }
};

QTEST_MAIN(TestLogsAndCrashReports)
#include "test_logs_and_crash_reports.moc"
