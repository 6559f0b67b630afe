// The real program signed in to the reference service under a host name that
// only a local tinyproxy can resolve. With the stored proxy every service and
// upload request of a command-line recording goes through the proxy and the
// printed link serves the recording; without it the name can't be resolved,
// and the recording keeps its file without a link.
#include "MovingPicture.h"
#include "OrluneProcess.h"
#include "ServiceProcess.h"
#include "TinyProxy.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QHostInfo>
#include <QtTest>

namespace {
const QString cloudHost = QStringLiteral("orlune-cloud.test");
const QStringList recordArgs = {"-record", "0,0,320,240", "-duration", "4", "-exit-when-done"};
// What the log says of a request that had to look the host name up itself.
const QString lookupFailure = QStringLiteral("HostNotFoundError");

// The requests the service has logged from the program ("METHOD target"),
// oldest first; the admin side's own are left out.
QStringList programRequests(ServiceProcess& service)
{
    QStringList lines;
    for (const QJsonValue& entry : service.requests()) {
        const QJsonObject request = entry.toObject();
        const QString target = request.value("target").toString();
        if (!target.startsWith("/admin/"))
            lines << request.value("method").toString() + ' ' + target;
    }
    return lines;
}
} // namespace

class TestCommandLineProxy : public QObject
{
    Q_OBJECT

    ServiceProcess service{QDir::homePath() + "/service"};
    TinyProxy proxy{QDir::homePath() + "/proxy"};
    ServiceProcess::Account account;
    MovingPicture picture;

    // The service's address as the program knows it.
    QString cloudUrl(const QString& path) const
    {
        return QStringLiteral("http://%1:%2%3").arg(cloudHost).arg(QUrl(service.url("/")).port()).arg(path);
    }

    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = orluneEnvironment();
        env.insert("ORLUNE_SERVICE_URL", cloudUrl("/"));
        env.insert("ORLUNE_WEB_URL", cloudUrl("/"));
        return env;
    }

private slots:
    void initTestCase()
    {
        const QString unavailable = TinyProxy::privateHostsUnavailable();
        if (!unavailable.isEmpty())
            QSKIP(qPrintable(unavailable));
        QVERIFY2(QHostInfo::fromName(cloudHost).error() != QHostInfo::NoError,
                 "this machine resolves the made-up host name itself");
        QVERIFY(service.start());
        account = service.createAccount("proxied");
        QVERIFY(!account.login.isEmpty());
        proxy.setPrivateHosts("127.0.0.1 " + cloudHost);
        QVERIFY(proxy.start());
        storeSignedIn(account, {{"proxy_server", true},
                                {"proxy_type", 2},
                                {"proxy_host", "127.0.0.1"},
                                {"proxy_port", QString::number(proxy.port())}});
        QVERIFY(picture.start(QSize(320, 240)));
    }

    // Every request the service received came through the proxy, and the
    // link it made serves the recording.
    void proxyCarriesEveryRequest()
    {
        const OrluneRun run = runOrlune(recordArgs, 120000, environment());
        QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.err + newestLog().right(4000)));
        const QString path = printedFile(run.out);
        const QStringList links = linesStartingWith(run.out, "link: ");
        QVERIFY2(!path.isEmpty() && links.size() == 1, qPrintable(run.out + newestLog().right(4000)));
        const QString link = links.first().mid(6).trimmed();
        QVERIFY2(link.startsWith(cloudUrl("/s/")), qPrintable(link));
        // Not even a first request went out before the proxy was in place.
        QVERIFY2(!newestLog().contains(lookupFailure), qPrintable(newestLog()));

        const QStringList received = programRequests(service);
        for (const char* part : {"a=get_user&", "a=get_upload_url&", "POST /upload?", "a=get_short_url&"})
            QVERIFY2(!received.filter(part).isEmpty(), qPrintable(part + QString(" never reached the service")));
        QStringList forwarded = proxy.requests();
        for (const QString& request : received) {
            const qsizetype space = request.indexOf(' ');
            const QString line = request.left(space) + ' ' + cloudUrl(request.mid(space + 1)) + " HTTP/1.1";
            QVERIFY2(forwarded.removeOne(line), qPrintable("not through the proxy: " + request));
        }

        const ServiceProcess::Reply served = service.get(QUrl(link).path());
        QCOMPARE(served.status, 200);
        QCOMPARE(QCryptographicHash::hash(served.body, QCryptographicHash::Sha256), fileDigest(path));
    }

    // Without the proxy the program can't find the service: the recording is
    // kept and waits for its upload, and nothing reaches the service.
    void withoutProxyTheNameIsUnknown()
    {
        storeSignedIn(account, {{"proxy_server", false}});
        const qsizetype received = programRequests(service).size(), forwarded = proxy.requests().size();
        QTest::qWait(1100); // a log and a file name of its own
        const QStringList logsBefore = logNames();
        QProcess recording;
        startOrlune(recording, recordArgs, environment());
        QVERIFY(recording.waitForStarted(5000));
        QString out;
        waitUntil(
            [&] {
                out += QString::fromLocal8Bit(recording.readAllStandardOutput());
                return (out.contains("file: ") && readLog(newLogSince(logsBefore)).contains(lookupFailure))
                       || recording.state() == QProcess::NotRunning;
            },
            90000);
        // It would wait for the link for ever.
        recording.terminate();
        QVERIFY(recording.waitForFinished(30000));
        out += QString::fromLocal8Bit(recording.readAllStandardOutput());
        const QString log = readLog(newLogSince(logsBefore));
        QVERIFY2(log.contains(lookupFailure), qPrintable(out + log.right(4000)));
        QCOMPARE(recording.exitStatus(), QProcess::NormalExit);
        QCOMPARE(recording.exitCode(), 0);
        QVERIFY2(!out.contains("link: "), qPrintable(out));
        const QString path = printedFile(out);
        QVERIFY2(QFileInfo(path).size() > 0, qPrintable(out));
        QCOMPARE(sqliteTool(
                     orluneDatabaseFile(),
                     QString("SELECT file_uploaded FROM files WHERE file_name='%1';").arg(QFileInfo(path).fileName())),
                 QString("false"));
        QCOMPARE(programRequests(service).size(), received);
        QCOMPARE(proxy.requests().size(), forwarded);
    }
};

QTEST_GUILESS_MAIN(TestCommandLineProxy)
#include "test_command_line_proxy.moc"
