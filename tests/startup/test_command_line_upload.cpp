// The real program signed in to the reference service (a separate process on
// a free port): a command-line recording uploads while it records and prints
// its share link, which serves exactly the local bytes; a program killed in
// the middle of an upload finishes it on its next start.
#include "../service/ServiceProcess.h"
#include "OrluneProcess.h"

#include <QFileInfo>
#include <QSettings>
#include <QtTest>

#include <csignal>

namespace {
QString databaseFile()
{
    return orluneDataFolder() + QStringLiteral("/orlune.sqlite");
}

QByteArray fileBytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QString pathOf(const QString& url)
{
    return QUrl(url).path();
}
} // namespace

class TestCommandLineUpload : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void recordingPrintsLinkServingTheFile();
    void killedUploadFinishesOnNextStart();

private:
    QProcessEnvironment environment() const;
    ServiceProcess service{QDir::homePath() + QStringLiteral("/service")};
    ServiceProcess::Account account;
    QProcess player;
};

void TestCommandLineUpload::initTestCase()
{
    QVERIFY2(QFile::exists(orluneBin()), "ORLUNE_BIN must name the orlune program");
    QVERIFY(service.start());
    account = service.createAccount(QStringLiteral("recorder"));
    QVERIFY(!account.login.isEmpty());

    // Signed in as the account page would leave it, with automatic upload on.
    QSettings store(orluneConfigFile(), QSettings::NativeFormat);
    store.setValue(QStringLiteral("login"), account.login);
    store.setValue(QStringLiteral("password"), account.token);
    store.setValue(QStringLiteral("salt"), account.salt);
    store.setValue(QStringLiteral("is_authenticated_user"), true);
    store.setValue(QStringLiteral("auto_upload"), true);
    store.sync();

    player.start(QStringLiteral("ffplay"), {"-loglevel", "quiet", "-noborder", "-left", "0", "-top", "0", "-f", "lavfi",
                                            "testsrc2=size=640x480:rate=25"});
    QVERIFY(player.waitForStarted(5000));
    QTest::qWait(1500);
}

void TestCommandLineUpload::cleanupTestCase()
{
    player.kill();
    player.waitForFinished(5000);
    service.kill();
}

QProcessEnvironment TestCommandLineUpload::environment() const
{
    QProcessEnvironment env = orluneEnvironment();
    env.insert(QStringLiteral("ORLUNE_SERVICE_URL"), service.url(QStringLiteral("/")));
    env.insert(QStringLiteral("ORLUNE_WEB_URL"), service.url(QStringLiteral("/")));
    return env;
}

void TestCommandLineUpload::recordingPrintsLinkServingTheFile()
{
    const OrluneRun run =
        runOrlune({"-record", "0,0,640,480", "-duration", "6", "-exit-when-done"}, 120000, environment());
    QVERIFY2(run.finished && run.exitCode == 0, qPrintable(run.err + newestLog().right(4000)));
    const QStringList files = linesStartingWith(run.out, QStringLiteral("file: "));
    const QStringList links = linesStartingWith(run.out, QStringLiteral("link: "));
    QCOMPARE(files.size(), 1);
    QVERIFY2(links.size() == 1, qPrintable(run.out + newestLog().right(4000)));
    const QString path = files.first().mid(6).trimmed();
    const QString link = links.first().mid(6).trimmed();
    QVERIFY2(link.startsWith(service.url(QStringLiteral("/s/"))), qPrintable(link));

    const ServiceProcess::Reply served = service.get(pathOf(link));
    QCOMPARE(served.status, 200);
    QVERIFY(!served.body.isEmpty());
    QVERIFY2(served.body == fileBytes(path), "the service's copy differs from the recording");
    // The animated preview follows the link as one more range; the program has ended before it.

    const QString name = QFileInfo(path).fileName();
    QCOMPARE(sqlite3(databaseFile(), QStringLiteral("SELECT file_uploaded, file_finalized FROM files WHERE "
                                                    "file_name='%1';")
                                         .arg(name)),
             QStringLiteral("true|true"));
    QCOMPARE(sqlite3(databaseFile(), QStringLiteral("SELECT count(*) FROM segments JOIN files USING(file_id) WHERE "
                                                    "file_name='%1' AND seg_uploaded<>'true';")
                                         .arg(name)),
             QStringLiteral("0"));
}

void TestCommandLineUpload::killedUploadFinishesOnNextStart()
{
    QTest::qWait(1100); // a file name of its own
    // The upload server takes the first two ranges of the next file and then stops answering.
    QCOMPARE(service.post(QStringLiteral("/admin/fault?name=stall&target=upload&after=2&count=-1"), {}).status, 200);
    QProcess recording;
    startOrlune(recording, {"-record", "0,0,640,480", "-duration", "8", "-exit-when-done"}, environment());
    QVERIFY(recording.waitForStarted(5000));
    QString out;
    QVERIFY2(waitUntil(
                 [&] {
                     out += QString::fromLocal8Bit(recording.readAllStandardOutput());
                     return out.contains(QStringLiteral("file: ")) || recording.state() == QProcess::NotRunning;
                 },
                 90000),
             "the recording did not end");
    QVERIFY2(!out.contains(QStringLiteral("link: ")), qPrintable(out));
    ::kill(pid_t(recording.processId()), SIGKILL);
    recording.waitForFinished(5000);
    const QString path = linesStartingWith(out, QStringLiteral("file: ")).value(0).mid(6).trimmed();
    QVERIFY(QFileInfo::exists(path));
    const QString name = QFileInfo(path).fileName();
    const QString fileId =
        sqlite3(databaseFile(), QStringLiteral("SELECT file_id FROM files WHERE file_name='%1';").arg(name));
    QVERIFY(!fileId.isEmpty());
    QCOMPARE(sqlite3(databaseFile(), QStringLiteral("SELECT file_uploaded FROM files WHERE file_id=%1;").arg(fileId)),
             QStringLiteral("false"));

    // The next start, with the server answering again, carries on from the first unconfirmed range.
    QCOMPARE(service.post(QStringLiteral("/admin/reset"), {}).status, 200);
    QProcess resumed;
    startOrlune(resumed, {}, environment());
    QVERIFY(resumed.waitForStarted(5000));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("file_id"), fileId);
    QMap<QString, QString> answer;
    const bool done = waitUntil(
        [&] {
            if (sqlite3(databaseFile(), QStringLiteral("SELECT file_uploaded FROM files WHERE file_id=%1;").arg(fileId))
                != QLatin1String("true"))
                return false;
            answer = service.api(QStringLiteral("get_short_url"), account, query);
            return answer.value(QStringLiteral("result")) == QLatin1String("OK");
        },
        60000);
    resumed.terminate();
    resumed.waitForFinished(10000);
    QVERIFY2(done, qPrintable(newestLog().right(4000)));
    const ServiceProcess::Reply served = service.get(pathOf(answer.value(QStringLiteral("short_url"))));
    QCOMPARE(served.status, 200);
    QVERIFY2(served.body == fileBytes(path), "the resumed upload differs from the recording");
}

QTEST_GUILESS_MAIN(TestCommandLineUpload)
#include "test_command_line_upload.moc"
