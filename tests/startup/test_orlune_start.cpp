// The real orlune program from an empty home: first start, second start,
// TERM, and a start after it. Checked from outside with QSettings on the
// store file, the log file and the sqlite3 tool.
#include "OrluneProcess.h"
#include "SettingsKeys.h"

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
        env.insert(QStringLiteral("TMPDIR"), orluneEnvironment().value(QStringLiteral("TMPDIR")));
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
    return !log.isEmpty() && readLog(log).contains(QStringLiteral("[main]: quitOnLastWindowClosed:"));
}
} // namespace

class TestOrluneStart : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(orluneBin()), "ORLUNE_BIN must name the orlune program");
        QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("sqlite3")).isEmpty(), "sqlite3 is needed");
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
                                && sqliteTool(db, QStringLiteral("PRAGMA user_version;")) == QLatin1String("58");
                     },
                     60000),
                 "the first copy did not get ready");

        // The store holds every key of the settings table.
        QSettings store(orluneConfigFile(), QSettings::NativeFormat);
        QCOMPARE(store.status(), QSettings::NoError);
        for (const QString& key : SettingsKey::firstStartKeys())
            QVERIFY2(store.contains(key), qPrintable(QStringLiteral("missing key ") + key));
        QCOMPARE(store.value(QStringLiteral("settings_path")).toString(), orluneDataFolder());

        // One log per start, named from the start time; bare tagged lines.
        QVERIFY(QRegularExpression(QStringLiteral("^LOG_\\d{4}\\.\\d{2}\\.\\d{2}_\\d{2}\\.\\d{2}\\.\\d{2}\\.log$"))
                    .match(firstLog)
                    .hasMatch());
        const QStringList lines = readLog(firstLog).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY(lines.first().startsWith(QLatin1Char('[')));
        const QRegularExpression tagged(QStringLiteral("^\\[[A-Za-z0-9_ ]+\\]:? "));
        for (const char* tag : {"[SettingsManager]:", "[main]:", "[SQL]:", "[AC]:", "[FW]:"}) {
            QVERIFY2(
                !lines.filter(QRegularExpression(QStringLiteral("^") + QRegularExpression::escape(QLatin1String(tag))))
                     .isEmpty(),
                qPrintable(QStringLiteral("no line tagged ") + QLatin1String(tag)));
        }
        for (const QString& line : lines) {
            if (line.startsWith(QLatin1String("[main]")))
                QVERIFY2(tagged.match(line).hasMatch(), qPrintable(line));
            // No time stamp and no level in front of the text.
            QVERIFY2(!QRegularExpression(QStringLiteral("^(\\d{2,4}[-./:]|Debug:|Warning:|Critical:|Info:)"))
                          .match(line)
                          .hasMatch(),
                     qPrintable(line));
        }
        QVERIFY(!lines
                     .filter(QRegularExpression(QStringLiteral(
                         "^\\[main\\]: orlune 5\\.0\\.31 Delayed: false CPU: .* cores: \\d+ OS: .* HWID: .* Build: ")))
                     .isEmpty());

        // The library, checked with the sqlite3 tool.
        QCOMPARE(sqliteTool(db, QStringLiteral("select name from sqlite_master where type='table' order by name;"))
                     .split(QLatin1Char('\n')),
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
                return log.contains(QStringLiteral("got msg")) && log.contains(QStringLiteral("Wake up!"));
            },
            5000));
        QCOMPARE(logNames().size(), 1);
        QCOMPARE(first->proc.state(), QProcess::Running);

        // TERM ends the first copy through its normal quit.
        first->terminate();
        QVERIFY(first->proc.waitForFinished(10000));
        QCOMPARE(first->proc.exitStatus(), QProcess::NormalExit);
        QCOMPARE(first->proc.exitCode(), 0);
        QVERIFY(readLog(firstLog).contains(QStringLiteral("~AppController")));
        first.reset();

        // A restart after an update (delayed) with no old copy left: it waits
        // 6 seconds, then becomes the owner; nothing of the old copy blocks it.
        QTest::qWait(1100); // a log name of its own
        const QStringList before = logNames();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("KVD_ORLUNE_DELAYED"), QStringLiteral("1"));
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
                    .contains(QStringLiteral("[main]: running after 10 seconds of delay due it's after restart...")));
        QVERIFY(readLog(nextLog).contains(QStringLiteral("Delayed: true")));
        QCOMPARE(next.proc.state(), QProcess::Running);

        // It now answers a further start, which must not be delayed.
        {
            Orlune another;
            QVERIFY(another.proc.waitForFinished(6000));
            QCOMPARE(another.proc.exitCode(), 0);
        }
        QVERIFY(waitUntil([&] { return readLog(nextLog).contains(QStringLiteral("got msg")); }, 5000));

        next.terminate();
        QVERIFY(next.proc.waitForFinished(10000));
        QCOMPARE(next.proc.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(TestOrluneStart)
#include "test_orlune_start.moc"
