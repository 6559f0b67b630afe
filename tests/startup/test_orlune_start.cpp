// The real orlune program from an empty home: first start, second start,
// TERM, and a start after it. Checked from outside with QSettings on the
// store file, the log file and the sqlite3 tool.
#include "OrluneProcess.h"
#include "SettingsKeys.h"
#include "Version.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QtTest>

#include <csignal>

namespace {

class Orlune
{
public:
    explicit Orlune(QProcessEnvironment env = QProcessEnvironment::systemEnvironment())
    {
        // A temp folder of this test's own: the single-instance lock and socket
        // live there, so copies started by other tests can't answer ours.
        env.insert("TMPDIR", orluneEnvironment().value("TMPDIR"));
        startOrlune(proc, {}, env);
    }
    ~Orlune()
    {
        if (proc.state() != QProcess::NotRunning) {
            proc.kill();
            proc.waitForFinished(5000);
        }
    }
    void terminate() { ::kill(static_cast<pid_t>(proc.processId()), SIGTERM); }
    QProcess proc;
};

// The copy whose log is `log` has gone through start-up up to its event loop.
bool reachedEventLoop(const QString& log)
{
    return !log.isEmpty() && readLog(log).contains("[main]: quitOnLastWindowClosed:");
}
} // namespace

class TestOrluneStart : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(!QStandardPaths::findExecutable("sqlite3").isEmpty(), "sqlite3 is needed");
        QVERIFY2(!QFile::exists(orluneDataFolder()), "the home must be empty");
    }

    void firstStartSecondStartTermAndRestart()
    {
        const QString db = orluneDatabaseFile();

        // First start in an empty home.
        auto first = std::make_unique<Orlune>();
        QVERIFY(first->proc.waitForStarted(5000));
        QString firstLog;
        QVERIFY2(waitUntil(
                     [&] {
                         firstLog = newLogSince({});
                         return reachedEventLoop(firstLog) && QFile::exists(db)
                                && sqliteTool(db, "PRAGMA user_version;") == QLatin1String("58");
                     },
                     60000),
                 "the first copy did not get ready");

        // The store holds every key of the settings table.
        QSettings store(orluneConfigFile(), QSettings::NativeFormat);
        QCOMPARE(store.status(), QSettings::NoError);
        for (const QString& key : SettingsKey::firstStartKeys())
            QVERIFY2(store.contains(key), qPrintable("missing key " + key));
        QCOMPARE(store.value(QString("settings_path")).toString(), orluneDataFolder());

        // Bare tagged lines: no time stamp or level in front, the start line with the version.
        const QStringList lines = readLog(firstLog).split('\n', Qt::SkipEmptyParts);
        QVERIFY(lines.first().startsWith('['));
        for (const char* tag : {"[SettingsManager]:", "[main]: ", "[SQL]:", "[AC]:", "[FW]:"})
            QVERIFY2(!lines.filter(QRegularExpression("^" + QRegularExpression::escape(tag))).isEmpty(), tag);
        QCOMPARE(lines.filter(QRegularExpression("^(\\d{2,4}[-./:]|Debug:|Warning:|Critical:|Info:)")), QStringList());
        QVERIFY(!lines
                     .filter(QRegularExpression("^\\[main\\]: orlune " + QRegularExpression::escape(ORLUNE_VERSION)
                                                + " Delayed: false CPU: .* cores: \\d+ OS: .* HWID: .* Build: "))
                     .isEmpty());

        // The library, checked with the sqlite3 tool.
        QCOMPARE(
            sqliteTool(db, QString("select name from sqlite_master where type='table' order by name;")).split('\n'),
            QStringList({"deletion_queue", "files", "segments"}));

        // A second start hands its message over and ends at once, without a log of its own.
        {
            Orlune second;
            QVERIFY(second.proc.waitForFinished(6000));
            QCOMPARE(second.proc.exitStatus(), QProcess::NormalExit);
            QCOMPARE(second.proc.exitCode(), 0);
        }
        QVERIFY(waitUntil(
            [&] {
                const QString log = readLog(firstLog);
                return log.contains("got msg") && log.contains("Wake up!");
            },
            5000));
        QCOMPARE(logNames().size(), 1);
        QCOMPARE(first->proc.state(), QProcess::Running);

        // TERM ends the first copy through its normal quit.
        first->terminate();
        QVERIFY(first->proc.waitForFinished(10000));
        QCOMPARE(first->proc.exitStatus(), QProcess::NormalExit);
        QCOMPARE(first->proc.exitCode(), 0);
        QVERIFY(readLog(firstLog).contains("~AppController"));
        first.reset();

        // A restart after an update (delayed) with no old copy left: it waits
        // 6 seconds, then becomes the owner; nothing of the old copy blocks it.
        QTest::qWait(1100); // a log name of its own
        const QStringList before = logNames();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("KVD_ORLUNE_DELAYED", "1");
        QElapsedTimer sinceStart;
        sinceStart.start();
        Orlune next(env);
        QString nextLog;
        QVERIFY2(waitUntil(
                     [&] {
                         nextLog = newLogSince(before);
                         return reachedEventLoop(nextLog);
                     },
                     60000),
                 "the start after TERM did not get ready");
        QVERIFY(sinceStart.elapsed() >= 6000);
        QVERIFY(QString::fromLocal8Bit(next.proc.readAllStandardError())
                    .contains("[main]: running after 10 seconds of delay due it's after restart..."));
        QVERIFY(readLog(nextLog).contains("Delayed: true"));
        QCOMPARE(next.proc.state(), QProcess::Running);

        // It now answers a further start, which must not be delayed.
        {
            Orlune another;
            QVERIFY(another.proc.waitForFinished(6000));
            QCOMPARE(another.proc.exitCode(), 0);
        }
        QVERIFY(waitUntil([&] { return readLog(nextLog).contains("got msg"); }, 5000));

        next.terminate();
        QVERIFY(next.proc.waitForFinished(10000));
        QCOMPARE(next.proc.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(TestOrluneStart)
#include "test_orlune_start.moc"
