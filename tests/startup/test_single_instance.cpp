// The single-instance channel between real processes: a listening copy and
// sending copies of tests/startup/single_instance_peer.
#include "Polling.h"
#include "QtLocalPeer.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {
// Starts a copy of the peer (run through `wrapper` when given) with the arguments.
void startPeer(QProcess& process, QStringList args, const QString& program, QStringList wrapper)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.remove("KVD_ORLUNE_DELAYED");
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    args = wrapper << program << args;
    process.start(args.takeFirst(), args);
}

// Runs one sending copy to its end; returns its exit code, -1 on a hang.
int send(const QString& message, int timeoutMs = 5000, const QString& program = PEER_BIN,
         const QStringList& wrapper = {})
{
    QProcess p;
    startPeer(p, {"send", message, QString::number(timeoutMs)}, program, wrapper);
    if (!p.waitForFinished(timeoutMs * 3))
        return -1;
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
}
// A listening copy, read line by line.
class Listener
{
public:
    explicit Listener(const QString& program = PEER_BIN, const QStringList& wrapper = {})
    {
        startPeer(proc, {"listen"}, program, wrapper);
    }
    ~Listener()
    {
        proc.kill();
        proc.waitForFinished(3000);
    }
    bool waitForLine(const QString& line, int timeoutMs = 10000)
    {
        return waitUntil([&] { return count(line) > 0; }, timeoutMs);
    }
    int count(const QString& line)
    {
        proc.waitForReadyRead(50);
        while (proc.canReadLine())
            lines << QString::fromUtf8(proc.readLine()).trimmed();
        return lines.count(line);
    }
    // One sending copy hands `message` over and this copy prints it.
    bool receives(const QString& message, const QString& program = PEER_BIN, const QStringList& wrapper = {})
    {
        return send(message, 5000, program, wrapper) == 0 && waitForLine("got:" + message);
    }
    QProcess proc;
    QStringList lines;
};

} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        // No peer of an earlier test may still own the channel: with nobody
        // listening, a sender reports that nothing was delivered.
        QCOMPARE(send("probe", 1000), 1);
    }

    void secondCopyHandsMessageToFirstAndEnds()
    {
        Listener first;
        QVERIFY(first.waitForLine("listening"));

        QElapsedTimer t;
        t.start();
        QVERIFY(first.receives("Wake up!"));
        QVERIFY(t.elapsed() < 5000);

        // Once, and the listener is still the owner afterwards.
        QTest::qWait(500);
        QCOMPARE(first.count("got:Wake up!"), 1);
        QCOMPARE(first.proc.state(), QProcess::Running);

        QVERIFY(first.receives("Grüße – \u65e5\u672c"));

        // A second listening copy finds the owner and ends as a client.
        Listener second;
        QVERIFY(second.proc.waitForFinished(10000));
        QCOMPARE(second.proc.exitCode(), 2);
        QCOMPARE(second.count("client"), 1);
    }

    void killedOwnerLeavesNoStaleLock()
    {
        {
            Listener first;
            QVERIFY(first.waitForLine("listening"));
            first.proc.kill(); // SIGKILL: no clean-up at all
            QVERIFY(first.proc.waitForFinished(5000));
        }
        // The dead copy's lock and socket files are still on disk.
        Listener next;
        QVERIFY(next.waitForLine("listening"));
        QVERIFY(next.receives("Wake up!"));
    }

    void pathsDifferingInCaseShareTheChannel()
    {
        QTemporaryDir dir;
        const QString upper = dir.filePath("Peer-App");
        const QString lower = dir.filePath("peer-app");
        QVERIFY(QFile::copy(PEER_BIN, upper));
        QVERIFY(QFile::copy(PEER_BIN, lower));
        for (const QString& p : {upper, lower})
            QFile::setPermissions(p, QFile::permissions(p) | QFile::ExeOwner);

        Listener first(upper);
        QVERIFY(first.waitForLine("listening"));
        QVERIFY(first.receives("Wake up!", lower));
    }

    void otherUserRunsItsOwnCopy()
    {
        if (::getuid() != 0)
            QSKIP("needs root to start a copy as another user");
        const QString setpriv = QStandardPaths::findExecutable("setpriv");
        if (setpriv.isEmpty())
            QSKIP("setpriv is not installed");
        const QStringList asNobody = {setpriv, "--reuid=65534", "--regid=65534", "--clear-groups"};

        // The test's private temp folder is shared the way /tmp is, so the
        // other user can make its lock file there too.
        QCOMPARE(::chmod(QFile::encodeName(QDir::tempPath()).constData(), 01777), 0);

        Listener mine;
        QVERIFY(mine.waitForLine("listening"));
        Listener theirs(PEER_BIN, asNobody);
        QVERIFY(theirs.waitForLine("listening"));

        QVERIFY(theirs.receives("Wake up!", PEER_BIN, asNobody));
        QTest::qWait(300);
        QCOMPARE(mine.count("got:Wake up!"), 0);
    }

    void malformedMessageIsDroppedAndOwnerKeepsListening()
    {
        Listener first;
        QVERIFY(first.waitForLine("listening"));

        // The channel's name comes from the peer's own naming rule.
        QtLocalPeer namer(nullptr, QString(PEER_BIN).toLower());
        QLocalSocket raw;
        raw.connectToServer(namer.serverName());
        QVERIFY(raw.waitForConnected(3000));
        QDataStream ds(&raw);
        ds << quint32(0x7fffffff); // announces far more than any message
        QVERIFY(raw.waitForBytesWritten(3000));
        raw.waitForDisconnected(3000);
        QCOMPARE(raw.state(), QLocalSocket::UnconnectedState);

        QVERIFY(first.receives("Wake up!"));
        QCOMPARE(first.lines.filter("got:").size(), 1);
    }

    void restartStartsDelayedCopyWithSameArgumentsAndFolder()
    {
        QTemporaryDir dir;
        const QString out = dir.filePath("restarted.json");
        QProcess p;
        p.setWorkingDirectory(dir.path());
        startPeer(p, {"restart-probe", out, "-webdebug", "two words"}, PEER_BIN, {});
        QVERIFY(p.waitForFinished(10000));
        QCOMPARE(p.exitCode(), 0);
        QVERIFY(QString::fromUtf8(p.readAllStandardOutput()).split('\n').contains("appQuit"));

        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(out), 10000);
        QFile f(out);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QJsonObject o = QJsonDocument::fromJson(f.readAll()).object();
        QCOMPARE(QDir(o.value("cwd").toString()).canonicalPath(), QDir(dir.path()).canonicalPath());
        const QStringList args = o.value("args").toVariant().toStringList();
        QCOMPARE(args, QStringList({"restart-probe", out, "-webdebug", "two words"}));
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "test_single_instance.moc"
