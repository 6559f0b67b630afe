// Crash reports: message events on disk, their upload to an endpoint, and the
// last event of a process that dies of a signal or of a fatal message.
#include "CrashReport.h"
#include "Version.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>
#include <csignal>
#include <sys/resource.h>

namespace {

QJsonObject readEvent(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
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

class TestCrashReport : public QObject
{
    Q_OBJECT
private slots:
    void messageEventsAreWrittenAsJson()
    {
        QTemporaryDir data;
        const QString folder = data.filePath("sentry-native");
        CrashReport::init(folder, "orlune@" ORLUNE_VERSION, QString());
        CrashReport::setUser({{"id", "token"}, {"username", "ann"}, {"machine_id", "{hw}"}});

        const QString path = CrashReport::captureMessage(2, "[MUX]:", "[MUX]: encoder stalled");
        QVERIFY(path.startsWith(folder + "/"));
        const QJsonObject event = readEvent(path);
        QCOMPARE(event["level"].toString(), QString("error"));
        QCOMPARE(event["logger"].toString(), QString("[MUX]:"));
        QCOMPARE(event["message"].toString(), QString("[MUX]: encoder stalled"));
        QCOMPARE(event["release"].toString(), QString("orlune@" ORLUNE_VERSION));
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
        QFile pending(folder + "/earlier.pending.json");
        QVERIFY(pending.open(QIODevice::WriteOnly));
        pending.write(R"({"event_id":"earlier","level":"fatal"})");
        pending.close();

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
            QFile log(folder.filePath("LOG_fatal.log"));
            QVERIFY(log.open(QIODevice::ReadOnly));
            QCOMPARE(log.readAll(), QByteArray("[T]: the end\n"));
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

QTEST_MAIN(TestCrashReport)
#include "test_crash_report.moc"
