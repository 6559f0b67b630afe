// The real program signed in to the reference service (a separate process on
// a free port): a command-line recording uploads while it records and prints
// its share link, which serves exactly the local bytes; a program killed in
// the middle of an upload finishes it on its next start.
#include "MovingPicture.h"
#include "OrluneProcess.h"
#include "ServiceProcess.h"

#include <QFileInfo>
#include <QtTest>

#include <csignal>

namespace {
QByteArray fileBytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// What the database says of a recording, as the sqlite3 tool prints it.
QString rowOf(const QString& statement, const QString& value)
{
    return sqliteTool(orluneDatabaseFile(), statement.arg(value));
}
} // namespace

class TestCommandLineUpload : public QObject
{
    Q_OBJECT

    ServiceProcess service{QDir::homePath() + "/service"};
    ServiceProcess::Account account;
    MovingPicture picture;

    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = orluneEnvironment();
        env.insert("ORLUNE_SERVICE_URL", service.url("/"));
        env.insert("ORLUNE_WEB_URL", service.url("/"));
        return env;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.start());
        account = service.createAccount("recorder");
        QVERIFY(!account.login.isEmpty());
        storeSignedIn(account);
        QVERIFY(picture.start(QSize(640, 480)));
    }

    void recordingPrintsLinkServingTheFile()
    {
        const OrluneRun run =
            runOrlune({"-record", "0,0,640,480", "-duration", "6", "-exit-when-done"}, 120000, environment());
        QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.err + newestLog().right(4000)));
        const QString path = printedFile(run.out);
        const QStringList links = linesStartingWith(run.out, "link: ");
        QVERIFY2(!path.isEmpty() && links.size() == 1, qPrintable(run.out + newestLog().right(4000)));
        const QString link = links.first().mid(6).trimmed();
        QVERIFY2(link.startsWith(service.url("/s/")), qPrintable(link));

        const ServiceProcess::Reply served = service.get(QUrl(link).path());
        QCOMPARE(served.status, 200);
        QVERIFY(!served.body.isEmpty());
        QVERIFY2(served.body == fileBytes(path), "the service's copy differs from the recording");
        // The animated preview follows the link as one more range; the program has ended before it.

        const QString name = QFileInfo(path).fileName();
        QCOMPARE(rowOf("SELECT file_uploaded, file_finalized FROM files WHERE file_name='%1';", name),
                 QString("true|true"));
        QCOMPARE(rowOf("SELECT count(*) FROM segments JOIN files USING(file_id) WHERE file_name='%1' AND "
                       "seg_uploaded<>'true';",
                       name),
                 QString("0"));
    }

    void killedUploadFinishesOnNextStart()
    {
        QTest::qWait(1100); // a file name of its own
        // The upload server takes the first two ranges of the next file and then stops answering.
        QVERIFY(service.arm("name=stall&target=upload&after=2&count=-1"));
        QProcess recording;
        startOrlune(recording, {"-record", "0,0,640,480", "-duration", "8", "-exit-when-done"}, environment());
        QVERIFY(recording.waitForStarted(5000));
        QString out;
        QVERIFY2(waitUntil(
                     [&] {
                         out += QString::fromLocal8Bit(recording.readAllStandardOutput());
                         return out.contains("file: ") || recording.state() == QProcess::NotRunning;
                     },
                     90000),
                 "the recording did not end");
        QVERIFY2(!out.contains("link: "), qPrintable(out));
        ::kill(pid_t(recording.processId()), SIGKILL);
        recording.waitForFinished(5000);
        const QString path = linesStartingWith(out, "file: ").value(0).mid(6).trimmed();
        QVERIFY(QFileInfo::exists(path));
        const QString fileId = rowOf("SELECT file_id FROM files WHERE file_name='%1';", QFileInfo(path).fileName());
        QVERIFY(!fileId.isEmpty());
        const QString uploaded = "SELECT file_uploaded FROM files WHERE file_id=%1;";
        QCOMPARE(rowOf(uploaded, fileId), QString("false"));

        // The next start, with the server answering again, carries on from the first unconfirmed range.
        QCOMPARE(service.post("/admin/reset", {}).status, 200);
        QProcess resumed;
        startOrlune(resumed, {}, environment());
        QVERIFY(resumed.waitForStarted(5000));
        QUrlQuery query;
        query.addQueryItem("file_id", fileId);
        QMap<QString, QString> answer;
        const bool done = waitUntil(
            [&] {
                if (rowOf(uploaded, fileId) != "true")
                    return false;
                answer = service.api("get_short_url", account, query);
                return answer.value("result") == "OK";
            },
            60000);
        resumed.terminate();
        resumed.waitForFinished(10000);
        QVERIFY2(done, qPrintable(newestLog().right(4000)));
        const ServiceProcess::Reply served = service.get(QUrl(answer.value("short_url")).path());
        QCOMPARE(served.status, 200);
        QVERIFY2(served.body == fileBytes(path), "the resumed upload differs from the recording");
    }
};

QTEST_GUILESS_MAIN(TestCommandLineUpload)
#include "test_command_line_upload.moc"
