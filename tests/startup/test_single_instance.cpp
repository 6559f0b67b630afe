// The single-instance channel between real processes: a listening copy and
// sending copies of tests/startup/single_instance_peer.
#include "QtLocalPeer.h"

#include <QDataStream>
#include <QDir>
#include <QElapsedTimer>
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
QProcessEnvironment peerEnvironment()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.remove(QStringLiteral("KVD_ORLUNE_DELAYED"));
    return env;
}

// A listening copy, read line by line.
class Listener
{
public:
    explicit Listener(const QString& program = QStringLiteral(PEER_BIN), const QStringList& wrapper = {})
    {
        proc.setProcessEnvironment(peerEnvironment());
        proc.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QStringList args = wrapper;
        args << program << QStringLiteral("listen");
        proc.start(args.takeFirst(), args);
    }
    ~Listener()
    {
        if (proc.state() != QProcess::NotRunning) {
            proc.kill();
            proc.waitForFinished(3000);
        }
    }
    // Waits until the listener printed a line equal to `line`.
    bool waitForLine(const QString& line, int timeoutMs = 10000)
    {
        QElapsedTimer t;
        t.start();
        while (!lines.contains(line)) {
            if (t.elapsed() > timeoutMs)
                return false;
            proc.waitForReadyRead(100);
            while (proc.canReadLine())
                lines << QString::fromUtf8(proc.readLine()).trimmed();
            if (proc.state() == QProcess::NotRunning && !proc.canReadLine())
                return lines.contains(line);
        }
        return true;
    }
    int count(const QString& line)
    {
        proc.waitForReadyRead(50);
        while (proc.canReadLine())
            lines << QString::fromUtf8(proc.readLine()).trimmed();
        return lines.count(line);
    }
    QProcess proc;
    QStringList lines;
};

// Runs one sending copy to its end; returns its exit code, -1 on a hang.
int sendFrom(const QString& program, const QString& message, int timeoutMs = 5000, const QStringList& wrapper = {})
{
    QProcess p;
    p.setProcessEnvironment(peerEnvironment());
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList args = wrapper;
    args << program << QStringLiteral("send") << message << QString::number(timeoutMs);
    p.start(args.takeFirst(), args);
    if (!p.waitForFinished(timeoutMs * 3))
        return -1;
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
}

int send(const QString& message, int timeoutMs = 5000)
{
    return sendFrom(QStringLiteral(PEER_BIN), message, timeoutMs);
}
} // namespace

