// The real orlune program from an empty home: first start, second start,
// TERM, and a start after it. Checked from outside with QSettings on the
// store file, the log file and the sqlite3 tool.
#include "LoggedStart.h"
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
        QProcess first;
        const QString firstLog = startUntilLogged(first, {}, "[main]: quitOnLastWindowClosed:");
        QVERIFY2(!firstLog.isEmpty()
                     && waitUntil([&] { return QFile::exists(db) && sqliteUserVersion(db) == 58; }, 10000),
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
            QProcess second;
            startOrlune(second, {});
            QVERIFY(second.waitForFinished(6000));
            QCOMPARE(second.exitStatus(), QProcess::NormalExit);
            QCOMPARE(second.exitCode(), 0);
        }
        QVERIFY(waitUntil(
            [&] {
                const QString log = readLog(firstLog);
                return log.contains("got msg") && log.contains("Wake up!");
            },
            5000));
        QCOMPARE(logNames().size(), 1);
        QCOMPARE(first.state(), QProcess::Running);

        // TERM ends the first copy through its normal quit.
        first.terminate();
        QVERIFY(first.waitForFinished(10000));
        QCOMPARE(first.exitStatus(), QProcess::NormalExit);
        QCOMPARE(first.exitCode(), 0);
        QVERIFY(readLog(firstLog).contains("~AppController"));

        // A restart after an update (delayed) with no old copy left: it waits
        // 6 seconds, then becomes the owner; nothing of the old copy blocks it.
        QTest::qWait(1100); // a log name of its own
        QProcessEnvironment env = orluneEnvironment();
        env.insert("KVD_ORLUNE_DELAYED", "1");
        QElapsedTimer sinceStart;
        sinceStart.start();
        QProcess next;
        const QString nextLog = startUntilLogged(next, {}, "[main]: quitOnLastWindowClosed:", env);
        QVERIFY2(!nextLog.isEmpty(), "the start after TERM did not get ready");
        QVERIFY(sinceStart.elapsed() >= 6000);
        QVERIFY(QString::fromLocal8Bit(next.readAllStandardError())
                    .contains("[main]: running after 10 seconds of delay due it's after restart..."));
        QVERIFY(readLog(nextLog).contains("Delayed: true"));
        QCOMPARE(next.state(), QProcess::Running);

        // It now answers a further start, which must not be delayed.
        {
            QProcess another;
            startOrlune(another, {});
            QVERIFY(another.waitForFinished(6000));
            QCOMPARE(another.exitCode(), 0);
        }
        QVERIFY(waitUntil([&] { return readLog(nextLog).contains("got msg"); }, 5000));

        next.terminate();
        QVERIFY(next.waitForFinished(10000));
        QCOMPARE(next.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(TestOrluneStart)
#include "test_orlune_start.moc"