class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        // No peer of an earlier test function may still own the channel.
        QCOMPARE(send(QStringLiteral("probe"), 1000), 1);
    }

    void secondCopyHandsMessageToFirst()
    {
        Listener first;
        QVERIFY(first.waitForLine(QStringLiteral("listening")));

        QElapsedTimer t;
        t.start();
        QCOMPARE(send(QStringLiteral("Wake up!")), 0);
        QVERIFY(t.elapsed() < 5000);
        QVERIFY(first.waitForLine(QStringLiteral("got:Wake up!")));

        // Once, and the listener is still the owner afterwards.
        QTest::qWait(500);
        QCOMPARE(first.count(QStringLiteral("got:Wake up!")), 1);
        QCOMPARE(first.proc.state(), QProcess::Running);

        // A message with text outside ASCII arrives unchanged.
        const QString text = QStringLiteral("Grüße – \u65e5\u672c");
        QCOMPARE(send(text), 0);
        QVERIFY(first.waitForLine(QStringLiteral("got:") + text));
    }

    void secondListenerIsAClient()
    {
        Listener first;
        QVERIFY(first.waitForLine(QStringLiteral("listening")));
        Listener second;
        QVERIFY(second.proc.waitForFinished(10000));
        QCOMPARE(second.proc.exitCode(), 2);
        QCOMPARE(second.count(QStringLiteral("client")), 1);
    }

    void killedOwnerLeavesNoStaleLock()
    {
        QString socketName;
        {
            Listener first;
            QVERIFY(first.waitForLine(QStringLiteral("listening")));
            first.proc.kill(); // SIGKILL: no clean-up at all
            QVERIFY(first.proc.waitForFinished(5000));
        }
        // The lock file and the socket file of the dead copy are still on
        // disk; a new copy must nevertheless become the owner.
        Listener next;
        QVERIFY(next.waitForLine(QStringLiteral("listening")));
        QCOMPARE(send(QStringLiteral("Wake up!")), 0);
        QVERIFY(next.waitForLine(QStringLiteral("got:Wake up!")));
    }

    void senderAloneGetsFalseAndReleasesTheLock()
    {
        // With nobody listening the sender owns the channel for its lifetime
        // and reports that nothing was delivered.
        QCOMPARE(send(QStringLiteral("Wake up!"), 1000), 1);
        Listener after;
        QVERIFY(after.waitForLine(QStringLiteral("listening")));
    }

    void pathsDifferingInCaseShareTheChannel()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString upper = dir.filePath(QStringLiteral("Peer-App"));
        const QString lower = dir.filePath(QStringLiteral("peer-app"));
        QVERIFY(QFile::copy(QStringLiteral(PEER_BIN), upper));
        QVERIFY(QFile::copy(QStringLiteral(PEER_BIN), lower));
        for (const QString& p : {upper, lower})
            QFile::setPermissions(p, QFile::permissions(p) | QFile::ExeOwner);

        Listener first(upper);
        QVERIFY(first.waitForLine(QStringLiteral("listening")));
        QCOMPARE(sendFrom(lower, QStringLiteral("Wake up!")), 0);
        QVERIFY(first.waitForLine(QStringLiteral("got:Wake up!")));
    }

    void otherUserRunsItsOwnCopy()
    {
        if (::getuid() != 0)
            QSKIP("needs root to start a copy as another user");
        const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
        if (setpriv.isEmpty())
            QSKIP("setpriv is not installed");
        const QStringList asNobody = {setpriv, QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
                                      QStringLiteral("--clear-groups")};

        // The test's private temp folder is shared the way /tmp is, so the
        // other user can make its lock file there too.
        QCOMPARE(::chmod(QFile::encodeName(QDir::tempPath()).constData(), 01777), 0);

        Listener mine;
        QVERIFY(mine.waitForLine(QStringLiteral("listening")));
        // Same program, same temp folder, another user: a channel of its own.
        Listener theirs(QStringLiteral(PEER_BIN), asNobody);
        QVERIFY(theirs.waitForLine(QStringLiteral("listening")));

        QCOMPARE(sendFrom(QStringLiteral(PEER_BIN), QStringLiteral("Wake up!"), 5000, asNobody), 0);
        QVERIFY(theirs.waitForLine(QStringLiteral("got:Wake up!")));
        QTest::qWait(300);
        QCOMPARE(mine.count(QStringLiteral("got:Wake up!")), 0);
    }

    void malformedMessageIsDroppedAndOwnerKeepsListening()
    {
        Listener first;
        QVERIFY(first.waitForLine(QStringLiteral("listening")));

        // The channel's name comes from the peer's own naming rule.
        QtLocalPeer namer(nullptr, QStringLiteral(PEER_BIN).toLower());
        QLocalSocket raw;
        raw.connectToServer(namer.serverName());
        QVERIFY(raw.waitForConnected(3000));
        QDataStream ds(&raw);
        ds << quint32(0x7fffffff); // announces far more than any message
        QVERIFY(raw.waitForBytesWritten(3000));
        raw.waitForDisconnected(3000);
        QCOMPARE(raw.state(), QLocalSocket::UnconnectedState);

        QCOMPARE(send(QStringLiteral("Wake up!")), 0);
        QVERIFY(first.waitForLine(QStringLiteral("got:Wake up!")));
        QCOMPARE(first.lines.filter(QStringLiteral("got:")).size(), 1);
    }

    void socketNameFollowsTheNamingRule()
    {
        QtLocalPeer peer(nullptr, QStringLiteral("/opt/halvenmoor/bin/or-l_une9x.bin"));
        const QStringList parts = peer.serverName().split(QLatin1Char('-'));
        QCOMPARE(parts.size(), 4);
        QCOMPARE(parts.at(0), QStringLiteral("qtsingleapp"));
        QCOMPARE(parts.at(1), QStringLiteral("orlune")); // letters only, six at most
        bool ok = false;
        parts.at(2).toUShort(&ok, 16);
        QVERIFY(ok);
        QCOMPARE(parts.at(3).toUInt(&ok, 16), static_cast<uint>(::getuid()));
        QCOMPARE(peer.lockFileName(),
                 QDir::tempPath() + QLatin1Char('/') + peer.serverName() + QStringLiteral("-lockfile"));

        // Another id gives another checksum.
        QtLocalPeer other(nullptr, QStringLiteral("/opt/halvenmoor/bin/or-l_une9x.bin2"));
        QVERIFY(other.serverName() != peer.serverName());
    }

    void restartStartsDelayedCopyWithSameArgumentsAndFolder()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString out = dir.filePath(QStringLiteral("restarted.json"));
        QProcess p;
        p.setProcessEnvironment(peerEnvironment());
        p.setWorkingDirectory(dir.path());
        p.start(QStringLiteral(PEER_BIN),
                {QStringLiteral("restart-probe"), out, QStringLiteral("-webdebug"), QStringLiteral("two words")});
        QVERIFY(p.waitForFinished(10000));
        QCOMPARE(p.exitCode(), 0);
        QVERIFY(
            QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\n')).contains(QStringLiteral("appQuit")));

        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(out), 10000);
        QFile f(out);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QJsonObject o = QJsonDocument::fromJson(f.readAll()).object();
        QCOMPARE(o.value(QStringLiteral("delayed")).toString(), QStringLiteral("1"));
        QCOMPARE(QDir(o.value(QStringLiteral("cwd")).toString()).canonicalPath(), QDir(dir.path()).canonicalPath());
        const QStringList args = o.value(QStringLiteral("args")).toVariant().toStringList();
        QCOMPARE(args, QStringList({QStringLiteral("restart-probe"), out, QStringLiteral("-webdebug"),
                                    QStringLiteral("two words")}));
    }
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "test_single_instance.moc"
